// Bytes of any kind as text for log lines.
#ifndef HELPER_READABLE_TEXT_H_
#define HELPER_READABLE_TEXT_H_

#include <cstddef>
#include <string>

// Length of the UTF-8 sequence that begins at `text` (1 to 4), or 0 when none does: a stray or
// missing continuation byte, an overlong form, a surrogate, a value above U+10FFFF. Reads up to the
// terminating NUL at most. Safe before static initialisation.
size_t Utf8SequenceLength(const char* text);

// True when the whole NUL-terminated string is UTF-8. Safe before static initialisation.
bool IsUtf8(const char* text);

// UTF-8 text for the NUL-terminated string. Text that is UTF-8 comes out unchanged. Otherwise each
// byte that belongs to no UTF-8 sequence comes out as "\xHH" (two upper-case digits) and each
// backslash doubled, so that no byte is lost to the reader: "a<FF>b" reads "a\xFFb".
std::string ReadableText(const char* text);

#endif  // HELPER_READABLE_TEXT_H_
