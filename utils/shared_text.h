// Rules over strings that the crash support and the general utilities share. Not for other users.
#ifndef UTILS_SHARED_TEXT_H_
#define UTILS_SHARED_TEXT_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tessik::shared {

using UrlParts = std::pair<std::string, std::map<std::string, std::string>>;

// See SplitString of crash_handler_utils.h.
std::vector<std::string> SplitAtSet(const std::string& text, const std::string& delims,
                                    bool keep_delims);

// The parameters of a URL, the base left empty: a token behind "?" or "&" is a name, one behind "="
// the value of the last name, which its first value wins; a leading token is neither.
UrlParts ExtractUrlParts(const std::string& url);

// See BuildUrl and RemoveUrlKey of crash_handler_utils.h.
std::string JoinUrl(const UrlParts& parts);
std::string WithoutUrlKey(const std::string& url, const std::string& key);

}  // namespace tessik::shared

#endif  // UTILS_SHARED_TEXT_H_
