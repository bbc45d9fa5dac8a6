#include "utils/string_utils.h"

#include <utility>

#include "media_core/common/webrtc/rtc_base/string_pieces.h"
#include "utils/shared_text.h"

namespace tessik {
namespace utils {

using rtc::string_encode_internal::CountOf;
using rtc::string_encode_internal::ForEachPiece;

std::vector<std::string> splitString(const std::string& text, const std::string& delims,
                                     bool keep_delims) {
  return tessik::shared::SplitAtSet(text, delims, keep_delims);
}

std::vector<std::string> splitString(const std::string& text, char delimiter) {
  std::vector<std::string> pieces;
  pieces.reserve(CountOf(text.data(), text.size(), delimiter) + 1);
  const char* const end = text.data() + text.size();
  ForEachPiece(text.data(), text.size(), delimiter, [&](const char* from, const char* to) {
    if (from != to || to == end) pieces.emplace_back(from, to);
  });
  return pieces;
}

std::vector<std::string> splitStringByPatten(std::string text, const std::string& pattern) {
  // An empty pattern is found everywhere and never moves on.
  if (pattern.empty()) return {std::move(text)};
  text += pattern;
  std::vector<std::string> pieces;
  size_t begin = 0;
  for (size_t cut = text.find(pattern); cut != std::string::npos; cut = text.find(pattern, begin)) {
    pieces.emplace_back(text, begin, cut - begin);
    begin = cut + pattern.size();
  }
  return pieces;
}

std::string removeJsonKey(const std::string& json, const std::string& key_pattern) {
  const std::vector<std::string> pieces = splitStringByPatten(json, key_pattern);
  std::string result = pieces.front();
  for (size_t i = 1; i < pieces.size(); ++i) {
    const std::vector<std::string> values = splitStringByPatten(pieces[i], ",");
    for (size_t k = 1; k < values.size(); ++k) {
      if (values[k].empty()) continue;
      result += values[k];
      result += ',';
    }
  }
  return result;
}

}  // namespace utils
}  // namespace tessik
