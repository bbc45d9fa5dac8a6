#include "helper/command_line.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace {

CommandLine Parse(std::vector<const char*> argv, std::vector<std::string>* seen = nullptr) {
  return ParseCommandLine(static_cast<int>(argv.size()), argv.data(),
                          [seen](int index, const char* key, const char* value) {
                            if (seen == nullptr) return;
                            seen->push_back(std::to_string(index) + "|" + key + "|" + value);
                          });
}

TEST(ParseCommandLine, StartsEmpty) {
  const CommandLine command = Parse({"varnook"});
  EXPECT_EQ(command.action, kNoActionCode);
  EXPECT_EQ(command.library_path, "");
  EXPECT_EQ(command.delay, "");
}

TEST(ParseCommandLine, ReadsNothingFromNoArgumentsAtAll) {
  EXPECT_EQ(ParseCommandLine(0, nullptr, nullptr).action, kNoActionCode);
}

TEST(ParseCommandLine, NeedsNoObserver) {
  const char* argv[] = {"varnook", "-libp", "/x"};
  EXPECT_EQ(ParseCommandLine(3, argv, nullptr).library_path, "/x");
}

TEST(ParseCommandLine, KnowsTheFourActions) {
  EXPECT_EQ(Parse({"v", "-action", "init"}).action, 1);
  EXPECT_EQ(Parse({"v", "-action", "uploadLog"}).action, 2);
  EXPECT_EQ(Parse({"v", "-action", "uploadCrash"}).action, 3);
  EXPECT_EQ(Parse({"v", "-action", "requestDump"}).action, 4);
}

TEST(ParseCommandLine, ComparesActionsInFull) {
  for (const char* action : {"", "Init", "init ", "uploadLo", "uploadLogs", "uploadlog"}) {
    EXPECT_EQ(Parse({"v", "-action", action}).action, kNoActionCode) << action;
  }
}

TEST(ParseCommandLine, AnUnknownActionLeavesTheEarlierOne) {
  EXPECT_EQ(Parse({"v", "-action", "init", "-action", "word"}).action, kInitActionCode);
  EXPECT_EQ(Parse({"v", "-action", "word", "-action", "init"}).action, kInitActionCode);
}

TEST(ParseCommandLine, StoresEveryKeyInItsOwnField) {
  const CommandLine command =
      Parse({"v",     "-apid", "1",       "-seid", "2",       "-ver", "3",     "-delay", "4",
             "-akid", "5",     "-akscrt", "6",     "-sectkn", "7",    "-edpt", "8",      "-bukt",
             "9",     "-logp", "10",      "-libp", "11",      "-ext", "12"});
  EXPECT_EQ(command.app_id, "1");
  EXPECT_EQ(command.session_id, "2");
  EXPECT_EQ(command.sdk_version, "3");
  EXPECT_EQ(command.delay, "4");
  EXPECT_EQ(command.access_key_id, "5");
  EXPECT_EQ(command.access_key_secret, "6");
  EXPECT_EQ(command.security_token, "7");
  EXPECT_EQ(command.endpoint, "8");
  EXPECT_EQ(command.bucket, "9");
  EXPECT_EQ(command.log_path, "10");
  EXPECT_EQ(command.library_path, "11");
  EXPECT_EQ(command.extra_info, "12");
}

TEST(ParseCommandLine, ToldOfEveryPairInOrder) {
  std::vector<std::string> seen;
  Parse({"v", "x", "-pid", "1", "-", "-what", "-apid", "", "-tid", "2"}, &seen);
  EXPECT_EQ(seen, (std::vector<std::string>{"2|-pid|1", "5|-what|-apid", "8|-tid|2"}));
}

TEST(ParseCommandLine, TheFirstArgumentCanBeAKey) {
  EXPECT_EQ(Parse({"-libp", "/x"}).library_path, "/x");
  EXPECT_EQ(Parse({"-", "-libp", "/x"}).library_path, "/x");
}

TEST(ParseCommandLine, NullPointersAreNoKeysAndEmptyValues) {
  EXPECT_EQ(Parse({nullptr, "-libp", "/x"}).library_path, "/x");
  EXPECT_EQ(Parse({"v", "-libp", "/x", "-libp", nullptr}).library_path, "");
}

TEST(ParseCommandLine, AKeyStandingLastKeepsTheEarlierValue) {
  EXPECT_EQ(Parse({"v", "-libp", "/x", "-libp"}).library_path, "/x");
}

TEST(DelaySeconds, ReadsTheLeadingNumber) {
  EXPECT_EQ(DelaySeconds(""), 0U);
  EXPECT_EQ(DelaySeconds("abc"), 0U);
  EXPECT_EQ(DelaySeconds("5x"), 5U);
  EXPECT_EQ(DelaySeconds(" +12"), 12U);
  EXPECT_EQ(DelaySeconds("010"), 10U);
  EXPECT_EQ(DelaySeconds("0x10"), 0U);
  EXPECT_EQ(DelaySeconds("-1"), UINT64_MAX);
  EXPECT_EQ(DelaySeconds("99999999999999999999"), static_cast<uint64_t>(INT64_MAX));
}

TEST(GetDefaultLogDirPath, IsUnderHomeAndEndsWithASlash) {
  setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(GetDefaultLogDirPath(), "/home/someone/Documents/Oru_RTC_Log/");
  setenv("HOME", "/\xff/", 1);
  EXPECT_EQ(GetDefaultLogDirPath(), "/\xff//Documents/Oru_RTC_Log/");
  unsetenv("HOME");
  EXPECT_EQ(GetDefaultLogDirPath(), "/Documents/Oru_RTC_Log/");
}

TEST(CommandLineConstants, AreTheWordsOfTheCommand) {
  EXPECT_EQ(kConnector, "-");
  EXPECT_EQ(kSeparate, " ");
  EXPECT_EQ(kQuotationMark, "\"");
  EXPECT_EQ(kProgramName, "varnook");
}

}  // namespace
