#define BACKWARD_HAS_DW 1
#include <backward.hpp>

#include "bench/crash/stack_host.h"

namespace {
constexpr size_t kMaxFrames = 50;
}

void PrepareStack(const char* /*program*/) {}

size_t NameStack(std::string* text) {
  backward::StackTrace stack;
  stack.load_here(kMaxFrames);
  backward::TraceResolver resolver;
  resolver.load_stacktrace(stack);
  for (size_t i = 0; i < stack.size(); ++i) {
    *text += resolver.resolve(stack[i]).object_function;
    *text += '\n';
  }
  return stack.size();
}
