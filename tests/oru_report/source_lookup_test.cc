#include "oru_report/source_lookup.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>

#include <cstring>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "tests/support/files.h"

extern "C" int OruFixtureFunction(int value);
extern "C" const int oru_fixture_line;

namespace oru_report {
namespace {

// The fixture library as it is loaded in this process.
Image LoadedFixture() {
  Image image;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* out) {
        auto* found = static_cast<Image*>(out);
        if (strstr(info->dlpi_name, "oru_report_fixture") == nullptr) return 0;
        found->start = info->dlpi_addr;
        found->path = info->dlpi_name;
        found->name = "fixture";
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          const ElfW(Phdr)& header = info->dlpi_phdr[i];
          const auto* bytes = reinterpret_cast<const char*>(info->dlpi_addr + header.p_vaddr);
          if (header.p_type == PT_LOAD)
            found->end = info->dlpi_addr + header.p_vaddr + header.p_memsz;
          // Name size 4, descriptor size 20, type 3, "GNU": the build id stands first in its
          // segment.
          if (header.p_type == PT_NOTE && header.p_memsz >= 36 &&
              memcmp(bytes + 12, "GNU", 4) == 0 && bytes[8] == 3) {
            found->uuid = rtc::hex_encode(bytes + 16, 16);
          }
        }
        return 1;
      },
      &image);
  return image;
}

class SourceLookupTest : public testing::Test {
 protected:
  SourceLookupTest() {
    report_.images.push_back(LoadedFixture());
    address_ = reinterpret_cast<uint64_t>(&OruFixtureFunction);
    // The address may be that of a linkage stub in this program.
    if (void* real = dlsym(RTLD_DEFAULT, "OruFixtureFunction")) {
      address_ = reinterpret_cast<uint64_t>(real);
    }
  }

  Report report_;
  uint64_t address_ = 0;
  SourcePlace place_;
};

TEST_F(SourceLookupTest, FindsFileAndLine) {
  ASSERT_EQ(report_.images[0].uuid.size(), 32U);
  SourceLookup lookup(report_, "");
  ASSERT_TRUE(lookup.Find(address_, false, &place_));
  EXPECT_EQ(place_.function, "OruFixtureFunction");
  EXPECT_EQ(place_.line, oru_fixture_line);
  EXPECT_NE(place_.file.find("tests/oru_report/fixture.cc"), std::string::npos) << place_.file;
}

TEST_F(SourceLookupTest, TakesTheCallBeforeAReturnAddress) {
  SourceLookup lookup(report_, "");
  ASSERT_TRUE(lookup.Find(address_ + 1, true, &place_));
  EXPECT_EQ(place_.line, oru_fixture_line);
}

TEST_F(SourceLookupTest, KnowsNothingOfAnotherBuild) {
  report_.images[0].uuid = std::string(32, '0');
  SourceLookup lookup(report_, "");
  EXPECT_FALSE(lookup.Find(address_, false, &place_));
}

TEST_F(SourceLookupTest, KnowsNothingOutsideTheImages) {
  SourceLookup lookup(report_, "");
  EXPECT_FALSE(lookup.Find(report_.images[0].end + 4096, false, &place_));
  EXPECT_FALSE(lookup.Find(0, true, &place_));
}

TEST_F(SourceLookupTest, TakesFilesThatAreNoImages) {
  const oru_test::TempDir dir;
  report_.images[0].path = dir.Join("text");
  oru_test::WriteFile(report_.images[0].path, "no image at all");
  SourceLookup garbage(report_, "");
  EXPECT_FALSE(garbage.Find(address_, false, &place_));
  report_.images[0].path = "/nowhere/at/all";
  SourceLookup absent(report_, "");
  EXPECT_FALSE(absent.Find(address_, false, &place_));
}

}  // namespace
}  // namespace oru_report
