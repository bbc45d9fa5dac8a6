// What the C library gives: dynamic symbols only, not to be used in a signal handler.
#include <dlfcn.h>
#include <execinfo.h>

#include "bench/crash/stack_host.h"

namespace {
constexpr int kMaxFrames = 50;
}

void PrepareStack(const char* /*program*/) {
  void* frame = nullptr;
  backtrace(&frame, 1);  // loads the unwinder
}

size_t NameStack(std::string* text) {
  void* frames[kMaxFrames];
  const int count = backtrace(frames, kMaxFrames);
  for (int i = 0; i < count; ++i) {
    Dl_info info;
    if (dladdr(frames[i], &info) != 0 && info.dli_sname != nullptr) *text += info.dli_sname;
    *text += '\n';
  }
  return static_cast<size_t>(count);
}
