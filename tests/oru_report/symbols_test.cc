#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "oru_report/symbols/symbol_store.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

extern "C" int OruFixtureFunction(const volatile int* value);
extern "C" const int oru_fixture_line;
extern "C" const int oru_fixture_inline_line;

namespace oru_report {
namespace {

// Where the fixture library is loaded in this process.
struct Loaded {
  uint64_t start = 0;
  uint64_t end = 0;
  std::string path;
};

Loaded LoadedFixture() {
  Loaded loaded;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* out) {
        auto* found = static_cast<Loaded*>(out);
        if (strstr(info->dlpi_name, "oru_report_fixture") == nullptr) return 0;
        found->start = info->dlpi_addr;
        found->path = info->dlpi_name;
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          const ElfW(Phdr)& header = info->dlpi_phdr[i];
          if (header.p_type == PT_LOAD)
            found->end = info->dlpi_addr + header.p_vaddr + header.p_memsz;
        }
        return 1;
      },
      &loaded);
  return loaded;
}

std::string IdOf(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY);
  const std::vector<BinarySlice> slices = ReadBinarySlices(descriptor);
  close(descriptor);
  return slices.size() == 1 ? slices[0].id : "";
}

class Symbols : public testing::Test {
 protected:
  Symbols() : loaded_(LoadedFixture()), id_(IdOf(loaded_.path)), uuid_(id_.substr(0, 32)) {
    image_ = {loaded_.start, loaded_.end, "fixture", uuid_, loaded_.path};
    // The address may be that of a linkage stub in this program.
    void* real = dlsym(RTLD_DEFAULT, "OruFixtureFunction");
    address_ = reinterpret_cast<uint64_t>(real);
  }

  Place Find(const SymbolOptions& options = {}) {
    SymbolStore store(options);
    return store.Find(image_, address_);
  }

  SymbolState State(const SymbolOptions& options = {}) {
    SymbolStore store(options);
    return store.Of(image_).state;
  }

  void Run(const std::vector<std::string>& command) {
    const oru_test::ChildResult result = oru_test::RunChild(command);
    ASSERT_EQ(result.exit_code, 0) << result.err;
  }

  // The fixture's debug information, in a folder of build ids.
  void MakeDebugFolder(const std::string& build_ids) {
    const std::string folder = build_ids + "/" + id_.substr(0, 2);
    oru_test::MakeDirs(folder);
    Run({"/usr/bin/objcopy", "--only-keep-debug", loaded_.path,
         folder + "/" + id_.substr(2) + ".debug"});
  }

  const Loaded loaded_;
  const std::string id_;
  std::string uuid_;
  Image image_;
  uint64_t address_ = 0;
};

TEST_F(Symbols, AnAddressHasItsFunctionFileAndLine) {
  ASSERT_EQ(id_.size(), 40U);
  const Place place = Find();
  ASSERT_FALSE(place.frames.empty());
  EXPECT_EQ(place.frames.back().function, "OruFixtureFunction");
  EXPECT_EQ(place.frames.back().line, oru_fixture_line);
  EXPECT_NE(place.frames.back().file.find("tests/oru_report/fixture.cc"), std::string::npos);
}

TEST_F(Symbols, AnInlinedFunctionStandsBeforeItsCaller) {
  SymbolStore store({});
  bool seen = false;
  for (uint64_t at = address_; at < address_ + 16 && !seen; ++at) {
    const Place place = store.Find(image_, at);
    seen = place.frames.size() == 2;
    if (!seen) continue;
    EXPECT_NE(place.frames[0].function.find("Tripled"), std::string::npos);
    EXPECT_EQ(place.frames[0].line, oru_fixture_inline_line);
    EXPECT_EQ(place.frames[1].function, "OruFixtureFunction");
    EXPECT_EQ(place.frames[1].line, oru_fixture_line);
    EXPECT_NE(place.frames[1].file.find("fixture.cc"), std::string::npos);
  }
  EXPECT_TRUE(seen);
}

