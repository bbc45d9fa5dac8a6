#include "oru_report/analysis/cause.h"

#include <algorithm>
#include <string_view>

namespace oru_report {
namespace {

struct KnownEnd {
  std::string_view symbol;
  const char* cause;
};

constexpr KnownEnd kEnds[] = {
    {"abort", "abort() was called"},
    {"__GI_abort", "abort() was called"},
    {"__assert_fail", "a failed assertion"},
    {"__assert_rtn", "a failed assertion"},
    {"__stack_chk_fail", "the stack was overwritten"},
    {"__fortify_fail", "a buffer would have been overrun"},
    {"__chk_fail", "a buffer would have been overrun"},
    {"malloc_printerr", "the heap is damaged"},
    {"szone_error", "the heap is damaged"},
    {"malloc_error_break", "the heap is damaged"},
    {"__cxa_pure_virtual", "a pure virtual function was called"},
    {"_ZSt9terminatev", "std::terminate() was called"},
    {"__cxa_throw", "a C++ exception that nobody caught"},
    {"_Znwm", "out of memory"},
    {"_Znam", "out of memory"},
};

// The ends of a program are few frames away from where it fails.
constexpr size_t kDepth = 12;

}  // namespace

std::string CauseOf(Resolver* resolver, size_t first) {
  const FrameList& frames = resolver->report().crash_frames;
  const size_t end = std::min(frames.size(), first + kDepth);
  std::string cause;
  for (size_t i = first; i < end; ++i) {
    const ResolvedFrame& frame = resolver->Resolve(*frames[i], i != 0);
    if (frame.mark == Mark::kSdk || frame.mark == Mark::kApp) break;
    for (const KnownEnd& known : kEnds) {
      if (frame.symbol == known.symbol) cause = known.cause;
    }
  }
  return cause;
}

}  // namespace oru_report
