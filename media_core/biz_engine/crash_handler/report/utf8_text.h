// Foreign bytes as UTF-8: the one conversion of everything that goes into a report.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_UTF8_TEXT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_UTF8_TEXT_H_

#include <cstddef>
#include <string>

#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"

namespace CrashHandler {

// Appends the bytes as UTF-8. A byte that belongs to no character becomes the Latin-1 character of
// its value, so that a name in another encoding can still be read; all others stay as they are. May
// run in a signal handler.
void AppendAsUtf8(const char* bytes, size_t count, machine::TextBuffer* text);
// Up to the terminating zero; nothing for null.
void AppendAsUtf8(const char* bytes, machine::TextBuffer* text);

// The same as a string; allocates.
std::string AsUtf8(const char* bytes, size_t count);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_UTF8_TEXT_H_
