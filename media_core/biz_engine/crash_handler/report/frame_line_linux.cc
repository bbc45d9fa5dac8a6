#include "media_core/biz_engine/crash_handler/report/frame_line.h"

namespace CrashHandler::machine {

// "path(symbol+0xoffset) [0xaddress]", and less where less is known.
void AppendFrameLine(size_t /*index*/, uintptr_t address, const SymbolInformation& record,
                     TextBuffer* text) {
  if (record.dli_fname != nullptr) {
    const void* start = record.dli_sname != nullptr ? record.dli_saddr : record.dli_fbase;
    text->Append(record.dli_fname);
    text->Append('(');
    text->Append(record.dli_sname);
    text->Append('+');
    text->AppendHex(address - reinterpret_cast<uintptr_t>(start));
    text->Append(") ");
  }
  text->Append('[');
  text->AppendHex(address);
  text->Append(']');
}

}  // namespace CrashHandler::machine
