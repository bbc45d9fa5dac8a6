#include "examples/reference_sdk/progress.h"

#include <unistd.h>

#include <cstdio>

namespace reference_sdk {

Progress::Progress(const char* verb, uint64_t total)
    : verb_(verb), total_(total), shown_(total > 0 && isatty(STDERR_FILENO) == 1) {}

void Progress::Update(uint64_t done) {
  if (!shown_) return;
  while (tenths_ < 10 && done >= (total_ * (tenths_ + 1) + 9) / 10) {
    ++tenths_;
    fprintf(stderr, "OruRTCSdk: %s %u%%\n", verb_, tenths_ * 10);
  }
}

}  // namespace reference_sdk
