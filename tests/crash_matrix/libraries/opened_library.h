// What a library hands its opener, by OpenedLibrary, when it is loaded: some builds of it export no
// name at all.
#ifndef TESTS_CRASH_MATRIX_LIBRARIES_OPENED_LIBRARY_H_
#define TESTS_CRASH_MATRIX_LIBRARIES_OPENED_LIBRARY_H_

#ifdef __cplusplus
extern "C" {
#endif

struct LibraryEntries {
  void (*crash)(void);
  // The library is on the stack while the function runs.
  void (*call)(void (*function)(void));
};

// Defined by the opener.
__attribute__((visibility("default"))) extern void OpenedLibrary(
    const struct LibraryEntries* entries);

#ifdef __cplusplus
}
#endif

#endif  // TESTS_CRASH_MATRIX_LIBRARIES_OPENED_LIBRARY_H_
