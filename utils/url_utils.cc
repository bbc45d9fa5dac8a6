#include "utils/url_utils.h"

#include "utils/shared_text.h"

namespace tessik {
namespace utils {

UrlParts extractUrl(const std::string& url) { return tessik::shared::ExtractUrlParts(url); }

std::string buildUrl(const UrlParts& parts) { return tessik::shared::JoinUrl(parts); }

std::string removeUrlKey(const std::string& url, const std::string& key) {
  return tessik::shared::WithoutUrlKey(url, key);
}

}  // namespace utils
}  // namespace tessik
