// Escaping, percent-encoding, hexadecimal, HTML and XML entities, UTF-8 and splitting of byte
// strings.
//
// All functions are free of state and may be called from any thread. Nothing here throws except
// where a std::string or std::vector cannot allocate.
//
// The buffer contract. A function that takes (buffer, buflen, source, srclen) follows these rules
// unless its comment says otherwise:
//  - `buflen` is the capacity of `buffer` in bytes, the terminating zero included; `srclen` is the
//    length of `source` in bytes, which need not be terminated and may hold any bytes.
//  - buflen 0: nothing is written, the result is 0. srclen 0 or buflen 1: one zero byte is written,
//    the result is 0.
//  - Otherwise the source is processed from its start up to its end, or up to the first piece of
//    output that would not leave room for the terminating zero; an escape, an entity or a UTF-8
//    sequence is never written in part. The terminating zero is written; the result is the number
//    of bytes before it.
//  - Buffer and source must not overlap. Bytes behind the terminating zero, inside the
//    capacity, are left with unspecified values.
//
// Encoders write lower-case hexadecimal digits. Decoders accept both cases, and, kept on purpose
// for callers that rely on it, any letter: "g" counts as 16 and "z" as 35. A decoded byte is the
// low 8 bits of (first digit * 16) OR (second digit).
#ifndef MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_ENCODE_H_
#define MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_ENCODE_H_

#include <cstddef>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace rtc {

// ---- Escapes ----

// Writes each byte that is `escape` or occurs in the terminated string `illegal` with `escape`
// before it; copies the others. (A zero byte of the source does not occur in `illegal`.)
size_t escape(char* buffer, size_t buflen, const char* source, size_t srclen, const char* illegal,
              char escape);

// Undoes `escape`: the escape character followed by any byte yields that byte; an escape character
// at the very end is copied.
size_t unescape(char* buffer, size_t buflen, const char* source, size_t srclen, char escape);

// Writes each byte that is `escape` or occurs in the terminated string `illegal` as `escape` and
// two hexadecimal digits; copies the others.
size_t encode(char* buffer, size_t buflen, const char* source, size_t srclen, const char* illegal,
              char escape);

// Undoes `encode`: the escape character and two digits yield one byte; an escape character that is
// not followed by two digits is copied.
size_t decode(char* buffer, size_t buflen, const char* source, size_t srclen, char escape);

// ---- File names ----

// The characters that are escaped in file names: none. A string of the program's lifetime.
const char* unsafe_filename_characters();

// "_" for bytes below 32, bytes of 0x80 and above and any of " * / : < > ? \ ; other bytes
// unchanged ("|" among them).
char make_char_safe_for_filename(char ch);

// ---- Percent-encoding ----

// Writes control characters, the space, 0x7F and " # $ % & + , / : ; < = > ? @ [ \ ] ^ ` { | } as
// "%" and two digits; copies everything else, bytes of 0x80 and above included. A null buffer:
// returns the capacity that is always enough, 3 * srclen + 1, whatever `buflen` is.
size_t url_encode(char* buffer, size_t buflen, const char* source, size_t srclen);

// "%" and two digits yield one byte, "+" a space; "%" before anything else is copied.
// A null buffer: returns the capacity that is always enough, srclen + 1, whatever `buflen` is.
size_t url_decode(char* buffer, size_t buflen, const char* source, size_t srclen);

// ---- UTF-8 ----

// Decodes one code point from the start of `source` into `*value`. Returns the number of bytes it
// took (1 to 4), or 0 for a malformed or truncated sequence and for an empty source (then `*value`
// is untouched). Overlong forms and surrogates are not rejected.
size_t utf8_decode(const char* source, size_t srclen, unsigned long* value);

// Writes the shortest form of `value` (up to 0x1FFFFF, four bytes) without a terminating zero.
// Returns the number of bytes, or 0 with nothing written when the value is larger or does not fit
// `buflen`.
size_t utf8_encode(char* buffer, size_t buflen, unsigned long value);

// ---- Entities ----

// Writes " & ' < > as &quot; &amp; &#39; &lt; &gt; and each UTF-8 sequence as "&#N;" with its
// decimal code point; a byte of 0x80 or above that starts no sequence counts as a code point of its
// own. Other bytes are copied.
size_t html_encode(char* buffer, size_t buflen, const char* source, size_t srclen);

// Same as `xml_decode`.
size_t html_decode(char* buffer, size_t buflen, const char* source, size_t srclen);

// Writes " & ' < > as &quot; &amp; &apos; &lt; &gt; and copies every other byte.
size_t xml_encode(char* buffer, size_t buflen, const char* source, size_t srclen);

