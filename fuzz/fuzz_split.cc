// All that cuts strings: the runtime base's, the crash support's and the general utilities'.
#include "fuzz/fuzz_support.h"
#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"
#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "utils/string_utils.h"

using oru_fuzz::Require;
using Fields = std::vector<std::string>;

namespace {

std::string JoinWith(const Fields& fields, const std::string& between) {
  std::string text;
  for (size_t i = 0; i < fields.size(); ++i) text += (i == 0 ? "" : between) + fields[i];
  return text;
}

void CheckRuntimeBase(const std::string& source, char delimiter, char start, char end) {
  Fields fields = {"old"};
  Require(rtc::split(source, delimiter, &fields) == fields.size(), "split counts");
  Require(fields == oru_test::PiecesOf(source, delimiter, true), "split");
  Require(JoinWith(fields, std::string(1, delimiter)) == source, "split loses nothing");
  Fields again = {"old"};
  Require(rtc::tokenize_with_empty_tokens(source, delimiter, &again) == fields.size() &&
              again == fields,
          "tokenize_with_empty_tokens");
  rtc::tokenize(source, delimiter, &fields);
  Require(fields == oru_test::PiecesOf(source, delimiter, false), "tokenize");
  const size_t before = fields.size();
  const size_t added = rtc::tokenize_append(source, delimiter, &fields);
  Require(added == before && fields.size() == 2 * before, "tokenize_append");
  rtc::tokenize(source, delimiter, start, end, &fields);
  Require(fields == oru_test::MarkedPiecesOf(source, delimiter, start, end), "marked tokenize");

  std::string token = "t";
  std::string rest = "r";
  const size_t cut = source.find(delimiter);
  const bool found = rtc::tokenize_first(source, delimiter, &token, &rest);
  Require(found == (cut != std::string::npos), "tokenize_first");
  if (!found) return;
  Require(token == source.substr(0, cut), "token");
  const size_t run = source.size() - cut - rest.size();
  Require(source.substr(cut) == std::string(run, delimiter) + rest, "rest");
  Require(run > 0 && (rest.empty() || rest[0] != delimiter), "the whole run is skipped");
}

// Every piece is what stands between two neighbouring cuts of the text with the pattern behind it.
void CheckPattern(const std::string& text, const std::string& pattern) {
  const Fields pieces = tessik::utils::splitStringByPatten(text, pattern);
  const std::string whole = text + pattern;
  const std::string joined = JoinWith(pieces, pattern) + pattern;
  Require(whole.compare(0, joined.size(), joined) == 0, "pieces and patterns make up the text");
  const std::string behind = whole.substr(joined.size());
  Require(behind.find(pattern) == std::string::npos, "no pattern is left behind");
  for (const std::string& piece : pieces) {
    Require(piece.find(pattern) == std::string::npos, "no pattern inside a piece");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const char delimiter = input.Char();
  const char start = input.Char();
  const char end = input.Char();
  const std::string delims = input.Text(input.Byte() % 4);
  const std::string source = input.Rest();

  CheckRuntimeBase(source, delimiter, start, end);
  for (const bool keep : {false, true}) {
    const Fields expected = oru_test::SplitAtSetReference(source, delims, keep);
    Require(SplitString(source, delims, keep) == expected, "SplitString");
    Require(tessik::utils::splitString(source, delims, keep) == expected, "splitString");
  }
  const std::string one(1, delimiter);
  Require(tessik::utils::splitString(source, delimiter) ==
              oru_test::SplitAtSetReference(source, one, false),
          "splitString at a character");
  if (!delims.empty()) CheckPattern(source, delims);
  return 0;
}
