// A network library that cannot do what a safe upload needs: nothing may leave the machine then.
#include <gtest/gtest.h>

#include <string>

#include "tests/reference_sdk/command_fixture.h"
#include "tests/reference_sdk/scripted_server.h"

namespace reference_sdk {
namespace {

// What a shell sees of -8.
constexpr int kExitLibraryUnfit = 248;
constexpr int kOptionSigning = 10305;
constexpr int kOptionAuthentication = 107;

class NetworkLibraryTest : public CommandTest {
 protected:
  NetworkLibraryTest() { Preload(ORU_NETWORK_LIBRARY_FAULTS); }

  void ExpectNothingSent(const std::string& why) {
    ScriptedServer server({{200}});
    const auto run = Upload(server.endpoint());
    EXPECT_EQ(run.exit_code, kExitLibraryUnfit) << run.err;
    EXPECT_EQ(server.requests().size(), 0U);
    ASSERT_EQ(SdkLines(run).size(), 1U) << run.err;
    EXPECT_NE(SdkLines(run)[0].find(why), std::string::npos) << run.err;
  }
};

TEST_F(NetworkLibraryTest, WithoutSigningNothingIsSent) {
  options_.env["ORU_TEST_CURL_REFUSED_OPTION"] = std::to_string(kOptionSigning);
  ExpectNothingSent("refused a setting");
}

TEST_F(NetworkLibraryTest, WhereSigningCannotBeTheOnlyAuthenticationNothingIsSent) {
  options_.env["ORU_TEST_CURL_REFUSED_OPTION"] = std::to_string(kOptionAuthentication);
  ExpectNothingSent("refused a setting");
}

TEST_F(NetworkLibraryTest, OneThatIsTooOldToSignSendsNothing) {
  options_.env["ORU_TEST_CURL_VERSION"] = "0x074a00";
  ExpectNothingSent("libcurl of a test cannot sign requests, 7.75 or newer can");
}

TEST_F(NetworkLibraryTest, TheOldestThatCanSignIsUsed) {
  options_.env["ORU_TEST_CURL_VERSION"] = "0x074b00";
  ScriptedServer server({{200}});
  EXPECT_EQ(Upload(server.endpoint()).exit_code, 0);
}

TEST_F(NetworkLibraryTest, WhicheverSettingItRefusesNothingIsSent) {
  ScriptedServer server({{200}});
  int refused = 0;
  for (int call = 1;; ++call) {
    ASSERT_LT(call, 100);
    options_.env["ORU_TEST_CURL_REFUSED_CALL"] = std::to_string(call);
    const auto run = Upload(server.endpoint());
    // Beyond the last setting there is nothing to refuse.
    if (!server.requests().empty()) {
      EXPECT_EQ(run.exit_code, 0) << "call " << call << ": " << run.err;
      break;
    }
    EXPECT_EQ(run.exit_code, kExitLibraryUnfit) << "call " << call << ": " << run.err;
    ++refused;
  }
  EXPECT_GT(refused, 15);
}

}  // namespace
}  // namespace reference_sdk
