#include <algorithm>
#include <utility>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "media_core/common/webrtc/rtc_base/string_pieces.h"

namespace rtc {

using string_encode_internal::CountOf;
using string_encode_internal::ForEachPiece;

namespace {

using Fields = std::vector<std::string>;

// Fills `fields` from its start. Strings that stand there already are assigned to: cutting into the
// same list again and again then allocates nothing.
class FieldWriter {
 public:
  explicit FieldWriter(Fields* fields) : fields_(fields) {}

  void Add(const char* from, const char* to) {
    if (used_ < fields_->size()) {
      (*fields_)[used_].assign(from, static_cast<size_t>(to - from));
    } else {
      fields_->emplace_back(from, to);
    }
    ++used_;
  }
  // Drops what was there before and was not filled; returns the number of fields.
  size_t Finish() {
    fields_->resize(used_);
    return used_;
  }

 private:
  Fields* fields_;
  size_t used_ = 0;
};

void AddTokens(const char* begin, const char* end, char delimiter, FieldWriter* writer) {
  ForEachPiece(begin, static_cast<size_t>(end - begin), delimiter,
               [writer](const char* from, const char* to) {
                 if (from != to) writer->Add(from, to);
               });
}

}  // namespace

size_t split(const std::string& source, char delimiter, Fields* fields) {
  if (fields == nullptr) return 0;
  fields->reserve(CountOf(source.data(), source.size(), delimiter) + 1);
  FieldWriter writer(fields);
  ForEachPiece(source.data(), source.size(), delimiter,
               [&writer](const char* from, const char* to) { writer.Add(from, to); });
  return writer.Finish();
}

size_t tokenize_with_empty_tokens(const std::string& source, char delimiter, Fields* fields) {
  return split(source, delimiter, fields);
}

size_t tokenize(const std::string& source, char delimiter, Fields* fields) {
  if (fields == nullptr) return 0;
  // Room at once for the pieces of a short text. Not for more of them: most of the pieces between
  // many delimiters may be empty; nor is a long text looked through twice.
  constexpr size_t kMaxReserved = 64;
  constexpr size_t kMaxCounted = 1024;
  const size_t counted = std::min(source.size(), kMaxCounted);
  fields->reserve(std::min(CountOf(source.data(), counted, delimiter) + 1, kMaxReserved));
  FieldWriter writer(fields);
  AddTokens(source.data(), source.data() + source.size(), delimiter, &writer);
  return writer.Finish();
}

size_t tokenize_append(const std::string& source, char delimiter, Fields* fields) {
  if (fields == nullptr) return 0;
  const size_t before = fields->size();
  ForEachPiece(source.data(), source.size(), delimiter, [fields](const char* from, const char* to) {
    if (from != to) fields->emplace_back(from, to);
  });
  return fields->size() - before;
}

size_t tokenize(const std::string& source, char delimiter, char start_mark, char end_mark,
                Fields* fields) {
  if (fields == nullptr) return 0;
  FieldWriter writer(fields);
  const char* const data = source.data();
  size_t begin = 0;
  while (true) {
    const size_t start = source.find(start_mark, begin);
    if (start == std::string::npos) break;
    const size_t end = source.find(end_mark, start + 1);
    if (end == std::string::npos) break;
    if (start > begin) AddTokens(data + begin, data + start - 1, delimiter, &writer);
    writer.Add(data + start + 1, data + end);
    begin = end + 1;
  }
  AddTokens(data + begin, data + source.size(), delimiter, &writer);
  return writer.Finish();
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
