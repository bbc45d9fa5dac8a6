#import "media_core/biz_engine/crash_handler/darwin/oru_rtc_call_stack.h"

#include <string>

#include "media_core/biz_engine/crash_handler/darwin/foundation_text.h"
#include "media_core/biz_engine/crash_handler/darwin/thread_match.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"

namespace {

using CrashHandler::machine::ThreadNumber;

// Written once, by +load on the main thread.
ThreadNumber main_thread_id = 0;

NSString *_backtraceOfThread(ThreadNumber thread) {
  return CrashHandler::TextFromBytes(CrashHandler::TextOfThread(thread));
}

// A name that no other thread has marks the thread while the system's list is searched for it.
ThreadNumber machThreadFromNSThread(NSThread *thread) {
  CrashHandler::machine::ThreadList list;
  list.Read();  // an unreadable list is empty and gives the calling thread
  NSString *name = [[[thread name] copy] autorelease];
  CrashHandler::NativeThreadName native;
  CrashHandler::RememberNativeName(thread, &native);
  [thread setName:[NSString stringWithFormat:@"%f", [[NSDate date] timeIntervalSince1970]]];
  if ([thread isMainThread]) return main_thread_id;
  for (size_t i = 0; i < list.size(); ++i) {
    const ThreadNumber number = list.numbers()[i];
    if (!CrashHandler::IsThreadOf(thread, number)) continue;
    CrashHandler::RestoreName(thread, name, native);
    return number;
  }
  CrashHandler::RestoreName(thread, name, native);
  return CrashHandler::machine::CurrentThreadNumber();
}

}  // namespace

@implementation OruRTCCallStack

+ (void)load {
  main_thread_id = CrashHandler::machine::CurrentThreadNumber();
}

+ (NSString *)backtraceOfNSThread:(NSThread *)thread {
  return _backtraceOfThread(machThreadFromNSThread(thread));
}

+ (NSString *)backtraceOfCurrentThread {
  return [self backtraceOfNSThread:[NSThread currentThread]];
}

+ (NSString *)backtraceOfMainThread {
  return [self backtraceOfNSThread:[NSThread mainThread]];
}

+ (NSString *)backtraceOfAllThread {
  return CrashHandler::TextFromBytes(CrashHandler::TextOfAllThreads());
}

@end
