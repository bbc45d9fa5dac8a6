#include <cstring>

#include "media_core/biz_engine/crash_handler/darwin/thread_match.h"

namespace CrashHandler {

void RememberNativeName(NSThread *, NativeThreadName *name) {
  name->text[0] = '\0';
  name->own = false;
}

bool IsThreadOf(NSThread *thread, machine::ThreadNumber number) {
  char name[machine::kThreadNameSize];
  if (!machine::ThreadName(number, name, sizeof(name))) return false;
  const char *wanted = [[thread name] UTF8String];
  return wanted != nullptr && strcmp(name, wanted) == 0;
}

void RestoreName(NSThread *thread, NSString *name, const NativeThreadName &) {
  [thread setName:name];
}

}  // namespace CrashHandler
