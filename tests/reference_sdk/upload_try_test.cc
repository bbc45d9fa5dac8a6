#include "examples/reference_sdk/upload_try.h"

#include <gtest/gtest.h>

#include <string>

namespace reference_sdk {
namespace {

UploadTry Failed(CURLcode code) {
  UploadTry result;
  result.code = code;
  return result;
}

TEST(UploadTryTest, ControlCharactersOfAReasonAreReplaced) {
  EXPECT_EQ(ReasonOfTry(Failed(CURLE_COULDNT_CONNECT), "port 9\x1b[31m\r\n\t\x7f \xc3\xa4"),
            "port 9?[31m???? \xc3\xa4");
}

TEST(UploadTryTest, AFailedVerificationIsToldWithoutTheCertificatesWords) {
  const std::string reason =
      ReasonOfTry(Failed(CURLE_PEER_FAILED_VERIFICATION), "certificate subject name 'somebody'");
  EXPECT_NE(reason.find("certificate"), std::string::npos) << reason;
  EXPECT_EQ(reason.find("somebody"), std::string::npos) << reason;
}

TEST(UploadTryTest, AFailureWithAStatusCodeNeedsNoReason) {
  UploadTry refused;
  refused.http_code = 403;
  EXPECT_EQ(ReasonOfTry(refused, ""), "");
}

}  // namespace
}  // namespace reference_sdk
