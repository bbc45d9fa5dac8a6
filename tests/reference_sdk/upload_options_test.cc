#include "examples/reference_sdk/upload_options.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace reference_sdk {
namespace {

TEST(UploadOptions, EnvironmentReplacesDefaults) {
  setenv("ORU_SDK_REGION", "eu-west-3", 1);
  setenv("ORU_SDK_CONNECT_TIMEOUT_MS", "250", 1);
  setenv("ORU_SDK_STALL_TIMEOUT_S", "2", 1);
  setenv("ORU_SDK_RETRY_PAUSE_MS", "0", 1);
  setenv("ORU_SDK_THREADS", "3", 1);
  setenv("ORU_SDK_CA_FILE", "/ca.pem", 1);
  setenv("TMPDIR", "/elsewhere", 1);
  const UploadOptions options = UploadOptionsFromEnvironment();
  EXPECT_EQ(options.region, "eu-west-3");
  EXPECT_EQ(options.connect_timeout_ms, 250);
  EXPECT_EQ(options.stall_timeout_s, 2);
  EXPECT_EQ(options.retry_pause_ms, 0);
  EXPECT_EQ(options.threads, 3);
  EXPECT_EQ(options.ca_file, "/ca.pem");
  EXPECT_EQ(options.temp_dir, "/elsewhere");
}

TEST(UploadOptions, BadValuesLeaveTheDefaultsAndNoTimeOutCanBeSwitchedOff) {
  setenv("ORU_SDK_REGION", "us:evil\n", 1);
  setenv("ORU_SDK_CONNECT_TIMEOUT_MS", "0", 1);
  setenv("ORU_SDK_STALL_TIMEOUT_S", "-1", 1);
  setenv("ORU_SDK_RETRY_PAUSE_MS", "5s", 1);
  setenv("ORU_SDK_THREADS", "99999999999999999999", 1);
  setenv("TMPDIR", "", 1);
  const UploadOptions options = UploadOptionsFromEnvironment();
  const UploadOptions defaults;
  EXPECT_EQ(options.region, defaults.region);
  EXPECT_EQ(options.connect_timeout_ms, defaults.connect_timeout_ms);
  EXPECT_EQ(options.stall_timeout_s, defaults.stall_timeout_s);
  EXPECT_EQ(options.retry_pause_ms, defaults.retry_pause_ms);
  EXPECT_EQ(options.threads, 0);
  EXPECT_EQ(options.temp_dir, "/tmp");
}

}  // namespace
}  // namespace reference_sdk
