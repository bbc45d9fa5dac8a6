// libcurl's process-wide state, and the settings of a transfer, none of which may be refused.
#ifndef EXAMPLES_REFERENCE_SDK_CURL_SETTINGS_H_
#define EXAMPLES_REFERENCE_SDK_CURL_SETTINGS_H_

#include <curl/curl.h>

#include <string>

namespace reference_sdk {

// Names that libcurl's headers got after 7.54, the oldest that this is compiled with; whether the
// library knows them is found out when it runs.
constexpr auto kOptionAwsSigV4 = static_cast<CURLoption>(10305);
constexpr auto kOptionUploadBufferSize = static_cast<CURLoption>(280);
constexpr auto kInfoSizeUpload = static_cast<CURLINFO>(0x600007);
constexpr unsigned long kAuthAwsSigV4 = 1UL << 7;

// Holds libcurl's process-wide state; nests.
class CurlLibrary {
 public:
  CurlLibrary();
  ~CurlLibrary();
  CurlLibrary(const CurlLibrary&) = delete;
  CurlLibrary& operator=(const CurlLibrary&) = delete;

  bool ready() const { return ready_; }
  // "" when the library that runs can sign requests, else a sentence part that says why it cannot:
  // one that is older ignores the demand and would send the secret as it stands.
  static std::string WhyItCannotSign();

 private:
  bool ready_;
};

// Settings of one transfer. The first one that the library refuses is remembered, and a transfer
// with it must not be made: it would do without what it was to be protected by.
class CurlSettings {
 public:
  explicit CurlSettings(CURL* curl) : curl_(curl) {}

  template <class Value>
  void Set(CURLoption option, Value value) {
    if (refused()) return;
    code_ = curl_easy_setopt(curl_, option, value);
    if (refused()) option_ = option;
  }

  bool refused() const { return code_ != CURLE_OK; }
  // Which one, and why, by libcurl's numbers and words.
  std::string Reason() const;

 private:
  CURL* curl_;
  CURLcode code_ = CURLE_OK;
  CURLoption option_{};
};

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_CURL_SETTINGS_H_
