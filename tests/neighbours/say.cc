#include <unistd.h>

#include <cstring>

#include "tests/neighbours/neighbours.h"

namespace neighbours {

void Say(const char* line) {
  char text[128];
  const size_t length = strnlen(line, sizeof text - 1);
  memcpy(text, line, length);
  text[length] = '\n';
  if (write(STDERR_FILENO, text, length + 1) < 0) _exit(99);
}

}  // namespace neighbours
