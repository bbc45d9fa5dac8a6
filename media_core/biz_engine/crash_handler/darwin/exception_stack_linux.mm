#include <execinfo.h>

#include "media_core/biz_engine/crash_handler/darwin/exception_stack.h"
#include "media_core/biz_engine/crash_handler/darwin/frame_symbols.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_limits.h"

namespace CrashHandler {
namespace {

constexpr int kRoom = static_cast<int>(machine::kMaxCrashFrames);

// The runtime's function that every exception passes through; what lies below it is the handling.
int IndexOfThrow(NSArray* symbols, int count) {
  for (int i = 0; i < count; ++i) {
    NSString* symbol = [symbols objectAtIndex:static_cast<NSUInteger>(i)];
    if ([symbol rangeOfString:@"objc_exception_throw"].location != NSNotFound) return i;
  }
  return count;
}

// Whether the exception was raised by what is on this stack now, and not on one that is gone since
// (it was caught and thrown again): then its outer frames are this stack's. The frames in which the
// two meet may differ in the place of their call.
bool IsStackOf(NSException* exception, void* const* frames, int count) {
  NSArray* raised = [exception callStackReturnAddresses];
  const auto raised_count = static_cast<int>([raised count]);
  int same = 0;
  while (same < raised_count && same < count) {
    // GNUstep has no numbers in this array, but pointers.
    NSValue* address = [raised objectAtIndex:static_cast<NSUInteger>(raised_count - 1 - same)];
    if ([address pointerValue] != frames[count - 1 - same]) break;
    ++same;
  }
  return raised_count == 0 || raised_count - same <= 1;
}

}  // namespace

NSArray* ExceptionStackSymbols(NSException* exception) {
  void* frames[kRoom];
  const int count = backtrace(frames, kRoom);
  NSArray* symbols = SymbolsOfFrames(frames, count);
  const int start = IndexOfThrow(symbols, count);
  if (start == count) return [exception callStackSymbols];
  if (!IsStackOf(exception, frames + start, count - start)) {
    // Its innermost frame may be that of the function that raised it.
    NSArray* thrown =
        [NSArray arrayWithObject:[symbols objectAtIndex:static_cast<NSUInteger>(start)]];
    return [thrown arrayByAddingObjectsFromArray:[exception callStackSymbols]];
  }
  return [symbols subarrayWithRange:NSMakeRange(static_cast<NSUInteger>(start),
                                                static_cast<NSUInteger>(count - start))];
}

}  // namespace CrashHandler
