// Reads a stream of a report to its end.
#ifndef ORU_REPORT_INPUT_READ_TEXT_H_
#define ORU_REPORT_INPUT_READ_TEXT_H_

#include <string>

#include "oru_report/input/byte_stream.h"

namespace oru_report {

enum class ReadResult {
  kWhole,
  // The bytes up to a failure or a bound; the sentence is in `error`.
  kPart,
  // Its beginning is not that of a report, and no more was read.
  kOther,
  kFailed,
};

// Puts the stream's text (text_decoding.h) into `text`. Reading ends at the bound on a report's
// size, and for packed ones where they are out of proportion. `any_beginning`: read whatever it
// is.
ReadResult ReadText(ByteStream* stream, bool any_beginning, std::string* text, std::string* error);

}  // namespace oru_report

#endif  // ORU_REPORT_INPUT_READ_TEXT_H_
