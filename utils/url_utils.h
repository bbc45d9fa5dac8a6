// A URL's parameters. Byte strings; nothing is escaped or unescaped.
#ifndef UTILS_URL_UTILS_H_
#define UTILS_URL_UTILS_H_

#include <map>
#include <string>
#include <utility>

#pragma GCC visibility push(default)

namespace tessik {
namespace utils {

// A base and the parameters, in ascending byte order of their names.
using UrlParts = std::pair<std::string, std::map<std::string, std::string>>;

// The parameters of `url`; the base of the result is always empty. What follows "?" or "&" is a
// name, what follows "=" the value of the name before it; a repeated name keeps its first value, a
// name without "=" gives no parameter. "base?x=1&y=2" gives x: 1 and y: 2.
UrlParts extractUrl(const std::string& url);

// "base", or "base?key=value&key=value" in ascending order of the keys.
std::string buildUrl(const UrlParts& parts);

// `url` without the parameter `key`, the others in ascending order, each name with its first value.
// The value behind the removed key goes with it; when the key has no value the next key is dropped
// in its place, and that one's value stays under an empty name. An empty `key` removes all
// parameters.
std::string removeUrlKey(const std::string& url, const std::string& key);

}  // namespace utils
}  // namespace tessik

#pragma GCC visibility pop

#endif  // UTILS_URL_UTILS_H_
