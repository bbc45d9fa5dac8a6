#include "utils/url_utils.h"

#include "media_core/biz_engine/crash_handler/tools/shared_text.h"

namespace tessik {
namespace utils {

UrlParts extractUrl(const std::string& url) { return crash_handler_tools::ExtractUrlParts(url); }

std::string buildUrl(const UrlParts& parts) { return crash_handler_tools::JoinUrl(parts); }

std::string removeUrlKey(const std::string& url, const std::string& key) {
  return crash_handler_tools::WithoutUrlKey(url, key);
}

}  // namespace utils
}  // namespace tessik
