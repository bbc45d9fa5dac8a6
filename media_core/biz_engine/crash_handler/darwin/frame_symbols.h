// Frames as the texts that a report shows and its filter looks at. For Objective-C++ files.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FRAME_SYMBOLS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FRAME_SYMBOLS_H_

#import <Foundation/Foundation.h>

namespace CrashHandler {

// An autoreleased line a frame, innermost first, as `backtrace_symbols` prints it, but also with
// the names of static and hidden functions where the image's file has them, and without that
// function's locks. `interrupted` is the instruction that a signal interrupted, null without one.
NSMutableArray* SymbolsOfFrames(void* const* frames, int count, const void* interrupted = nullptr);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FRAME_SYMBOLS_H_
