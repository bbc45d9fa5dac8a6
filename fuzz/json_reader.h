// A strict reader of JSON for checking what the product writes.
#ifndef FUZZ_JSON_READER_H_
#define FUZZ_JSON_READER_H_

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace oru_fuzz {

struct Json {
  enum Kind { kWord, kNumber, kString, kArray, kObject };

  Kind kind = kWord;
  // A word ("true") or number as it stands, a string's characters.
  std::string text;
  // An array's elements, an object's values.
  std::vector<Json> values;
  // An object's names, one for each value.
  std::vector<std::string> names;

  // The value of the only member of that name, or null.
  const Json* Find(const std::string& name) const;
};

enum class JsonRules {
  // All of RFC 8259, and the text is UTF-8.
  kStrict,
  // What traces hold: strings with any byte as it is and no escapes but of backslash and quote,
  // numbers cut behind their point or printed as "inf" and "nan".
  kTrace,
};

// False when `text` is not one value with white space around it.
bool ReadJson(const std::string& text, JsonRules rules, Json* value);

}  // namespace oru_fuzz

#endif  // FUZZ_JSON_READER_H_
