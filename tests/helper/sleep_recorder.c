// Preloaded into the command: sleeps are written to the file ORU_TEST_SLEEPS, not slept.
#include <stdio.h>
#include <stdlib.h>

unsigned int sleep(unsigned int seconds) {
  const char* path = getenv("ORU_TEST_SLEEPS");
  FILE* file = path != NULL ? fopen(path, "a") : NULL;
  if (file != NULL) {
    fprintf(file, "%u\n", seconds);
    fclose(file);
  }
  return 0;
}
