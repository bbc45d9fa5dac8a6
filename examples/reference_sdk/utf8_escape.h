// Texts of any bytes as UTF-8.
#ifndef EXAMPLES_REFERENCE_SDK_UTF8_ESCAPE_H_
#define EXAMPLES_REFERENCE_SDK_UTF8_ESCAPE_H_

#include <string>

namespace reference_sdk {

// True for well-formed UTF-8 (no overlong forms, no surrogates, nothing above U+10FFFF).
bool IsUtf8(const std::string& text);

// True for UTF-8 with nothing in it that an extractor or a terminal takes for more than a part of a
// name: no backslash, no control character (U+0080 to U+009F too).
bool IsPlainUtf8(const std::string& text);

// `text` with every byte that is no part of a well-formed character, and every one of a backslash
// or a control character, written as "%XX", and every "%" as "%25", so that different texts stay
// different and the bytes can be restored.
std::string EscapeToUtf8(const std::string& text);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_UTF8_ESCAPE_H_
