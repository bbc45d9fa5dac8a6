#include "media_core/biz_engine/crash_handler/machine/images/macho_image.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/report/image_list_text.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace CrashHandler::machine {
namespace {

constexpr uint64_t kTextAddress = 0x10000;
constexpr size_t kImageSize = 0x3000;
constexpr size_t kSymbolsAt = 0x1000;
constexpr size_t kStringsAt = 0x2000;

struct Symbol {
  std::string name;
  uint64_t value;
  uint8_t type = 0xf;
};

// A Mach-O image made by hand in one block of memory: `__TEXT` covers its first page, `__LINKEDIT`
// all of it, with file offsets equal to memory offsets.
class HandMade {
 public:
  explicit HandMade(uint32_t magic, uint32_t file_type = 6)
      : swapped_(magic == kMachOMagic32Swapped || magic == kMachOMagic64Swapped),
        wide_(magic == kMachOMagic64 || magic == kMachOMagic64Swapped),
        memory_(kImageSize) {
    memcpy(memory_.data(), &magic, sizeof(magic));
    Put32(12, file_type);
    end_ = wide_ ? 32 : 28;
    start_ = end_;
  }

  HandMade& Segment(const char* name, uint64_t address, uint64_t size, uint64_t offset) {
    const size_t at = Command(wide_ ? 25 : 1, wide_ ? 72 : 56);
    memcpy(&memory_[at + 8], name, strlen(name));
    if (wide_) {
      Put64(at + 24, address);
      Put64(at + 32, size);
      Put64(at + 40, offset);
    } else {
      Put32(at + 24, static_cast<uint32_t>(address));
      Put32(at + 28, static_cast<uint32_t>(size));
      Put32(at + 32, static_cast<uint32_t>(offset));
    }
    return *this;
  }
  HandMade& Text() { return Segment("__TEXT", kTextAddress, 0x1000, 0); }
  HandMade& LinkEdit() { return Segment("__LINKEDIT", kTextAddress + 0x1000, 0x2000, kSymbolsAt); }
  HandMade& Uuid(uint8_t first) {
    const size_t at = Command(27, 24);
    for (uint8_t i = 0; i < 16; ++i) memory_[at + 8 + i] = static_cast<uint8_t>(first + i);
    return *this;
  }
  HandMade& Symbols(const std::vector<Symbol>& symbols) {
    const size_t at = Command(2, 24);
    const size_t entry = wide_ ? 16 : 12;
    Put32(at + 8, static_cast<uint32_t>(kSymbolsAt + symbols_ * entry));
    Put32(at + 12, static_cast<uint32_t>(symbols.size()));
    Put32(at + 16, kStringsAt);
    for (const Symbol& symbol : symbols) {
      const size_t to = kSymbolsAt + symbols_++ * entry;
      Put32(to, static_cast<uint32_t>(strings_));
      memory_[to + 4] = symbol.type;
      if (wide_) {
        Put64(to + 8, symbol.value);
      } else {
        Put32(to + 8, static_cast<uint32_t>(symbol.value));
      }
      memcpy(&memory_[kStringsAt + strings_], symbol.name.c_str(), symbol.name.size() + 1);
      strings_ += symbol.name.size() + 1;
    }
    return *this;
  }

  MachOImage image() const {
    MachOImage image;
    image.header = memory_.data();
    image.size = memory_.size();
    image.name = "/lib/hand.dylib";
    image.slide = reinterpret_cast<intptr_t>(memory_.data()) - static_cast<intptr_t>(kTextAddress);
    return image;
  }
  // The process's address of an offset from the image's start.
  uintptr_t At(uintptr_t offset) const {
    return reinterpret_cast<uintptr_t>(memory_.data()) + offset;
  }
  uint8_t* bytes() { return memory_.data(); }

 private:
  size_t Command(uint32_t command, uint32_t size) {
    const size_t at = end_;
    Put32(at, command);
    Put32(at + 4, size);
    end_ += size;
    Put32(16, ++commands_);
    Put32(20, static_cast<uint32_t>(end_ - start_));
    return at;
  }
  void Put32(size_t at, uint32_t value) {
    if (swapped_) value = __builtin_bswap32(value);
    memcpy(&memory_[at], &value, sizeof(value));
  }
  void Put64(size_t at, uint64_t value) {
    if (swapped_) value = __builtin_bswap64(value);
    memcpy(&memory_[at], &value, sizeof(value));
  }

