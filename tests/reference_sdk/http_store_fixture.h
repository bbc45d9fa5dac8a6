// Puts a small archive into a scripted store, with short times.
#ifndef TESTS_REFERENCE_SDK_HTTP_STORE_FIXTURE_H_
#define TESTS_REFERENCE_SDK_HTTP_STORE_FIXTURE_H_

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "examples/reference_sdk/http_store.h"
#include "examples/reference_sdk/log_files.h"
#include "tests/support/files.h"

namespace reference_sdk {

inline const Credentials kCredentials{"key:id", "top-secret", ""};

class HttpStoreTest : public testing::Test {
 protected:
  HttpStoreTest() {
    // Loopback is not for a proxy.
    setenv("no_proxy", "*", 1);
    options_.retry_pause_ms = 1;
    options_.connect_timeout_ms = 5000;
    options_.stall_timeout_s = 1;
    SetBody("the archive");
  }

  void SetBody(const std::string& body) {
    body_ = body;
    oru_test::WriteFile(dir_.Join("body"), body);
    fd_.Reset(open(dir_.Join("body").c_str(), O_RDONLY));
  }

  UploadStatus Put(const std::string& endpoint, const Credentials& credentials = kCredentials) {
    failure_ = {};
    return PutToStore(fd_.get(), body_.size(), endpoint + "/bucket/app/key.zip", credentials,
                      options_, &failure_);
  }

  oru_test::TempDir dir_;
  UploadOptions options_;
  std::string body_;
  ScopedFd fd_;
  StoreFailure failure_;
};

}  // namespace reference_sdk

#endif  // TESTS_REFERENCE_SDK_HTTP_STORE_FIXTURE_H_
