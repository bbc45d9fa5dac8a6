// Inserted into the command: sleeps are written to the file ORU_TEST_SLEEPS, not slept.
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

static unsigned int RecordSleep(unsigned int seconds) {
  const char* path = getenv("ORU_TEST_SLEEPS");
  FILE* file = path != NULL ? fopen(path, "a") : NULL;
  if (file != NULL) {
    fprintf(file, "%u\n", seconds);
    fclose(file);
  }
  return 0;
}

// Two-level names: other libraries' calls are redirected by the loader, not by a function of the
// same name.
__attribute__((used, section("__DATA,__interpose"))) static const struct {
  unsigned int (*replacement)(unsigned int);
  unsigned int (*original)(unsigned int);
} kInterposed = {RecordSleep, sleep};
