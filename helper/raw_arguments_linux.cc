// GNUstep copies the process's arguments and environment in a library constructor, and ends the
// process when it comes to make strings of them (for NSProcessInfo, the user's defaults, its own
// log) and one is not UTF-8. The system promises no encoding: such strings are made plain before
// the libraries start, and are given back their bytes before `main`. So only NSProcessInfo's copy
// has question marks; argv and getenv have every byte.
#include <cstdlib>
#include <cstring>

#include "helper/readable_text.h"

namespace {

struct HiddenString {
  HiddenString* next;
  char* place;
  char* original;
};

// Constant-initialised: the list is filled before any constructor runs. Volatile, or the compiler
// takes it for empty in one.
HiddenString* volatile sHidden = nullptr;

void HideOne(char* text) {
  if (IsUtf8(text)) return;
  auto* hidden = static_cast<HiddenString*>(malloc(sizeof(HiddenString)));
  char* original = strdup(text);
  // Without memory for this there is none to start GNUstep either.
  if (hidden == nullptr || original == nullptr) abort();
  *hidden = {sHidden, text, original};
  sHidden = hidden;
  for (char* byte = text; *byte != '\0'; ++byte) {
    if ((*byte & 0x80) != 0) *byte = '?';
  }
}

void Hide(int, char** arguments, char** environment) {
  for (; *arguments != nullptr; ++arguments) HideOne(*arguments);
  for (; *environment != nullptr; ++environment) HideOne(*environment);
}

// The program's own constructors run after those of its libraries.
__attribute__((constructor)) void Restore() {
  while (sHidden != nullptr) {
    HiddenString* hidden = sHidden;
    sHidden = hidden->next;
    strcpy(hidden->place, hidden->original);
    free(hidden->original);
    free(hidden);
  }
}

__attribute__((section(".preinit_array"), used)) void (*const kHideAtStart)(int, char**,
                                                                            char**) = Hide;

}  // namespace
