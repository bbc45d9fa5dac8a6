// The variant over GCC's libbacktrace.
#define BOOST_STACKTRACE_LINK 1
#include <boost/stacktrace.hpp>

#include "bench/crash/stack_host.h"

void PrepareStack(const char* /*program*/) {}

size_t NameStack(std::string* text) {
  const boost::stacktrace::stacktrace stack;
  for (const boost::stacktrace::frame& frame : stack) {
    *text += frame.name();
    *text += '\n';
  }
  return stack.size();
}