  bool swapped_;
  bool wide_;
  size_t start_ = 0;
  size_t end_ = 0;
  uint32_t commands_ = 0;
  size_t symbols_ = 0;
  size_t strings_ = 0;
  std::vector<uint8_t> memory_;
};

SymbolInformation Find(const HandMade& made, uintptr_t offset) {
  SymbolInformation record;
  _dladdr(made.image(), made.At(offset), &mach_copyMem, &record);
  return record;
}

class MachOMagicTest : public testing::TestWithParam<uint32_t> {};

INSTANTIATE_TEST_SUITE_P(All, MachOMagicTest,
                         testing::Values(kMachOMagic32, kMachOMagic64, kMachOMagic32Swapped,
                                         kMachOMagic64Swapped),
                         [](const auto& info) {
                           std::ostringstream name;
                           name << std::hex << info.param;
                           return name.str();
                         });

TEST_P(MachOMagicTest, CommandsStartBehindTheHeader) {
  const HandMade made(GetParam());
  const bool wide = GetParam() == kMachOMagic64 || GetParam() == kMachOMagic64Swapped;
  EXPECT_EQ(firstCmdAfterHeader(made.image()), made.At(wide ? 32 : 28));
}

TEST_P(MachOMagicTest, SegmentsSymbolsAndUuidAreReadInTheImagesByteOrder) {
  HandMade made(GetParam());
  made.Uuid(0x10).Text().LinkEdit().Symbols(
      {{"_alpha", kTextAddress + 0x100}, {"_beta", kTextAddress + 0x200}});
  const MachOImage image = made.image();
  EXPECT_EQ(segmentBaseOfImageIndex(image), kTextAddress);
  EXPECT_TRUE(MachOImageContains(image, made.At(0)));
  EXPECT_TRUE(MachOImageContains(image, made.At(0x2fff)));
  EXPECT_FALSE(MachOImageContains(image, made.At(0x3000)));
  EXPECT_FALSE(MachOImageContains(image, made.At(0) - 1));
  EXPECT_STREQ(Find(made, 0x1ff).dli_sname, "alpha");
  EXPECT_EQ(Find(made, 0x1ff).dli_saddr, reinterpret_cast<void*>(made.At(0x100)));
  EXPECT_STREQ(Find(made, 0x200).dli_sname, "beta");
  MachOImageScan scan;
  ImageListEntry entry;
  ASSERT_TRUE(ScanMachOImage(image, &scan, &entry));
  EXPECT_EQ(entry.start, made.At(0));
  EXPECT_EQ(entry.end, made.At(0xfff));
  EXPECT_STREQ(entry.uuid, "10111213-1415-1617-1819-1A1B1C1D1E1F");
  const bool wide = GetParam() == kMachOMagic64 || GetParam() == kMachOMagic64Swapped;
  EXPECT_EQ(entry.is_64_bit, wide);
}

TEST(MachOImageTest, AnUnknownMagicHasNoCommands) {
  HandMade made(0x12345678);
  made.Text();
  EXPECT_EQ(firstCmdAfterHeader(made.image()), 0U);
  EXPECT_FALSE(MachOImageContains(made.image(), made.At(0)));
  EXPECT_EQ(segmentBaseOfImageIndex(made.image()), 0U);
}

TEST(MachOImageTest, AnUnknownMagicGivesNameAndBaseButFails) {
  const HandMade made(0x12345678);
  SymbolInformation record;
  EXPECT_FALSE(_dladdr(made.image(), made.At(0), &mach_copyMem, &record));
  EXPECT_STREQ(record.dli_fname, "/lib/hand.dylib");
  EXPECT_EQ(record.dli_fbase, reinterpret_cast<void*>(made.At(0)));
  EXPECT_EQ(record.dli_sname, nullptr);
}

TEST(MachOImageTest, ImagesWithoutHeaderAreSkippedInTheSearch) {
  HandMade made(kMachOMagic64);
  made.Text();
  const MachOImage images[] = {MachOImage(), made.image(), made.image()};
  EXPECT_EQ(imageIndexContainingAddress(images, 3, made.At(5)), 1U);
  EXPECT_EQ(imageIndexContainingAddress(images, 3, made.At(0x1000)), kNoImage);
  EXPECT_EQ(imageIndexContainingAddress(images, 0, made.At(5)), kNoImage);
}

TEST(MachOImageTest, ABaseOfZeroFailsWithAnEmptyRecord) {
  HandMade made(kMachOMagic64);
  MachOImage image = made.image();
  image.slide = 0;
  SymbolInformation record = {"x", &record, "y", &record};
  EXPECT_FALSE(_dladdr(image, made.At(0), &mach_copyMem, &record));
  EXPECT_EQ(record.dli_fname, nullptr);
  EXPECT_EQ(record.dli_fbase, nullptr);
  EXPECT_EQ(record.dli_sname, nullptr);
  EXPECT_EQ(record.dli_saddr, nullptr);
}

TEST(MachOImageTest, AHeaderWithoutCommandsGivesNameAndBase) {
  const HandMade made(kMachOMagic64);
  SymbolInformation record;
  EXPECT_TRUE(_dladdr(made.image(), made.At(0), &mach_copyMem, &record));
  EXPECT_STREQ(record.dli_fname, "/lib/hand.dylib");
  EXPECT_EQ(record.dli_sname, nullptr);
}

TEST(MachOImageTest, OfTwoSymbolsWithTheSameValueTheLaterIsTaken) {
  HandMade made(kMachOMagic64);
  made.Text().LinkEdit().Symbols({{"_one", kTextAddress + 0x40},
                                  {"_two", kTextAddress + 0x40},
                                  {"_low", kTextAddress + 0x20}});
  EXPECT_STREQ(Find(made, 0x50).dli_sname, "two");
}

TEST(MachOImageTest, SymbolsWithTheValueZeroAreSkipped) {
  HandMade made(kMachOMagic64);
  made.Text().LinkEdit().Symbols({{"_zero", 0}});
  const SymbolInformation record = Find(made, 0x50);
  EXPECT_EQ(record.dli_sname, nullptr);
  EXPECT_NE(record.dli_fbase, nullptr);
}

TEST(MachOImageTest, ANameWithoutUnderscoreIsKeptAndSeveralLoseOnlyTheFirst) {
  HandMade made(kMachOMagic64);
  made.Text().LinkEdit().Symbols({{"bare", kTextAddress + 0x10},
                                  {"___many", kTextAddress + 0x20},
                                  {"_", kTextAddress + 0x30}});
  EXPECT_STREQ(Find(made, 0x10).dli_sname, "bare");
  EXPECT_STREQ(Find(made, 0x20).dli_sname, "__many");
  EXPECT_STREQ(Find(made, 0x30).dli_sname, "");
}

TEST(MachOImageTest, AStrippedImagesHeaderSymbolHasNoName) {
  HandMade made(kMachOMagic64);
  made.Text().LinkEdit().Symbols({{"__mh_execute_header", kTextAddress, 3}});
  const SymbolInformation record = Find(made, 0x123);
  EXPECT_EQ(record.dli_sname, nullptr);
  EXPECT_EQ(record.dli_saddr, record.dli_fbase);
}

TEST(MachOImageTest, AHeaderSymbolOfAnotherTypeKeepsItsName) {
  HandMade made(kMachOMagic64);
  made.Text().LinkEdit().Symbols({{"__mh_execute_header", kTextAddress, 0xf}});
  EXPECT_STREQ(Find(made, 0x123).dli_sname, "_mh_execute_header");
}

TEST(MachOImageTest, TheSecondTableIsSearchedOnlyWithoutAMatchInTheFirst) {
  HandMade made(kMachOMagic64);
  made.Text().LinkEdit();
  made.Symbols({}).Symbols({{"_far", kTextAddress + 0x100}});
  made.Symbols({{"_near", kTextAddress + 0x180}, {"_first", kTextAddress + 0x8}});
  EXPECT_STREQ(Find(made, 0x200).dli_sname, "far");
  EXPECT_STREQ(Find(made, 0x20).dli_sname, "first");
}

size_t symbol_bytes_read = 0;

int CountingReader(const void* source, void* destination, size_t count) {
  if (count > 1) symbol_bytes_read += count;  // a name is looked at by its first byte
  return mach_copyMem(source, destination, count);
}

TEST(MachOImageTest, ManyAddressesGetInOnePassWhatEachGetsAlone) {
  HandMade made(kMachOMagic64);
  made.Text().LinkEdit();
  made.Symbols({{"_c", kTextAddress + 0x300},
                {"_b1", kTextAddress + 0x200},
                {"_none", 0},
                {"_b2", kTextAddress + 0x200},
                {"_beyond", kTextAddress + 0x4000}});
  made.Symbols({{"_a", kTextAddress + 0x100}, {"_other", kTextAddress + 0x250}});
  std::vector<uintptr_t> addresses;
  for (uintptr_t offset = 0; offset < 0x1000; offset += 0x20) {
    addresses.push_back(made.At((offset * 7 + 0x10) % 0x1000));
    addresses.push_back(made.At(offset));
  }
  std::vector<SymbolInformation> records(addresses.size());
  std::vector<MachOQuery> queries(addresses.size());
  for (size_t i = 0; i < addresses.size(); ++i) {
    queries[i].address = addresses[i];
    queries[i].record = &records[i];
  }
  symbol_bytes_read = 0;
  EXPECT_TRUE(ResolveInMachOImage(made.image(), &CountingReader, queries.data(), queries.size()));
  EXPECT_EQ(symbol_bytes_read, size_t{7 * 16});
  for (size_t i = 0; i < addresses.size(); ++i) {
    SymbolInformation alone;
    EXPECT_TRUE(_dladdr(made.image(), addresses[i], &mach_copyMem, &alone));
    EXPECT_EQ(memcmp(&alone, &records[i], sizeof(alone)), 0) << addresses[i] - made.At(0);
  }
  EXPECT_EQ(Find(made, 0x80).dli_sname, nullptr);
  EXPECT_STREQ(Find(made, 0x180).dli_sname, "a");
  EXPECT_STREQ(Find(made, 0x280).dli_sname, "b2");
}

TEST(MachOImageTest, TheFirstLinkEditSegmentCounts) {
  HandMade made(kMachOMagic64);
  made.Segment("__LINKEDIT", 0x9000, 0x10, 0x1000).Segment("__LINKEDIT", 0x5000, 0x10, 0);
  EXPECT_EQ(segmentBaseOfImageIndex(made.image()), 0x8000U);
}

TEST(MachOImageTest, ACommandOfSizeZeroEndsTheWalk) {
  HandMade made(kMachOMagic64);
  made.Uuid(1).Text();
  const uint32_t zero = 0;
  memcpy(made.bytes() + 32 + 4, &zero, sizeof(zero));
  EXPECT_FALSE(MachOImageContains(made.image(), made.At(0)));
}

TEST(MachOScanTest, AnImageWithoutUuidRepeatsThePreviousOnes) {
  HandMade first(kMachOMagic64);
  first.Uuid(0x20).Text();
  HandMade second(kMachOMagic64, 2);
  second.Segment("__TEXT", kTextAddress, 0x2000, 0);
  MachOImageScan scan;
  ImageListEntry entry;
  ASSERT_TRUE(ScanMachOImage(first.image(), &scan, &entry));
  ASSERT_TRUE(ScanMachOImage(second.image(), &scan, &entry));
  EXPECT_STREQ(entry.uuid, "20212223-2425-2627-2829-2A2B2C2D2E2F");
  EXPECT_EQ(entry.end, second.At(0x1fff));
}

TEST(MachOScanTest, AnImageWithoutTextIsShownWithThePreviousAddressAndSize) {
  HandMade first(kMachOMagic64);
  first.Uuid(0x20).Segment("__TEXT", kTextAddress, 0x2000, 0);
  HandMade second(kMachOMagic64);
  second.Uuid(0x40);
  MachOImageScan scan;
  ImageListEntry entry;
  ASSERT_TRUE(ScanMachOImage(first.image(), &scan, &entry));
  ASSERT_TRUE(ScanMachOImage(second.image(), &scan, &entry));
  EXPECT_EQ(entry.start, second.At(0));
  EXPECT_EQ(entry.end, second.At(0x1fff));
  EXPECT_STREQ(entry.uuid, "40414243-4445-4647-4849-4A4B4C4D4E4F");
}

TEST(MachOScanTest, ImagesOfOtherTypesAreSkippedButUpdateWhatIsCarried) {
  HandMade bundle(kMachOMagic64, 8);
  bundle.Uuid(0x30).Segment("__TEXT", kTextAddress, 0x500, 0);
  HandMade library(kMachOMagic64);
  MachOImageScan scan;
  ImageListEntry entry;
  EXPECT_FALSE(ScanMachOImage(bundle.image(), &scan, &entry));
  ASSERT_TRUE(ScanMachOImage(library.image(), &scan, &entry));
  EXPECT_STREQ(entry.uuid, "30313233-3435-3637-3839-3A3B3C3D3E3F");
  EXPECT_EQ(entry.end, library.At(0x4ff));
}

TEST(MachOScanTest, AnImageWithoutHeaderIsSkipped) {
  MachOImageScan scan;
  ImageListEntry entry;
  EXPECT_FALSE(ScanMachOImage(MachOImage(), &scan, &entry));
}

TEST(MachOScanTest, A64BitImagesLineShowsArm64AndA32BitOnesArmv7) {
  HandMade wide(kMachOMagic64);
  wide.Uuid(0).Text();
  HandMade narrow(kMachOMagic32);
  narrow.Uuid(0).Text();
  MachOImageScan scan;
  ImageListEntry entry;
  ASSERT_TRUE(ScanMachOImage(wide.image(), &scan, &entry));
  EXPECT_NE(ImageLine(entry).find(" hand.dylib arm64  <000102030405060708090a0b0c0d0e0f> /lib/"),
            std::string::npos);
  ASSERT_TRUE(ScanMachOImage(narrow.image(), &scan, &entry));
  EXPECT_NE(ImageLine(entry).find(" hand.dylib armv7  <"), std::string::npos);
}

// A library as clang and the linker made it, laid out in memory as the loader would.
class RealImage {
 public:
  RealImage() : file_(oru_test::ReadFile(MACHO_TEST_IMAGE)) {
    Each64BitSegment([this](uint64_t address, uint64_t size, uint64_t, uint64_t) {
      memory_.resize(std::max<size_t>(memory_.size(), address + size));
    });
    Each64BitSegment([this](uint64_t address, uint64_t, uint64_t offset, uint64_t file_size) {
      memcpy(&memory_[address], &file_[offset], file_size);
    });
  }

