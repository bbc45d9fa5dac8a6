// A frame as the system's `backtrace_symbols` prints it, without its heap and locks.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_FRAME_LINE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_FRAME_LINE_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"

namespace CrashHandler::machine {

// Without a line end. `index` counts from the innermost frame. May run in a signal handler.
void AppendFrameLine(size_t index, uintptr_t address, const SymbolInformation& record,
                     TextBuffer* text);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_FRAME_LINE_H_
