#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/files.h"
#include "tests/support/identifier_reference.h"
#include "tests/support/string_encode_reference.h"

namespace {

using CrashHandler::CrashType;
using Strings = std::vector<std::string>;

Strings Sorted(Strings names) {
  std::sort(names.begin(), names.end());
  return names;
}

TEST(CrashTypeNames, AllFour) {
  EXPECT_EQ("Signal", CrashHandler::GetCrashTypeString(CrashHandler::Signal));
  EXPECT_EQ("Exception", CrashHandler::GetCrashTypeString(CrashHandler::Exception));
  EXPECT_EQ("MemoryError", CrashHandler::GetCrashTypeString(CrashHandler::MemoryError));
  EXPECT_EQ("Terminate", CrashHandler::GetCrashTypeString(CrashHandler::Terminate));
  EXPECT_EQ(4U, sizeof(CrashType));
  EXPECT_EQ(3, CrashHandler::Terminate);
}
TEST(CrashTypeNames, FourAndNegativeAreUnknown) {
  EXPECT_EQ("Unknown", CrashHandler::GetCrashTypeString(static_cast<CrashType>(4)));
  EXPECT_EQ("Unknown", CrashHandler::GetCrashTypeString(static_cast<CrashType>(-1)));
}
TEST(OsName, IsTheSameEverywhere) { EXPECT_EQ("Mac OS X", CrashHandler::GetOsName()); }

TEST(SplitStringBySet, WithoutKeepingDelimiters) {
  EXPECT_EQ((Strings{"a", "b", ""}), SplitString("a,,b,", ",", false));
}
TEST(SplitStringBySet, KeepingDelimiters) {
  EXPECT_EQ((Strings{"a", ",", ",", "b", ",", ""}), SplitString("a,,b,", ",", true));
}
TEST(SplitStringBySet, EmptyTextIsOneEmptyElement) {
  EXPECT_EQ(Strings{""}, SplitString("", ",", false));
  EXPECT_EQ(Strings{""}, SplitString("", "", true));
}
TEST(SplitStringBySet, EmptySetIsTheWholeText) {
  EXPECT_EQ(Strings{"a,b"}, SplitString("a,b", "", true));
}
TEST(SplitStringBySet, SeveralDelimiters) {
  EXPECT_EQ((Strings{"?", "a", "=", "1", "&", "&", ""}), SplitString("?a=1&&", "?=&", true));
}
TEST(SplitStringBySet, AgreesWithTheReference) {
  std::mt19937 random(17);
  for (int round = 0; round < 2000; ++round) {
    std::string text;
    while (text.size() < static_cast<size_t>(round % 50)) text += "ab,;="[random() % 5];
    for (const char* delims : {",", ",;", "=;,", "z"}) {
      for (const bool keep : {false, true}) {
        ASSERT_EQ(oru_test::SplitAtSetReference(text, delims, keep),
                  SplitString(text, delims, keep));
      }
    }
  }
}

TEST(BuildUrl, JoinsInKeyOrder) {
  EXPECT_EQ("base", CrashHandler::BuildUrl({"base", {}}));
  EXPECT_EQ("base?a=1&b= &c=",
            CrashHandler::BuildUrl({"base", {{"c", ""}, {"a", "1"}, {"b", " "}}}));
}

TEST(RemoveUrlKey, DropsTheKeyAndItsValue) {
  EXPECT_EQ("a?k2=2", CrashHandler::RemoveUrlKey("a?k=1&k2=2", "k"));
}
TEST(RemoveUrlKey, OtherKeysAreSortedAndKeepTheirFirstValue) {
  EXPECT_EQ("a?a=1&b=2", CrashHandler::RemoveUrlKey("a?b=2&a=1&b=3", "z"));
}
TEST(RemoveUrlKey, KeyWithoutValueTakesTheNextKey) {
  EXPECT_EQ("a?=2", CrashHandler::RemoveUrlKey("a?k&b=2", "k"));
}
TEST(RemoveUrlKey, EmptyKeyLeavesTheBase) {
  EXPECT_EQ("a", CrashHandler::RemoveUrlKey("a?b=2&c=3", ""));
}
TEST(RemoveUrlKey, WithoutParametersOrText) {
  EXPECT_EQ("a", CrashHandler::RemoveUrlKey("a", "k"));
  EXPECT_EQ("", CrashHandler::RemoveUrlKey("", "k"));
  EXPECT_EQ("??a=1", CrashHandler::RemoveUrlKey("?a=1", "k"));
}
TEST(RemoveUrlKey, KeyAtTheEndIsForgotten) {
  EXPECT_EQ("a?b=1", CrashHandler::RemoveUrlKey("a?b=1&k", "k"));
  EXPECT_EQ("a?b=1", CrashHandler::RemoveUrlKey("a?b=1&k=", "k"));
}

TEST(CrashFileName, FiveFieldsAreTakenApart) {
  std::string a, b, c, d;
  EXPECT_TRUE(CrashHandler::ParseCrashInfoFromFileName("crash_1_2_3_4.txt", &a, &b, &c, &d));
  EXPECT_EQ("1|2|3|4", a + "|" + b + "|" + c + "|" + d);
}
TEST(CrashFileName, OtherCountsLeaveTheOutputs) {
  for (const char* name :
       {"crash_1_2_3.txt", "crash_1_2_3_4_5.txt", "crash.txt", "crash_1_2_3_.txt"}) {
    std::string a = "A", b = "B", c = "C", d = "D";
    EXPECT_FALSE(CrashHandler::ParseCrashInfoFromFileName(name, &a, &b, &c, &d)) << name;
    EXPECT_EQ("ABCD", a + b + c + d);
  }
}
TEST(CrashFileName, WithoutDotOrStemIsRefused) {
  std::string a, b, c, d;
  EXPECT_FALSE(CrashHandler::ParseCrashInfoFromFileName("crash_1_2_3_4", &a, &b, &c, &d));
  EXPECT_FALSE(CrashHandler::ParseCrashInfoFromFileName(".crash_1_2_3_4", &a, &b, &c, &d));
  EXPECT_FALSE(CrashHandler::ParseCrashInfoFromFileName("", &a, &b, &c, &d));
}
TEST(CrashFileName, EmptyFieldsCountButNotAnEmptyLastOne) {
  std::string a, b, c, d;
  EXPECT_TRUE(CrashHandler::ParseCrashInfoFromFileName("crash__2_3_4.txt", &a, &b, &c, &d));
  EXPECT_EQ("", a);
  EXPECT_TRUE(CrashHandler::ParseCrashInfoFromFileName("_1_2_3_4.txt", &a, &b, &c, &d));
  EXPECT_EQ("1", a);
  EXPECT_TRUE(CrashHandler::ParseCrashInfoFromFileName("crash_1_2_3_4_.txt", &a, &b, &c, &d));
  EXPECT_EQ("4", d);
}
TEST(CrashFileName, LastDotEndsTheStem) {
  std::string a, b, c, d;
  EXPECT_TRUE(CrashHandler::ParseCrashInfoFromFileName("crash_1.0_2_3_4.x.txt", &a, &b, &c, &d));
  EXPECT_EQ("1.0|4.x", a + "|" + d);
}

class Folder : public testing::Test {
 protected:
  void SetUp() override {
    oru_test::WriteFile(dir_.Join("crash_1.txt"), "12345");
    oru_test::WriteFile(dir_.Join("data.log"), "");
    oru_test::WriteFile(dir_.Join("noext"), "x");
    oru_test::MakeDirs(dir_.Join("crashes"));
    oru_test::MakeDirs(dir_.Join("dir.txt"));
    ASSERT_EQ(0, symlink("crash_1.txt", dir_.Join("clink.txt").c_str()));
    ASSERT_EQ(0, symlink("crashes", dir_.Join("dlink").c_str()));
    ASSERT_EQ(0, mkfifo(dir_.Join("cpipe.txt").c_str(), 0600));
  }
  Strings Matching(const std::string& prefix, const std::string& suffix) {
    return Sorted(CrashHandler::GetDirFileByPrefixAndSuffix(dir_.path(), prefix, suffix));
  }
  oru_test::TempDir dir_;
};

TEST_F(Folder, IsFileInDirFindsFilesAndFolders) {
  EXPECT_TRUE(CrashHandler::IsFileInDir(dir_.path(), "crash_1.txt"));
  EXPECT_TRUE(CrashHandler::IsFileInDir(dir_.path(), "crashes"));
  EXPECT_FALSE(CrashHandler::IsFileInDir(dir_.path(), "crash_1"));
  EXPECT_FALSE(CrashHandler::IsFileInDir(dir_.path(), "CRASHES"));
}
TEST_F(Folder, IsFileInDirPassesOverLinksPipesAndDots) {
  for (const char* name : {"clink.txt", "dlink", "cpipe.txt", ".", "..", ""}) {
    EXPECT_FALSE(CrashHandler::IsFileInDir(dir_.path(), name)) << name;
  }
}
TEST_F(Folder, GetDirInPathNamesFoldersOnly) {
  EXPECT_EQ((Strings{"crashes", "dir.txt"}), Sorted(CrashHandler::GetDirInPath(dir_.path())));
  EXPECT_EQ(Strings{}, CrashHandler::GetDirInPath(dir_.Join("none")));
}
TEST_F(Folder, PrefixIsASetOfFirstCharacters) {
  EXPECT_EQ((Strings{"crash_1.txt", "crashes", "data.log", "dir.txt"}), Matching("dc", ""));
  EXPECT_EQ((Strings{"crash_1.txt", "crashes"}), Matching("xyzc", ""));
}
TEST_F(Folder, EmptyPrefixAdmitsNothing) { EXPECT_EQ(Strings{}, Matching("", "")); }
TEST_F(Folder, SuffixIsTheTextBehindTheLastDot) {
  EXPECT_EQ((Strings{"crash_1.txt", "dir.txt"}), Matching("cdn", "txt"));
  EXPECT_EQ(Strings{}, Matching("cdn", ".txt"));
  EXPECT_EQ(Strings{}, Matching("n", "noext"));
}
TEST_F(Folder, MatchingInAMissingFolderIsEmpty) {
  EXPECT_EQ(Strings{}, CrashHandler::GetDirFileByPrefixAndSuffix(dir_.Join("none"), "c", ""));
}
TEST_F(Folder, FileSizes) {
  EXPECT_EQ(5U, CrashHandler::GetFileSize(dir_.Join("crash_1.txt")));
  EXPECT_EQ(0U, CrashHandler::GetFileSize(dir_.Join("data.log")));
  EXPECT_EQ(0U, CrashHandler::GetFileSize(dir_.Join("none")));
  EXPECT_EQ(0U, CrashHandler::GetFileSize(dir_.Join("crashes")));
}
TEST_F(Folder, FileSizeAboveFourGigabytes) {
  const std::string path = dir_.Join("sparse");
  oru_test::WriteFile(path, "");
  ASSERT_EQ(0, truncate(path.c_str(), 5000000000));
  EXPECT_EQ(5000000000U, CrashHandler::GetFileSize(path));
}
TEST_F(Folder, DirExistsOrCreatMakesOneLevel) {
  const mode_t mask = umask(0);
  EXPECT_TRUE(CrashHandler::DirExistsOrCreat(dir_.Join("fresh")));
  umask(mask);
  struct stat status = {};
  ASSERT_EQ(0, stat(dir_.Join("fresh").c_str(), &status));
  EXPECT_TRUE(S_ISDIR(status.st_mode));
  EXPECT_EQ(0755U, status.st_mode & 07777);
  EXPECT_TRUE(CrashHandler::DirExistsOrCreat(dir_.Join("fresh")));
  EXPECT_TRUE(CrashHandler::DirExistsOrCreat(dir_.Join("data.log")));
  EXPECT_FALSE(CrashHandler::DirExistsOrCreat(dir_.Join("two/levels")));
}
TEST_F(Folder, IsFileExistFollowsLinks) {
  EXPECT_TRUE(CrashHandler::IsFileExist(dir_.path()));
  EXPECT_TRUE(CrashHandler::IsFileExist(dir_.Join("clink.txt")));
  ASSERT_EQ(0, symlink("nowhere", dir_.Join("broken").c_str()));
  EXPECT_FALSE(CrashHandler::IsFileExist(dir_.Join("broken")));
  EXPECT_FALSE(CrashHandler::IsFileExist(""));
}

TEST(CurrentDate, IsEightHoursEastOfUtcWhateverTheZone) {
  for (const char* zone : {"UTC", "America/New_York", "EST5EDT"}) {
    setenv("TZ", zone, 1);
    tzset();
    std::vector<int32_t> offsets = {0, 86400, -86400, 2000000000, -1500000000};
    // Another zone shows only in the hours in which its day is another one: all are tried.
    for (int32_t hour = 1; hour < 24; ++hour) offsets.push_back(hour * 3600);
    for (const int32_t offset : offsets) {
      // A midnight may pass between the two clock reads, never two of them.
      Strings possible;
      std::string date;
      for (int side = 0; side < 2; ++side) {
        const time_t moment = std::time(nullptr) + offset + 8 * 3600;
        char text[16];
        std::tm utc = {};
        std::strftime(text, sizeof(text), "%Y%m%d", gmtime_r(&moment, &utc));
        possible.emplace_back(text);
        if (side == 0) date = CrashHandler::GetCurrentDate(offset);
      }
      EXPECT_TRUE(date == possible[0] || date == possible[1]) << date;
    }
  }
}

TEST(GenerateRandomString, HashDigitsThenRandomCharacters) {
  // The AP hash of "ab", computed by hand: 0x61 first, then the odd step.
  uint32_t hash = 0x61;
  hash ^= ~((hash << 11) ^ 0x62U ^ (hash >> 5));
  hash &= 0x7fffffff;
  // The seed's counter is 1030 % 1024, whatever the second the call falls into.
  for (const int length : {3, 40}) {
    const bool first = length == 3;
    std::string actual;
    Strings possible;
    const time_t before = std::time(nullptr);
    actual = CrashHandler::GenerateRandomString(1030, static_cast<uint64_t>(length), "ab");
    for (time_t now = before; now <= std::time(nullptr); ++now) {
      std::srand(static_cast<unsigned>(now) + (first ? 6U : 7U));
      possible.push_back(oru_test::Identifier(hash, static_cast<size_t>(length)));
    }
    EXPECT_NE(possible.end(), std::find(possible.begin(), possible.end(), actual)) << actual;
  }
}
TEST(GenerateRandomString, NegativeSeedKeepsItsSign) {
  const time_t before = std::time(nullptr);
  const std::string actual = CrashHandler::GenerateRandomString(-1030, 30, "");
  Strings possible;
  for (time_t now = before; now <= std::time(nullptr); ++now) {
    std::srand(static_cast<unsigned>(now - 6));
    possible.push_back(oru_test::Identifier(0, 30));
  }
  EXPECT_NE(possible.end(), std::find(possible.begin(), possible.end(), actual)) << actual;
}
TEST(GenerateRandomString, LengthIsASigned32BitCount) {
  EXPECT_EQ("", CrashHandler::GenerateRandomString(1, 0, "key"));
  EXPECT_EQ("", CrashHandler::GenerateRandomString(1, 0x80000000U, "key"));
  EXPECT_EQ(5U, CrashHandler::GenerateRandomString(1, 0x100000005U, "key").size());
}
TEST(GenerateRandomString, TwoCallsInASecondDiffer) {
  EXPECT_NE(CrashHandler::GenerateRandomString(1, 40, ""),
            CrashHandler::GenerateRandomString(1, 40, ""));
}
TEST(GenerateRandomString, KeyEndsAtItsFirstZeroByte) {
  EXPECT_EQ(CrashHandler::GenerateRandomString(1, 5, "keykeykey").substr(0, 5),
            CrashHandler::GenerateRandomString(1, 5, std::string("keykeykey\0x", 11)).substr(0, 5));
}

}  // namespace