TEST_F(Symbols, ManyAddressesAtOnceAreFoundAsOneByOne) {
  const oru_test::TempDir dir;
  const std::string packed = dir.Join("packed.so");
  Run({"/usr/bin/objcopy", "--compress-debug-sections", loaded_.path, packed});
  SymbolOptions options;
  options.paths = {packed};
  image_.path = "/absent";
  std::vector<uint64_t> addresses;
  for (uint64_t at = address_ - 400; at < address_ + 600; ++at) addresses.push_back(at);
  SymbolStore at_once(options);
  at_once.Prepare(image_, addresses);
  ASSERT_EQ(at_once.Of(image_).prepared.size(), addresses.size());
  SymbolStore one_by_one(options);
  for (const uint64_t at : addresses) {
    const Place wanted = one_by_one.Find(image_, at);
    const Place found = at_once.Find(image_, at);
    ASSERT_EQ(found.frames.size(), wanted.frames.size()) << at;
    for (size_t i = 0; i < wanted.frames.size(); ++i) {
      EXPECT_EQ(found.frames[i].function, wanted.frames[i].function);
      EXPECT_EQ(found.frames[i].file, wanted.frames[i].file);
      EXPECT_EQ(found.frames[i].line, wanted.frames[i].line);
    }
  }
  EXPECT_EQ(at_once.Find(image_, address_).frames.back().line, oru_fixture_line);
}

TEST_F(Symbols, AnotherBuildGivesNothingAndIsNamed) {
  uuid_ = std::string(32, '1');
  image_.uuid = uuid_;
  SymbolStore store({});
  EXPECT_TRUE(store.Find(image_, address_).frames.empty());
  EXPECT_EQ(store.Of(image_).state, SymbolState::kOtherBuild);
  EXPECT_EQ(store.Of(image_).other_id, id_.substr(0, 32));
}

TEST_F(Symbols, AnotherBuildAmongTheUsersFilesIsNamed) {
  const oru_test::TempDir dir;
  const std::string given = dir.Join("libgone.so.debug");
  oru_test::WriteFile(given, oru_test::ReadFile(loaded_.path));
  uuid_ = std::string(32, '1');
  image_.uuid = uuid_;
  image_.path = "/gone/libgone.so";
  for (const std::string& path : {given, dir.path()}) {
    SymbolStore store({{path}, false});
    EXPECT_TRUE(store.Find(image_, address_).frames.empty());
    EXPECT_EQ(store.Of(image_).state, SymbolState::kOtherBuild);
    EXPECT_EQ(store.Of(image_).path, given);
    EXPECT_EQ(store.Of(image_).other_id, id_.substr(0, 32));
  }
  image_.path = "/gone/libother.so";
  EXPECT_EQ(State({{given}, false}), SymbolState::kMissing);
  // The right build, wherever it is, comes before.
  uuid_ = id_.substr(0, 32);
  image_.uuid = uuid_;
  image_.path = loaded_.path;
  oru_test::WriteFile(dir.Join(image_.path.substr(image_.path.rfind('/') + 1).data()), "");
  EXPECT_EQ(State({{dir.path()}, false}), SymbolState::kLines);
}

TEST_F(Symbols, AnAddressOfNoFunctionHasNoName) {
  image_.end = image_.start + (uint64_t{1} << 40);
  SymbolStore store({});
  const Place place = store.Find(image_, loaded_.end + 65536);
  EXPECT_TRUE(place.frames.empty());
  EXPECT_TRUE(place.file_known);
}

TEST_F(Symbols, FilesThatAreNoImagesGiveNothing) {
  const oru_test::TempDir dir;
  const std::string text = dir.Join("text");
  oru_test::WriteFile(text, "no image at all");
  for (const std::string& path : {text, dir.Join("absent"), dir.path()}) {
    image_.path = path;
    EXPECT_EQ(State(), SymbolState::kMissing) << path;
  }
}

TEST_F(Symbols, ADamagedFileGivesNothingAndDoesNoHarm) {
  const oru_test::TempDir dir;
  const std::string whole = oru_test::ReadFile(loaded_.path);
  const std::string path = dir.Join("damaged.so");
  image_.path = path;
  for (size_t cut = 64; cut < whole.size(); cut += whole.size() / 60) {
    oru_test::WriteFile(path, whole.substr(0, cut));
    Find();
    std::string changed = whole;
    for (size_t i = 0; i < 64 && cut + i < changed.size(); ++i) changed[cut + i] = '\xff';
    oru_test::WriteFile(path, changed);
    Find();
  }
}