  MachOImage image() const {
    MachOImage image;
    image.header = memory_.data();
    image.size = memory_.size();
    image.name = "/usr/lib/libtestimage.dylib";
    image.slide = reinterpret_cast<intptr_t>(memory_.data());  // linked at address 0
    return image;
  }
  size_t size() const { return memory_.size(); }

 private:
  // Its own reading of the commands, independent of the code under test.
  template <typename Visit>
  void Each64BitSegment(Visit visit) {
    uint32_t count = 0;
    memcpy(&count, &file_[16], 4);
    for (size_t at = 32; count > 0; --count) {
      uint32_t command[2];
      memcpy(command, &file_[at], 8);
      uint64_t fields[4];
      memcpy(fields, &file_[at + 24], 32);
      if (command[0] == 25) visit(fields[0], fields[1], fields[2], fields[3]);
      at += command[1];
    }
  }

  std::string file_;
  std::vector<uint8_t> memory_;
};

struct NmSymbol {
  uint64_t value;
  std::string name;
};

// Defined symbols in the table's order.
std::vector<NmSymbol> SymbolsOfNm() {
  const auto result = oru_test::RunChild({LLVM_NM, "-a", "-p", MACHO_TEST_IMAGE});
  std::vector<NmSymbol> symbols;
  for (const std::string& line : oru_test::SplitLines(result.out)) {
    if (line.size() < 20 || line[0] == ' ') continue;
    symbols.push_back({std::stoull(line.substr(0, 16), nullptr, 16), line.substr(19)});
  }
  return symbols;
}

TEST(RealMachOTest, EveryAddressGivesTheSymbolThatTheSymbolListerGives) {
  const auto symbols = SymbolsOfNm();
  ASSERT_GE(symbols.size(), 9U);
  const RealImage real;
  for (uint64_t address = 0; address < real.size(); ++address) {
    const NmSymbol* nearest = nullptr;
    for (const NmSymbol& symbol : symbols) {
      if (symbol.value == 0 || symbol.value > address) continue;
      if (nearest == nullptr || symbol.value >= nearest->value) nearest = &symbol;
    }
    SymbolInformation record;
    const uintptr_t here = address + static_cast<uintptr_t>(real.image().slide);
    ASSERT_TRUE(_dladdr(real.image(), here, &mach_copyMem, &record));
    if (nearest == nullptr) {
      ASSERT_EQ(record.dli_sname, nullptr) << address;
      continue;
    }
    ASSERT_NE(record.dli_sname, nullptr) << address;
    const bool underscore = nearest->name[0] == '_';
    ASSERT_EQ(record.dli_sname, nearest->name.substr(underscore ? 1 : 0)) << address;
    ASSERT_EQ(record.dli_saddr,
              reinterpret_cast<void*>(nearest->value + static_cast<uintptr_t>(real.image().slide)));
  }
}

// The value behind a label in the object dumper's output, from a position on.
std::string Dumped(const std::string& text, const std::string& label, size_t from) {
  const size_t at = text.find(label, from);
  if (at == std::string::npos) return "";
  const size_t start = text.find_first_not_of(' ', at + label.size());
  return text.substr(start, text.find('\n', start) - start);
}

TEST(RealMachOTest, UuidAndTextAreThoseOfTheObjectDumper) {
  const auto dump =
      oru_test::RunChild({LLVM_OBJDUMP, "--macho", "--private-headers", MACHO_TEST_IMAGE});
  const size_t text = dump.out.find("segname __TEXT");
  ASSERT_NE(text, std::string::npos);
  const RealImage real;
  MachOImageScan scan;
  ImageListEntry entry;
  ASSERT_TRUE(ScanMachOImage(real.image(), &scan, &entry));
  EXPECT_EQ(entry.uuid, Dumped(dump.out, "uuid", 0));
  EXPECT_EQ(scan.text_address, std::stoull(Dumped(dump.out, "vmaddr", text), nullptr, 16));
  EXPECT_EQ(scan.text_size, std::stoull(Dumped(dump.out, "vmsize", text), nullptr, 16));
  EXPECT_TRUE(entry.is_64_bit);
  const size_t linkedit = dump.out.find("segname __LINKEDIT");
  EXPECT_EQ(segmentBaseOfImageIndex(real.image()),
            std::stoull(Dumped(dump.out, "vmaddr", linkedit), nullptr, 16) -
                std::stoull(Dumped(dump.out, "fileoff", linkedit)));
}

TEST(RealMachOTest, AnImageCutAnywhereIsReadWithoutAFault) {
  const RealImage real;
  for (size_t size = 0; size < 2048; ++size) {
    // A block of exactly that size, so that a read beyond it is noticed by a checking build.
    const std::unique_ptr<uint8_t[]> cut(new uint8_t[size]);
    memcpy(cut.get(), real.image().header, size);
    MachOImage image = real.image();
    image.header = cut.get();
    image.size = size;
    MachOImageScan scan;
    ImageListEntry entry;
    ScanMachOImage(image, &scan, &entry);
    SymbolInformation record;
    _dladdr(image, reinterpret_cast<uintptr_t>(real.image().header) + 0x380, &mach_copyMem,
            &record);
    EXPECT_FALSE(MachOImageContains(image, 1));
  }
}

}  // namespace
}  // namespace CrashHandler::machine
