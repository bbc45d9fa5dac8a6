#include "examples/reference_sdk/curl_settings.h"

namespace reference_sdk {
namespace {

constexpr unsigned kFirstThatSigns = 0x074b00;  // 7.75.0

}  // namespace

CurlLibrary::CurlLibrary() : ready_(curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK) {}

CurlLibrary::~CurlLibrary() {
  if (ready_) curl_global_cleanup();
}

std::string CurlLibrary::WhyItCannotSign() {
  const curl_version_info_data* info = curl_version_info(CURLVERSION_FIRST);
  if (info->version_num >= kFirstThatSigns) return "";
  return std::string("libcurl ") + info->version + " cannot sign requests, 7.75 or newer can";
}

std::string CurlSettings::Reason() const {
  return "libcurl refused a setting (" + std::to_string(option_) +
         "): " + curl_easy_strerror(code_);
}

}  // namespace reference_sdk
