#include "media_core/biz_engine/crash_handler/machine/host/system_facts.h"

#include <algorithm>
#include <cstring>

namespace CrashHandler::machine {

void CopyQuoted(const char* text, const char* label, const char* quote, const char* end, char* copy,
                size_t room) {
  copy[0] = '\0';
  const char* const named = strstr(text, label);
  const char* const quoted = named == nullptr ? nullptr : strstr(named + strlen(label), quote);
  if (quoted == nullptr) return;
  const char* const start = quoted + strlen(quote);
  const char* const stop = strstr(start, end);
  if (stop == nullptr) return;
  const size_t length = std::min(static_cast<size_t>(stop - start), room - 1);
  memcpy(copy, start, length);
  copy[length] = '\0';
}

}  // namespace CrashHandler::machine
