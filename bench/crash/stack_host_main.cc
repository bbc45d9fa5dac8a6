// Names a stack of 32 functions and more, for the first and for the second time in the process;
// prints the nanoseconds of processor time a frame of each, and the number of frames.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string>

#include "bench/crash/stack_host.h"

namespace {

constexpr int kFunctions = 32;

struct Result {
  double nanoseconds;
  size_t frames;
  size_t named;
};

Result sResult;

size_t Count(const std::string& text, const char* word) {
  size_t count = 0;
  for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++count;
  return count;
}

// Of the processor, not of the wall: other processes do not count.
double ProcessorNanoseconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

void TimeIt() {
  std::string text;
  const double start = ProcessorNanoseconds();
  const size_t frames = NameStack(&text);
  const double took = ProcessorNanoseconds() - start;
  sResult = {took / static_cast<double>(std::max<size_t>(frames, 1)), frames,
             Count(text, "StackFunction")};
}

}  // namespace

// With external linkage, so that every side can find the names.
template <int kNumber>
__attribute__((noinline)) void StackFunction() {
  if constexpr (kNumber == 0) {
    TimeIt();
  } else {
    StackFunction<kNumber - 1>();
  }
  asm volatile("");  // no tail call
}

int main(int, char** argv) {
  PrepareStack(argv[0]);
  Result cold = {};
  // Called from one place: the same stack again has the same addresses.
  for (volatile int round = 0; round < 2; round = round + 1) {
    cold = sResult;
    StackFunction<kFunctions - 1>();
  }
  if (cold.named < kFunctions) {
    fprintf(stderr, "stack_host: %zu of %d functions were named\n", cold.named, kFunctions);
    return 1;
  }
  printf("%.1f %.1f %zu\n", cold.nanoseconds, sResult.nanoseconds, cold.frames);
  return 0;
}
