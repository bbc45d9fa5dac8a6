// Call stacks of the process's threads as text.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_ORU_RTC_CALL_STACK_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_ORU_RTC_CALL_STACK_H_

#import <Foundation/Foundation.h>

// Each method returns an autoreleased string: per thread a line "Thread NUMBER NAME:", a line per
// frame (image, address, symbol and offset; at most 50, innermost first, the outermost frame left
// out) and an empty line. A thread that cannot be looked into gives one sentence without a line end
// in the place of all that. Any thread may call them at any time. On macOS no thread is stopped for
// it. On Linux one that waits is looked at as it stands; one that runs is held by a signal for a
// moment (machine/threads/thread_capture.h), which the system calls of that moment may notice.
@interface OruRTCCallStack : NSObject

// Finds the thread by renaming it for a moment, which readers of thread names may see. The main
// thread keeps the temporary name. A thread that does not run gives the calling thread's stack.
+ (NSString *)backtraceOfNSThread:(NSThread *)thread;
+ (NSString *)backtraceOfCurrentThread;
+ (NSString *)backtraceOfMainThread;

// All threads, the calling one included, one after the other; "Fail to get information of all
// threads" when the system does not list them.
+ (NSString *)backtraceOfAllThread;

@end

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_ORU_RTC_CALL_STACK_H_
