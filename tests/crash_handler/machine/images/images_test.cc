#include "media_core/biz_engine/crash_handler/machine/images/images.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <link.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/report/image_list_text.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace CrashHandler::machine {
namespace {

struct Listed {
  uint64_t start;
  uint64_t end;
  std::string uuid;
  std::string path;
};

std::vector<Listed> ListImages() {
  std::vector<Listed> images;
  VisitImages(
      [](void* context, const ImageListEntry& entry) {
        EXPECT_TRUE(entry.is_64_bit);
        static_cast<std::vector<Listed>*>(context)->push_back(
            {entry.start, entry.end, entry.uuid, entry.path});
      },
      &images);
  return images;
}

std::string OwnPath() {
  char path[PATH_MAX] = "";
  return readlink("/proc/self/exe", path, sizeof(path) - 1) < 0 ? "" : path;
}

// What the loader itself says, in its order.
std::vector<Listed> ImagesOfTheLoader() {
  std::vector<Listed> images;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* context) {
        Listed image = {UINT64_MAX, 0, "", info->dlpi_name};
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          const auto& header = info->dlpi_phdr[i];
          if (header.p_type != PT_LOAD) continue;
          image.start = std::min<uint64_t>(image.start, info->dlpi_addr + header.p_vaddr);
          if ((header.p_flags & PF_X) != 0) {
            image.end = info->dlpi_addr + header.p_vaddr + header.p_memsz - 1;
          }
        }
        static_cast<std::vector<Listed>*>(context)->push_back(image);
        return 0;
      },
      &images);
  images[0].path = OwnPath();
  return images;
}

TEST(ImageListTest, IsTheLoadersListInItsOrder) {
  const auto expected = ImagesOfTheLoader();
  const auto images = ListImages();
  ASSERT_EQ(images.size(), expected.size());
  for (size_t i = 0; i < images.size(); ++i) {
    EXPECT_EQ(images[i].path, expected[i].path);
    EXPECT_EQ(images[i].start, expected[i].start) << images[i].path;
    EXPECT_EQ(images[i].end, expected[i].end) << images[i].path;
  }
}

TEST(ImageListTest, TheSameBeforeAndAfterPreparation) {
  const std::string before = ImageListText();
  PrepareImages();
  EXPECT_EQ(ImageListText(), before);
  PrepareImages();
  EXPECT_EQ(ImageListText(), before);
}

TEST(ImageListTest, TheMainExecutableComesFirstByItsRealPath) {
  EXPECT_EQ(ListImages()[0].path, OwnPath());
}

TEST(ImageListTest, TheUuidIsTheFirstHalfOfTheBuildId) {
  const auto notes = oru_test::RunChild({LLVM_READELF, "-n", OwnPath()});
  const size_t at = notes.out.find("Build ID: ");
  ASSERT_NE(at, std::string::npos) << notes.err;
  const std::string uuid = ListImages()[0].uuid;
  std::string digits;
  for (const char digit : uuid) {
    if (digit != '-') digits += static_cast<char>(tolower(digit));
  }
  EXPECT_EQ(digits, notes.out.substr(at + 10, 32));
}

