// Libraries: opened late, deleted, without names, closed, many of them, with many symbols.
#include <dlfcn.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "tests/crash_matrix/libraries/opened_library.h"
#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

// Of the library that was loaded last.
LibraryEntries sEntries = {};
void* sLibrary = nullptr;

void Open(const char* path) {
  sLibrary = dlopen(path, RTLD_NOW);
  if (sLibrary == nullptr) _exit(kScenarioFailed);
}

// The copy's file is gone when this returns.
void OpenDeletedCopy(const char* original, const std::string& name) {
  const std::string path = std::string(getenv("HOME")) + "/" + name;
  std::ofstream(path, std::ios::binary) << std::ifstream(original, std::ios::binary).rdbuf();
  Open(path.c_str());
  if (unlink(path.c_str()) != 0) _exit(kScenarioFailed);
}

// A library that stays mapped is not what a scenario is about.
void CloseLast() {
  if (dlclose(sLibrary) != 0 || dlopen(OPENED_LIBRARY, RTLD_NOW | RTLD_NOLOAD) != nullptr) {
    _exit(kScenarioFailed);
  }
}

// Something follows, so that the call is on the stack.
CHILD_FUNCTION void CallOpened(void (*function)()) {
  function();
  fputs("came back\n", stderr);
}

SCENARIO(CrashInALateLibrary) {
  Open(OPENED_LIBRARY);
  CallOpened(sEntries.crash);
}

SCENARIO(CrashBelowALateLibrary) {
  Open(OPENED_LIBRARY);
  sEntries.call(WriteToNull);
}

SCENARIO(CrashInADeletedLibrary) {
  OpenDeletedCopy(OPENED_LIBRARY, "libdeleted.so");
  CallOpened(sEntries.crash);
}

SCENARIO(CrashBelowADeletedLibrary) {
  OpenDeletedCopy(OPENED_LIBRARY, "libdeleted.so");
  sEntries.call(WriteToNull);
}

SCENARIO(CrashInABareLibrary) {
  Open(BARE_LIBRARY);
  CallOpened(sEntries.crash);
}

SCENARIO(CrashBelowABareLibrary) {
  Open(BARE_LIBRARY);
  sEntries.call(WriteToNull);
}

SCENARIO(CallIntoAClosedLibrary) {
  Open(OPENED_LIBRARY);
  CloseLast();
  CallOpened(sEntries.crash);
}

// It calls a function that closes it: there is nothing to return to.
SCENARIO(ReturnIntoAClosedLibrary) {
  Open(OPENED_LIBRARY);
  sEntries.call(CloseLast);
}

SCENARIO(CrashBesideThreeHundredLibraries) {
  for (int i = 0; i < 300; ++i) {
    OpenDeletedCopy(OPENED_LIBRARY, "libcopy" + std::to_string(i) + ".so");
  }
  CallOpened(sEntries.crash);
}

SCENARIO(CrashAmongManySymbols) {
  Open(MANY_SYMBOLS_LIBRARY);
  CallOpened(sEntries.crash);
}

// Only the loaded part of the symbols is left.
SCENARIO(CrashAmongManyLoadedSymbols) {
  OpenDeletedCopy(MANY_SYMBOLS_LIBRARY, "libdeleted.so");
  CallOpened(sEntries.crash);
}

}  // namespace

extern "C" void OpenedLibrary(const LibraryEntries* entries) { sEntries = *entries; }

}  // namespace crash_test
