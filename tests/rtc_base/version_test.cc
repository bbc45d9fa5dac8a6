#include "media_core/common/webrtc/rtc_base/version.h"

#include <gtest/gtest.h>

#include <string>

namespace rtc {
namespace {

TEST(Version, TheTextIsMadeOfItsParts) {
  EXPECT_EQ(std::string(ORU_VERSION), std::to_string(ORU_VERSION_MAJOR) + "." +
                                          std::to_string(ORU_VERSION_MINOR) + "." +
                                          std::to_string(ORU_VERSION_PATCH));
}

TEST(Version, TheLibraryIsThatOfTheHeaders) {
  EXPECT_STREQ(LibraryVersion(), ORU_VERSION);
  EXPECT_EQ(LibraryVersionNumber(), ORU_VERSION_NUMBER);
}

TEST(Version, TheBuildHasReadItHere) { EXPECT_STREQ(ORU_VERSION, PROJECT_VERSION_OF_THE_BUILD); }

}  // namespace
}  // namespace rtc
