// Where an exception was raised. For Objective-C++ files.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_EXCEPTION_STACK_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_EXCEPTION_STACK_H_

#import <Foundation/Foundation.h>

namespace CrashHandler {

// The frames of the exception's stack as text, innermost first, the function that raised it behind
// the platform's own: its callStackSymbols. GNUstep leaves the raising function out of those, or
// all of them where an exception is thrown that was never raised; on Linux the stack of the throw
// takes their place as long as the caller is still above it, in the uncaught-exception handler.
NSArray* ExceptionStackSymbols(NSException* exception);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_EXCEPTION_STACK_H_
