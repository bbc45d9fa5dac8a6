// Splitting of strings and cutting of keys out of flat JSON texts. Byte strings; free of state.
#ifndef UTILS_STRING_UTILS_H_
#define UTILS_STRING_UTILS_H_

#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace tessik {
namespace utils {

// Cuts `text` at every character of `delims`. A run of other characters is one element, and with
// `keep_delims` every delimiter is an element of one character; leading and repeated delimiters
// give no empty elements. What follows the last delimiter is always an element, so that a text that
// ends with a delimiter ends with an empty element. An empty text or an empty `delims` gives `text`
// alone.
std::vector<std::string> splitString(const std::string& text, const std::string& delims,
                                     bool keep_delims);

// The non-empty pieces before each `delimiter`, then what follows the last one (the whole text when
// there is none), even when that is empty: "a,,b," gives "a", "b" and "".
std::vector<std::string> splitString(const std::string& text, char delimiter);

// The pieces of `text` between occurrences of `pattern`, empty ones included: "--a" cut at "--"
// gives "" and "a". An empty text gives one empty piece.
// The end of the text counts as an occurrence that may begin inside it: "a-" cut at "--" gives "a".
// `pattern` must not be empty; if it is, the result is `text` alone.
std::vector<std::string> splitStringByPatten(std::string text, const std::string& pattern);

// `json` without the occurrences of `key_pattern` (such as "\"b\":") and the value behind each, up
// to the next comma: {a:1,b:2,c:3} without b: gives {a:1,c:3}, with a comma at the end. Works on
// flat texts only: a value's own commas are not understood, and behind a removed key empty pieces
// between commas vanish. Without an occurrence, and for an empty pattern, the result is `json`.
std::string removeJsonKey(const std::string& json, const std::string& key_pattern);

}  // namespace utils
}  // namespace tessik

#pragma GCC visibility pop

#endif  // UTILS_STRING_UTILS_H_
