#include "tests/crash_matrix/libraries/sdk_stacks.h"

SDK_FUNCTION OverflowABuffer(void) {
  char buffer[16];
  // The compiler cannot see where it leads.
  char* volatile start = buffer;
  for (int i = 0; i < 64; ++i) start[i] = 'A';
}