TEST(ImageListTest, AnImageOpenedAfterPreparationIsListedUntilItIsClosed) {
  PrepareImages();
  EXPECT_EQ(ImageListText().find(NO_BUILD_ID_LIBRARY), std::string::npos);
  void* library = dlopen(NO_BUILD_ID_LIBRARY, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  EXPECT_NE(ImageListText().find(NO_BUILD_ID_LIBRARY), std::string::npos);
  ASSERT_EQ(dlclose(library), 0);
  EXPECT_EQ(ImageListText().find(NO_BUILD_ID_LIBRARY), std::string::npos);
}

TEST(ImageListTest, AnImageWithoutABuildIdRepeatsThePreviousImagesUuid) {
  void* library = dlopen(NO_BUILD_ID_LIBRARY, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto images = ListImages();
  ASSERT_EQ(images.back().path, NO_BUILD_ID_LIBRARY);
  EXPECT_EQ(images.back().uuid, images[images.size() - 2].uuid);
  EXPECT_EQ(images.back().uuid.size(), 36U);
}

TEST(ImageListTest, EveryLineShowsArm64OnThisMachine) {
  for (const std::string& line : oru_test::SplitLines(ImageListText())) {
    EXPECT_NE(line.find(" arm64  <"), std::string::npos) << line;
  }
}

extern "C" __attribute__((noinline, used)) int NearestSymbolTarget(int x) { return x * 7; }

TEST(SymbolizerTest, AStaticAndAnExportedFunctionAreFound) {
  Symbolizer symbolizer;
  SymbolInformation record;
  const auto target = reinterpret_cast<uintptr_t>(&NearestSymbolTarget);
  ASSERT_TRUE(symbolizer.ResolveOne(target + 2, &record));
  EXPECT_STREQ(record.dli_sname, "NearestSymbolTarget");
  EXPECT_EQ(record.dli_saddr, reinterpret_cast<void*>(target));
  EXPECT_EQ(record.dli_fname, OwnPath());
  EXPECT_EQ(reinterpret_cast<uint64_t>(record.dli_fbase), ListImages()[0].start);
}

TEST(SymbolizerTest, AnAddressOutsideEveryImageHasNothing) {
  Symbolizer symbolizer;
  SymbolInformation record = {"x", &record, "y", &record};
  EXPECT_FALSE(symbolizer.ResolveOne(16, &record));
  EXPECT_EQ(record.dli_fname, nullptr);
  EXPECT_EQ(record.dli_fbase, nullptr);
  EXPECT_EQ(record.dli_sname, nullptr);
  EXPECT_EQ(record.dli_saddr, nullptr);
}

TEST(SymbolizerTest, ALibraryWithoutSymbolTableIsServedByItsDynamicOne) {
  void* library = dlopen(NO_BUILD_ID_LIBRARY, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  void* function = dlsym(library, "library_function");
  ASSERT_NE(function, nullptr);
  Symbolizer symbolizer;
  SymbolInformation record;
  ASSERT_TRUE(symbolizer.ResolveOne(reinterpret_cast<uintptr_t>(function) + 1, &record));
  EXPECT_STREQ(record.dli_sname, "library_function");
  EXPECT_EQ(record.dli_saddr, function);
  dlclose(library);
}

TEST(SymbolizerTest, ALibraryThatIsLinkedAtANonZeroAddressIsListedAndNamed) {
  void* library = dlopen(HIGH_LIBRARY, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  void* function = dlsym(library, "library_function");
  EXPECT_EQ(ListImages().back().path, HIGH_LIBRARY);
  Symbolizer symbolizer;
  SymbolInformation record;
  ASSERT_TRUE(symbolizer.ResolveOne(reinterpret_cast<uintptr_t>(function), &record));
  EXPECT_STREQ(record.dli_sname, "library_function");
  EXPECT_EQ(record.dli_saddr, function);
  dlclose(library);
}

TEST(SymbolizerTest, NamesOfALibraryThatWasClosedMeanwhileStayReadable) {
  void* library = dlopen(NO_BUILD_ID_LIBRARY, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto function = reinterpret_cast<uintptr_t>(dlsym(library, "library_function"));
  Symbolizer symbolizer;
  SymbolInformation record;
  ASSERT_TRUE(symbolizer.ResolveOne(function, &record));
  ASSERT_EQ(dlclose(library), 0);
  EXPECT_STREQ(record.dli_sname, "library_function");
  EXPECT_STREQ(record.dli_fname, NO_BUILD_ID_LIBRARY);
  // Its tables are gone; what this object has not found before is no fault.
  SymbolInformation later;
  symbolizer.ResolveOne(function + 1, &later);
  EXPECT_EQ(later.dli_sname, nullptr);
}

TEST(SymbolizerTest, WhatWasFoundIsForgottenWhenALibraryGoes) {
  void* library = dlopen(NO_BUILD_ID_LIBRARY, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  PrepareImages();
  const auto function = reinterpret_cast<uintptr_t>(dlsym(library, "library_function"));
  SymbolInformation record;
  for (int i = 0; i < 2; ++i) {
    Symbolizer again;
    ASSERT_TRUE(again.ResolveOne(function, &record));
    EXPECT_STREQ(record.dli_sname, "library_function");
  }
  ASSERT_EQ(dlclose(library), 0);
  Symbolizer later;
  EXPECT_FALSE(later.ResolveOne(function, &record));
}

TEST(SymbolizerTest, EveryFunctionOfTheSystemsLibraryIsFoundByItsAddress) {
  Symbolizer symbolizer;
  const char* const names[] = {"printf", "malloc", "qsort", "pthread_create", "getaddrinfo"};
  for (const char* name : names) {
    void* function = dlsym(dlopen("libc.so.6", RTLD_NOW | RTLD_NOLOAD), name);
    ASSERT_NE(function, nullptr) << name;
    SymbolInformation record;
    ASSERT_TRUE(symbolizer.ResolveOne(reinterpret_cast<uintptr_t>(function), &record));
    EXPECT_EQ(record.dli_saddr, function) << name;
  }
}

TEST(SymbolizerTest, ManyAddressesAtOnceGiveWhatEachGivesAlone) {
  Symbolizer symbolizer;
  std::vector<uintptr_t> addresses;
  const auto start = reinterpret_cast<uintptr_t>(&NearestSymbolTarget);
  const auto other = reinterpret_cast<uintptr_t>(&dlopen);
  for (uintptr_t i = 0; i < 300; ++i) {
    addresses.push_back(start - 3000 + i * 20);
    addresses.push_back(i % 3 == 0 ? i : other + i * 5);
  }
  std::vector<SymbolInformation> records(addresses.size());
  symbolizer.Resolve(addresses.data(), records.data(), addresses.size());
  for (size_t i = 0; i < addresses.size(); ++i) {
    SymbolInformation alone;
    symbolizer.ResolveOne(addresses[i], &alone);
    EXPECT_EQ(records[i].dli_saddr, alone.dli_saddr);
    EXPECT_STREQ(records[i].dli_sname, alone.dli_sname);
    EXPECT_EQ(records[i].dli_fname, alone.dli_fname);
    EXPECT_EQ(records[i].dli_fbase, alone.dli_fbase);
  }
}

// How often this thread has called read and its like; the call for this number is none of them yet.
uint64_t CountReads() {
  char text[512] = {};
  const int file = open("/proc/thread-self/io", O_RDONLY | O_CLOEXEC);
  EXPECT_GT(read(file, text, sizeof(text) - 1), 0);
  close(file);
  const char* reads = strstr(text, "syscr: ");
  if (reads == nullptr) return ADD_FAILURE() << text, 0;
  return strtoull(reads + strlen("syscr: "), nullptr, 10);
}

// Whatever places its frames have in a cache.
TEST(SymbolizerTest, AStackThatIsLookedAtAgainReadsNoFile) {
  Symbolizer symbolizer;
  const auto start = reinterpret_cast<uintptr_t>(&NearestSymbolTarget);
  for (const uintptr_t stride : {7U, 64U, 1024U, 1025U}) {
    std::vector<uintptr_t> addresses;
    for (uintptr_t i = 0; i < 40; ++i) addresses.push_back(start + i * stride);
    std::vector<SymbolInformation> records(addresses.size());
    symbolizer.Resolve(addresses.data(), records.data(), addresses.size());
    const uint64_t before = CountReads();
    symbolizer.Resolve(addresses.data(), records.data(), addresses.size());
    EXPECT_EQ(CountReads() - before, 1U) << stride;
  }
}

TEST(SymbolizerTest, TheNullAddressHasNothingWhateverWasKnown) {
  for (uintptr_t i = 0; i < 4096; ++i) {
    SymbolInformation record;
    Symbolizer().ResolveOne(reinterpret_cast<uintptr_t>(&NearestSymbolTarget) + i, &record);
  }
  void* library = dlopen(NO_BUILD_ID_LIBRARY, RTLD_NOW);
  ASSERT_NE(library, nullptr) << dlerror();
  Symbolizer later;
  SymbolInformation record;
  EXPECT_FALSE(later.ResolveOne(0, &record));
  EXPECT_EQ(record.dli_sname, nullptr);
  dlclose(library);
}

}  // namespace
}  // namespace CrashHandler::machine