// Replaces &lt; &gt; &apos; &quot; &amp; and numeric references ("&#" and decimal digits, or "&#x"
// and hexadecimal digits, then ";"), whose code point is written as UTF-8. Any other "&", and a
// reference above 0x1FFFFF, ends the decoding there.
size_t xml_decode(char* buffer, size_t buflen, const char* source, size_t srclen);

// ---- Hexadecimal ----

// The digit of a value 0 to 15; "!" for larger values.
char hex_encode(unsigned char value);

// The value of a digit or letter: "0" to "9" give 0 to 9, letters of both cases 10 to 35. False,
// with `*value` untouched, for any other character.
bool hex_decode(char ch, unsigned char* value);

// Writes two digits a byte, with `delimiter` between the bytes unless it is zero, and the
// terminating zero. A capacity below 3 * srclen with a delimiter, 2 * srclen + 1 without: returns
// 0, nothing is written (an empty source in a buffer of at least one byte yields the terminating
// zero).
size_t hex_encode_with_delimiter(char* buffer, size_t buflen, const char* source, size_t srclen,
                                 char delimiter);
// The same without a delimiter.
size_t hex_encode(char* buffer, size_t buflen, const char* source, size_t srclen);

// The same into a string, which is as long as it needs to be.
std::string hex_encode(const std::string& source);
std::string hex_encode(const char* source, size_t srclen);
std::string hex_encode_with_delimiter(const char* source, size_t srclen, char delimiter);

// Reads pairs of digits, with one `delimiter` between pairs unless it is zero. Returns the number
// of bytes written; no terminating zero is written. Returns 0, with unspecified bytes inside the
// capacity, when the buffer is smaller than (srclen + 1) / 3 bytes with a delimiter or srclen / 2
// without, the source is empty, a digit is invalid, a delimiter is missing or a character is left
// over.
size_t hex_decode_with_delimiter(char* buffer, size_t buflen, const char* source, size_t srclen,
                                 char delimiter);
size_t hex_decode_with_delimiter(char* buffer, size_t buflen, const std::string& source,
                                 char delimiter);
// The same without a delimiter.
size_t hex_decode(char* buffer, size_t buflen, const char* source, size_t srclen);
size_t hex_decode(char* buffer, size_t buflen, const std::string& source);

// ---- Buffer functions over strings ----

// A function that follows the buffer contract and needs no further argument, such as `url_encode`.
using Transform = size_t (*)(char* buffer, size_t buflen, const char* source, size_t srclen);

// Runs `t` over `source` with a buffer of `maxlen` bytes (the terminating zero included), assigns
// what it wrote to `value` and returns its length. `value` and `source` may be the same string.
// Buffers up to 4 KiB stand on the stack, larger ones are allocated.
size_t transform(std::string& value, size_t maxlen, const std::string& source, Transform t);

// The same with a buffer of 3 * source.length() + 1 bytes, which not every entity text fits.
std::string s_transform(const std::string& source, Transform t);

// ---- Splitting ----
//
// `fields` receives copies. The functions return the number of fields, and 0 when `fields` is null.
// `source` must not be an element of `fields`.

// Replaces `fields` by the pieces of `source` between delimiters, empty ones included: n delimiters
// give n + 1 fields.
size_t split(const std::string& source, char delimiter, std::vector<std::string>* fields);

// Same as `split`.
size_t tokenize_with_empty_tokens(const std::string& source, char delimiter,
                                  std::vector<std::string>* fields);

// Replaces `fields` by the non-empty pieces of `source` between delimiters.
size_t tokenize(const std::string& source, char delimiter, std::vector<std::string>* fields);

// Appends the non-empty pieces to `fields` and returns how many it appended.
size_t tokenize_append(const std::string& source, char delimiter, std::vector<std::string>* fields);

// Like `tokenize`, but the text between `start_mark` and the next `end_mark` is one field whatever
// it holds, kept even when empty. The text before a start mark is taken without its last character,
// where a delimiter is expected. A start mark without an end mark is ordinary text.
size_t tokenize(const std::string& source, char delimiter, char start_mark, char end_mark,
                std::vector<std::string>* fields);

// Cuts `source` at the first run of delimiters into `token` and `rest`. False, with both untouched,
// when there is no delimiter. `source` may be the string of `token` or of `rest`.
bool tokenize_first(const std::string& source, char delimiter, std::string* token,
                    std::string* rest);

}  // namespace rtc

#pragma GCC visibility pop

#endif  // MEDIA_CORE_COMMON_WEBRTC_RTC_BASE_STRING_ENCODE_H_
