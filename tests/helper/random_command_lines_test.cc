// Random command lines and environments: whatever the bytes, the command ends by itself with 0.
#include <array>
#include <cstdlib>
#include <random>

#include "tests/helper/varnook_process.h"

namespace oru_test {
namespace {

constexpr unsigned kSeed = 20170612;
constexpr int kShortRuns = 300;
constexpr int kLongRuns = 10000;

// Makes command lines that lean towards what the command knows.
class CommandLineSource {
 public:
  explicit CommandLineSource(unsigned seed) : random_(seed) {}

  std::vector<std::string> Next() {
    std::vector<std::string> arguments;
    const int count = Below(12);
    for (int i = 0; i < count; ++i) {
      // An upload wants two pairs: they are dealt out more often than chance would.
      switch (Below(8)) {
        case 0:
          arguments.insert(arguments.end(), {"-action", "uploadLog"});
          break;
        case 1:
          arguments.insert(arguments.end(), {"-libp", LibraryPath()});
          break;
        default:
          arguments.push_back(Argument());
      }
    }
    return arguments;
  }

  std::string AnyBytes(int longest) {
    std::string bytes(static_cast<size_t>(Below(longest + 1)), '\0');
    for (char& byte : bytes) byte = static_cast<char>(1 + Below(255));
    return bytes;
  }

  int Below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

 private:
  std::string LibraryPath() {
    static const std::array<const char*, 6> kPaths = {"lib", "plain", "empty", "garbage", "/", "."};
    return kPaths[static_cast<size_t>(Below(static_cast<int>(kPaths.size())))];
  }

  std::string Argument() {
    static const std::array<const char*, 32> kWords = {"-action",
                                                       "-apid",
                                                       "-seid",
                                                       "-ver",
                                                       "-delay",
                                                       "-akid",
                                                       "-akscrt",
                                                       "-edpt",
                                                       "-bukt",
                                                       "-sectkn",
                                                       "-logp",
                                                       "-libp",
                                                       "-ext",
                                                       "-pid",
                                                       "-tid",
                                                       "-ctype",
                                                       "-exinfo",
                                                       "init",
                                                       "-",
                                                       "",
                                                       "--",
                                                       "Init",
                                                       "uploadCrash",
                                                       "requestDump",
                                                       "-1",
                                                       "5x",
                                                       "%s%n%@",
                                                       "-libp ",
                                                       "(",
                                                       "{a=",
                                                       "-GSLogSyslog",
                                                       "99999999999999999999"};
    switch (Below(6)) {
      case 0:
        return AnyBytes(40);
      case 1:
        return "-" + AnyBytes(8);
      case 2:
        return Below(50) == 0 ? AnyBytes(100000) : LibraryPath();
      default:
        return kWords[static_cast<size_t>(Below(static_cast<int>(kWords.size())))];
    }
  }

  std::mt19937 random_;
};

// Dealt out over several tests, which can run beside each other.
constexpr int kShares = 4;

class RandomCommandLines : public VarnookTest, public testing::WithParamInterface<int> {
 protected:
  // Beside folders without a framework there are four with one that must not load.
  void SetUp() override {
    VarnookTest::SetUp();
    InstallFrameworkWithCode("");
    MakeDirs(dir_.Join("empty/OruRTCSdk.framework"));
    MakeDirs(dir_.Join("plain"));
    WriteFile(dir_.Join("plain/OruRTCSdk.framework"), "a file");
    MakeDirs(dir_.Join("garbage/OruRTCSdk.framework"));
    WriteFile(dir_.Join("garbage/OruRTCSdk.framework/OruRTCSdk"), std::string(4096, '\x7f'));
    RecordSleeps();
  }

  void ExpectCleanEnding(const VarnookRun& run, const std::string& what) {
    ASSERT_EQ(run.process.Ending(), "exit 0") << what << "\n" << run.process.err;
    ASSERT_EQ(run.process.err.find("Sanitizer"), std::string::npos) << run.process.err;
    ASSERT_EQ(run.process.err.find("runtime error"), std::string::npos) << run.process.err;
    ASSERT_FALSE(run.log.empty()) << what;
    ASSERT_EQ(run.log.front(), "varnook upload_log") << what;
    ASSERT_TRUE(run.log.back() == "varnook upload_log return:0" ||
                run.log.back() == "varnook LibraryPath was empty!")
        << what << "\n"
        << run.process.err;
    ASSERT_EQ(run.sdk, std::vector<std::string>{}) << what;
  }
};

TEST_P(RandomCommandLines, AllEndWithZero) {
  const char* wanted = getenv("ORU_TEST_LONG");
  const int runs = wanted != nullptr && std::string(wanted) == "1" ? kLongRuns : kShortRuns;
  const unsigned seed = kSeed + static_cast<unsigned>(GetParam());
  CommandLineSource source(seed);
  int load_errors = 0;
  for (int i = 0; i < runs / kShares && !HasFatalFailure(); ++i) {
    options_.env["HOME"] = source.AnyBytes(30);
    options_.env["ORU_TEST_ANY"] = source.AnyBytes(30);
    const VarnookRun run = Run(source.Next());
    ExpectCleanEnding(run,
                      "command line " + std::to_string(i) + " of seed " + std::to_string(seed));
    if (run.process.err.find("loadAndReturnError") != std::string::npos) ++load_errors;
  }
  // Had none come as far as the dynamic linker, the dealing would be wrong.
  EXPECT_GT(load_errors, 0);
}

INSTANTIATE_TEST_SUITE_P(Share, RandomCommandLines, testing::Range(0, kShares));

}  // namespace
}  // namespace oru_test
