#include <pthread.h>

#include <cstdlib>

#include "media_core/biz_engine/crash_handler/darwin/thread_match.h"

namespace CrashHandler {

void RememberNativeName(NSThread *thread, NativeThreadName *name) {
  name->text[0] = '\0';
  name->own = thread == [NSThread currentThread];
  if (name->own)
    machine::ThreadName(machine::CurrentThreadNumber(), name->text, sizeof(name->text));
}

bool IsThreadOf(NSThread *thread, machine::ThreadNumber number) {
  // A thread that has not started or has ended shows a number that may be another's by now.
  if (![thread isExecuting]) return false;
  NSString *description = [thread description];
  // The name comes first in it and may hold anything, so the last number counts.
  const NSRange label = [description rangeOfString:@"num = " options:NSBackwardsSearch];
  if (label.location == NSNotFound) return false;
  const char *digits = [[description substringFromIndex:NSMaxRange(label)] UTF8String];
  return digits != nullptr && strtoul(digits, nullptr, 10) == number;
}

void RestoreName(NSThread *thread, NSString *name, const NativeThreadName &native) {
  [thread setName:name];
  // The system's name stays with the temporary one when there was none before.
  if (native.own) pthread_setname_np(pthread_self(), native.text);
}

}  // namespace CrashHandler
