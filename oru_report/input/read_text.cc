#include "oru_report/input/read_text.h"

#include <algorithm>

#include "oru_report/input/text_decoding.h"
#include "oru_report/model/limits.h"

namespace oru_report {
namespace {

// Reports pack to a twentieth of their size, those of many equal threads to a hundredth.
constexpr uint64_t kMostTimesPacked = 200;
constexpr uint64_t kSmallPacked = 4096;

size_t MostBytes(const ByteStream& stream) {
  const uint64_t stored = stream.StoredSize();
  if (stored == 0) return kMaxReportBytes;
  const uint64_t most = (stored + kSmallPacked) * kMostTimesPacked;
  return static_cast<size_t>(std::min<uint64_t>(most, kMaxReportBytes));
}

constexpr size_t kPiece = 65536;

}  // namespace

ReadResult ReadText(ByteStream* stream, bool any_beginning, std::string* text, std::string* error) {
  const size_t most = MostBytes(*stream);
  std::string bytes;
  // What a stored file has, and one byte to see its end.
  bytes.reserve(std::min<uint64_t>(stream->StoredSize() + kPiece, kMaxReportBytes));
  ReadResult result = ReadResult::kWhole;
  bool looked = any_beginning;
  long got = 1;
  while (got > 0 && bytes.size() < most) {
    const size_t before = bytes.size();
    bytes.resize(before + kPiece);
    got = stream->Read(&bytes[before], kPiece, error);
    bytes.resize(before + static_cast<size_t>(std::max(got, 0L)));
    if (!looked && (bytes.size() >= kBeginningBytes || got <= 0)) {
      looked = true;
      if (!bytes.empty() && !BeginsLikeReport(bytes)) return ReadResult::kOther;
    }
  }
  if (got > 0) {
    *error = "it is larger than a report can be";
    bytes.resize(std::min(bytes.size(), most));
  }
  if (got != 0) result = bytes.empty() ? ReadResult::kFailed : ReadResult::kPart;
  *text = PlainText(std::move(bytes));
  return result;
}

}  // namespace oru_report
