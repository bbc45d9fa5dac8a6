// The string encodings once more, written as plainly as possible: each function turns a source into
// its list of output units, and one function fits units into a capacity. Tests and fuzz targets
// compare the real ones against it.
#ifndef TESTS_SUPPORT_STRING_ENCODE_REFERENCE_H_
#define TESTS_SUPPORT_STRING_ENCODE_REFERENCE_H_

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace oru_test {

// What must be written whole or not at all.
using Units = std::vector<std::string>;

Units EscapeUnits(const std::string& source, const std::string& illegal, char escape);
Units UnescapeUnits(const std::string& source, char escape);
Units EncodeUnits(const std::string& source, const std::string& illegal, char escape);
Units DecodeUnits(const std::string& source, char escape, bool plus_is_space);
Units UrlEncodeUnits(const std::string& source);
Units UrlDecodeUnits(const std::string& source);
Units HtmlEncodeUnits(const std::string& source);
Units XmlEncodeUnits(const std::string& source);
Units XmlDecodeUnits(const std::string& source);

// What a buffer of `capacity` bytes holds before its terminating zero.
std::string Fit(const Units& units, size_t capacity);
std::string Join(const Units& units);

// The UTF-8 form of a code point, built bit by bit; "" above 0x1FFFFF.
std::string Utf8Of(unsigned long code);
// Bytes taken from the start of `source`, 0 when malformed.
size_t Utf8Length(const std::string& source, unsigned long* code);

std::string HexOf(const std::string& source, char delimiter);
// False when `source` is not pairs of digits with delimiters between.
bool BytesOfHex(const std::string& source, char delimiter, std::string* bytes);

std::vector<std::string> PiecesOf(const std::string& source, char delimiter, bool keep_empty);
std::vector<std::string> MarkedPiecesOf(const std::string& source, char delimiter, char start_mark,
                                        char end_mark);

// The general splitting rule: a list of tokens, walked character by character.
std::vector<std::string> SplitAtSetReference(const std::string& text, const std::string& delims,
                                             bool keep_delims);

// A buffer function of one source with its reference, for tables.
struct EncodeCase {
  const char* name;
  size_t (*function)(char* buffer, size_t buflen, const char* source, size_t srclen);
  Units (*units)(const std::string& source);
};
inline void PrintTo(const EncodeCase& entry, std::ostream* out) { *out << entry.name; }
// All of them; those with further arguments are bound to typical ones.
const std::vector<EncodeCase>& EncodeCases();

}  // namespace oru_test

#endif  // TESTS_SUPPORT_STRING_ENCODE_REFERENCE_H_
