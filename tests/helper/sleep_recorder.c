// Preloaded into the command: sleeps are written to the file ORU_TEST_SLEEPS, not slept, and lines
// for the system log to the file ORU_TEST_SYSTEM_LOG.
#include <stdarg.h>
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

static void RecordLine(const char* format, va_list arguments) {
  const char* path = getenv("ORU_TEST_SYSTEM_LOG");
  FILE* file = path != NULL ? fopen(path, "a") : NULL;
  if (file == NULL) return;
  vfprintf(file, format, arguments);
  fclose(file);
}

void syslog(int priority, const char* format, ...) {
  (void)priority;
  va_list arguments;
  va_start(arguments, format);
  RecordLine(format, arguments);
  va_end(arguments);
}

// What a build with checked functions calls.
void __syslog_chk(int priority, int flag, const char* format, ...) {
  (void)priority;
  (void)flag;
  va_list arguments;
  va_start(arguments, format);
  RecordLine(format, arguments);
  va_end(arguments);
}
