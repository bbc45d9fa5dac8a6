#include "tests/crash_matrix/libraries/opened_library.h"

#define LIBRARY_FUNCTION                                               \
  __attribute__((noinline, disable_tail_calls, visibility(VISIBILITY), \
                 no_sanitize("address", "undefined", "thread"))) void

LIBRARY_FUNCTION CrashInTheLibrary(void);
LIBRARY_FUNCTION CallFromTheLibrary(void (*function)(void));

LIBRARY_FUNCTION CrashInTheLibrary(void) {
  int* volatile nowhere = 0;
  *nowhere = 1;
}

LIBRARY_FUNCTION CallFromTheLibrary(void (*function)(void)) {
  function();
  CrashInTheLibrary();
}

static const struct LibraryEntries kEntries = {CrashInTheLibrary, CallFromTheLibrary};

__attribute__((constructor)) static void Load(void) { OpenedLibrary(&kEntries); }
