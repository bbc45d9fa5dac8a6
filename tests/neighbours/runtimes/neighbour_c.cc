// A plain program with crash capture: for sanitizers and debuggers.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

int main() {
  void* const library = dlopen(getenv("NEIGHBOUR_SHIM"), RTLD_NOW);
  if (library == nullptr) {
    fputs(dlerror(), stderr);
    return 51;
  }
  return reinterpret_cast<int (*)()>(dlsym(library, "NeighbourNextStep"))();
}
