#include "examples/reference_sdk/upload_try.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace reference_sdk {
namespace {

UploadTry Failed(CURLcode code) {
  UploadTry result;
  result.code = code;
  return result;
}

TEST(UploadTryTest, AConnectionThatFailedIsToldWithTheSystemsReason) {
  UploadTry failed = Failed(CURLE_COULDNT_CONNECT);
  failed.system_error = ECONNREFUSED;
  const std::string reason = ReasonOfTry(failed);
  EXPECT_NE(reason.find("connect"), std::string::npos) << reason;
  EXPECT_NE(reason.find("refused"), std::string::npos) << reason;
}

TEST(UploadTryTest, AFailedVerificationSpeaksOfTheCertificate) {
  const std::string reason = ReasonOfTry(Failed(CURLE_PEER_FAILED_VERIFICATION));
  EXPECT_NE(reason.find("certificate"), std::string::npos) << reason;
}

TEST(UploadTryTest, AFailureWithAStatusCodeNeedsNoReason) {
  UploadTry refused;
  refused.http_code = 403;
  EXPECT_EQ(ReasonOfTry(refused), "");
}

}  // namespace
}  // namespace reference_sdk
