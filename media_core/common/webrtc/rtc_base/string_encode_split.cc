#include <algorithm>
#include <cstring>
#include <utility>

#include "media_core/common/webrtc/rtc_base/string_encode.h"

namespace rtc {

namespace {

using Fields = std::vector<std::string>;

// Calls `piece(begin, end)` for every piece between delimiters, empty ones included.
template <typename Piece>
void ForEachPiece(const char* begin, const char* end, char delimiter, Piece piece) {
  while (true) {
    const auto* cut = static_cast<const char*>(
        begin == end ? nullptr : std::memchr(begin, delimiter, static_cast<size_t>(end - begin)));
    if (cut == nullptr) break;
    piece(begin, cut);
    begin = cut + 1;
  }
  piece(begin, end);
}

void AppendTokens(const char* begin, const char* end, char delimiter, Fields* fields) {
  ForEachPiece(begin, end, delimiter, [fields](const char* from, const char* to) {
    if (from != to) fields->emplace_back(from, to);
  });
}

}  // namespace

size_t split(const std::string& source, char delimiter, Fields* fields) {
  if (fields == nullptr) return 0;
  fields->clear();
  const char* const begin = source.data();
  const char* const end = begin + source.size();
  fields->reserve(static_cast<size_t>(std::count(begin, end, delimiter)) + 1);
  ForEachPiece(begin, end, delimiter,
               [fields](const char* from, const char* to) { fields->emplace_back(from, to); });
  return fields->size();
}

size_t tokenize_with_empty_tokens(const std::string& source, char delimiter, Fields* fields) {
  return split(source, delimiter, fields);
}

size_t tokenize(const std::string& source, char delimiter, Fields* fields) {
  if (fields == nullptr) return 0;
  fields->clear();
  return tokenize_append(source, delimiter, fields);
}

size_t tokenize_append(const std::string& source, char delimiter, Fields* fields) {
  if (fields == nullptr) return 0;
  const size_t before = fields->size();
  AppendTokens(source.data(), source.data() + source.size(), delimiter, fields);
  return fields->size() - before;
}

size_t tokenize(const std::string& source, char delimiter, char start_mark, char end_mark,
                Fields* fields) {
  if (fields == nullptr) return 0;
  fields->clear();
  const char* const data = source.data();
  size_t begin = 0;
  while (true) {
    const size_t start = source.find(start_mark, begin);
    if (start == std::string::npos) break;
    const size_t end = source.find(end_mark, start + 1);
    if (end == std::string::npos) break;
    if (start > begin) AppendTokens(data + begin, data + start - 1, delimiter, fields);
    fields->emplace_back(data + start + 1, data + end);
    begin = end + 1;
  }
  AppendTokens(data + begin, data + source.size(), delimiter, fields);
  return fields->size();
}

bool tokenize_first(const std::string& source, char delimiter, std::string* token,
                    std::string* rest) {
  const size_t cut = source.find(delimiter);
  if (cut == std::string::npos) return false;
  const size_t resume = source.find_first_not_of(delimiter, cut);
  // Both are taken before either is assigned: one of them may be `source` itself.
  std::string first(source, 0, cut);
  std::string remainder = resume == std::string::npos ? std::string() : source.substr(resume);
  *token = std::move(first);
  *rest = std::move(remainder);
  return true;
}

}  // namespace rtc
