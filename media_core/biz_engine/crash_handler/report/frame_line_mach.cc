#include "media_core/biz_engine/crash_handler/report/frame_line.h"
#include "media_core/biz_engine/crash_handler/report/last_path_entry.h"

namespace CrashHandler::machine {
namespace {

constexpr size_t kIndexColumn = 4;
constexpr size_t kImageColumn = 35;
constexpr size_t kAddressDigits = 16;

void PadTo(size_t end, TextBuffer* text) {
  if (text->size() < end) text->AppendBlanks(end - text->size());
}

}  // namespace

// "index image 0xaddress symbol + offset" in columns.
void AppendFrameLine(size_t index, uintptr_t address, const SymbolInformation& record,
                     TextBuffer* text) {
  const size_t start = text->size();
  text->AppendNumber(index);
  PadTo(start + kIndexColumn, text);
  text->Append(record.dli_fname != nullptr ? lastPathEntry(record.dli_fname) : "???");
  PadTo(start + kIndexColumn + kImageColumn, text);
  text->Append(' ');
  text->AppendHex(address, kAddressDigits);
  text->Append(' ');
  const bool named = record.dli_sname != nullptr;
  const auto from = reinterpret_cast<uintptr_t>(named ? record.dli_saddr : record.dli_fbase);
  if (named) {
    text->Append(record.dli_sname);
  } else {
    text->AppendHex(from);
  }
  text->Append(" + ");
  text->AppendNumber(address - from);
}

}  // namespace CrashHandler::machine
