// Well-formed UTF-8 by the slow way: decode, encode again, compare.
#ifndef FUZZ_UTF8_CHECK_H_
#define FUZZ_UTF8_CHECK_H_

#include <cstddef>
#include <string>

#include "tests/support/string_encode_reference.h"

namespace oru_fuzz {

// Bytes of the character at `at`, or 0 where none stands: overlong forms, surrogates and what is
// above U+10FFFF are none.
inline size_t CharacterLength(const std::string& text, size_t at) {
  if (static_cast<unsigned char>(text[at]) < 0x80) return 1;
  unsigned long code = 0;
  const size_t length = oru_test::Utf8Length(text.substr(at, 4), &code);
  if (length == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
  return oru_test::Utf8Of(code) == text.substr(at, length) ? length : 0;
}

inline bool IsWellFormed(const std::string& text) {
  for (size_t at = 0; at < text.size();) {
    const size_t length = CharacterLength(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

}  // namespace oru_fuzz

#endif  // FUZZ_UTF8_CHECK_H_
