// Which thread of the system is behind an NSThread.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_THREAD_MATCH_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_THREAD_MATCH_H_

#import <Foundation/Foundation.h>

#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

namespace CrashHandler {

// What the system calls a thread, kept while its NSThread has a temporary name.
struct NativeThreadName {
  char text[machine::kThreadNameSize];
  bool own;  // whether the NSThread is the calling thread
};

// To be called before the NSThread gets its temporary name.
void RememberNativeName(NSThread *thread, NativeThreadName *name);

// Whether the thread of that number is the one whose NSThread now has a temporary name. On macOS
// its system name is that name. GNUstep renames only the calling thread, and cuts the name; there
// the number that an executing NSThread shows in its description is compared.
bool IsThreadOf(NSThread *thread, machine::ThreadNumber number);

// Gives the NSThread its name back, and the system's thread too where that does not follow.
void RestoreName(NSThread *thread, NSString *name, const NativeThreadName &native);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_THREAD_MATCH_H_
