#include <absl/debugging/stacktrace.h>
#include <absl/debugging/symbolize.h>

#include "bench/crash/stack_host.h"

namespace {
constexpr int kMaxFrames = 50;
}

void PrepareStack(const char* program) { absl::InitializeSymbolizer(program); }

size_t NameStack(std::string* text) {
  void* frames[kMaxFrames];
  const int count = absl::GetStackTrace(frames, kMaxFrames, 0);
  for (int i = 0; i < count; ++i) {
    char name[1024];
    // Inside the call.
    if (absl::Symbolize(static_cast<char*>(frames[i]) - 1, name, sizeof name)) *text += name;
    *text += '\n';
  }
  return static_cast<size_t>(count);
}
