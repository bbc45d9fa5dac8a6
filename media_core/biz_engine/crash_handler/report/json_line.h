// One JSON object on a line of its own. May run in a signal handler, with a text that is drained.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_JSON_LINE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_JSON_LINE_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"

namespace CrashHandler {

// Appended as it is made; the end of the scope ends the line. Names are literals that need no
// escapes. In values bytes that are not UTF-8 are taken as everywhere in reports (utf8_text.h).
class JsonLine {
 public:
  // Begins with "type".
  JsonLine(const char* type, machine::TextBuffer* text);
  ~JsonLine();
  JsonLine(const JsonLine&) = delete;
  JsonLine& operator=(const JsonLine&) = delete;

  // A null text is a null.
  void Text(const char* name, const char* value);
  void Text(const char* name, const char* value, size_t size);
  void Number(const char* name, uint64_t value);
  void SignedNumber(const char* name, int64_t value);
  // As a text, "0x1c": not every reader of JSON keeps 64 bits.
  void Address(const char* name, uint64_t value);
  void Flag(const char* name, bool value);
  void Null(const char* name);

  // Between the two the values are those of an object within this one.
  void BeginObject(const char* name);
  void EndObject();

 private:
  void Begin(const char* name);
  void AppendString(const char* value, size_t size);

  machine::TextBuffer& text_;
  bool first_ = true;
};

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_JSON_LINE_H_