TEST_F(Symbols, PathsOfStrangersAreNotOpenedUnlessTheyAreFiles) {
  const oru_test::TempDir dir;
  const std::string fifo = dir.Join("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const std::string link = dir.Join("link");
  ASSERT_EQ(symlink("/proc/self/mem", link.c_str()), 0);
  const std::string relative = "fixture";
  for (const std::string& path :
       {fifo, link, relative, std::string("/proc/self/mem"), std::string("/dev/zero"),
        std::string("/dev/tty"), std::string("/sys/kernel/mm/transparent_hugepage/enabled"),
        std::string("/proc/self/root/proc/self/exe/../mem"), std::string("/etc/../proc/self/mem"),
        std::string("/"), std::string("")}) {
    image_.path = path;
    EXPECT_EQ(State(), SymbolState::kMissing) << path;
  }
}

TEST_F(Symbols, AnIdFindsFilesInAFolderWhereverTheyAre) {
  const oru_test::TempDir dir;
  oru_test::MakeDirs(dir.Join("a/b"));
  oru_test::WriteFile(dir.Join("a/b/renamed"), oru_test::ReadFile(loaded_.path));
  image_.path = "/nowhere/at/all";
  EXPECT_EQ(State(), SymbolState::kMissing);
  EXPECT_EQ(State({{dir.path()}, false}), SymbolState::kLines);
  EXPECT_EQ(State({{dir.Join("a/b/renamed")}, false}), SymbolState::kLines);
  EXPECT_EQ(State({{dir.Join("absent")}, false}), SymbolState::kMissing);
}

TEST_F(Symbols, ADebugFileOfABuildIdFolderIsFoundByTheIdAlone) {
  const oru_test::TempDir dir;
  MakeDebugFolder(dir.Join(".build-id"));
  image_.path = "/nowhere/at/all";
  EXPECT_EQ(State({{dir.path()}, false}), SymbolState::kLines);
  EXPECT_EQ(State({{dir.Join(".build-id")}, false}), SymbolState::kLines);
  const Place place = Find({{dir.path()}, false});
  ASSERT_FALSE(place.frames.empty());
  EXPECT_EQ(place.frames.back().line, oru_fixture_line);
}

TEST_F(Symbols, ADebugFileOfTheSystemNeedNotBeNamed) {
  const oru_test::TempDir dir;
  MakeDebugFolder(dir.Join(".build-id"));
  image_.path = "/nowhere/at/all";
  SymbolOptions options;
  EXPECT_EQ(options.system, "/usr/lib/debug");
  EXPECT_EQ(State(options), SymbolState::kMissing);
  options.system = dir.path();
  EXPECT_EQ(State(options), SymbolState::kLines);
}

TEST_F(Symbols, AStrippedFileGivesItsExportedNames) {
  const oru_test::TempDir dir;
  const std::string path = dir.Join("stripped.so");
  Run({"/usr/bin/strip", "-o", path, loaded_.path});
  image_.path = path;
  EXPECT_EQ(State(), SymbolState::kNames);
  EXPECT_EQ(Find().frames.back().function, "OruFixtureFunction");
}

TEST(ReportedIds, AreTheFirstBytesFilledWithZeros) {
  const std::string id = "0123456789abcdef0123456789abcdef01234567";
  EXPECT_TRUE(IsReportedId(id, id.substr(0, 32)));
  EXPECT_TRUE(IsReportedId("0123456789abcdef", "0123456789abcdef0000000000000000"));
  EXPECT_FALSE(IsReportedId("0123456789abcdef", "0123456789abcdef0000000000000001"));
  EXPECT_FALSE(IsReportedId(id, "0123456789abcdef0000000000000000"));
  EXPECT_FALSE(IsReportedId("", std::string(32, '0')));
  EXPECT_FALSE(IsReportedId(id, ""));
  EXPECT_EQ(ReportedForm("0123"), "0123" + std::string(28, '0'));
}

}  // namespace
}  // namespace oru_report
