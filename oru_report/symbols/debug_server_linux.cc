#include <dlfcn.h>

#include "oru_report/symbols/debug_server.h"

namespace oru_report {
namespace {

// debuginfod's client as its header declares it. Loaded when it is wanted: few machines have it.
using Begin = void* (*)();
using Find = int (*)(void*, const unsigned char*, int, char**);
using End = void (*)(void*);

}  // namespace

int FetchDebugFile(const std::string& build_id) {
  static void* const library = dlopen("libdebuginfod.so.1", RTLD_NOW);
  if (library == nullptr) return -1;
  const auto begin = reinterpret_cast<Begin>(dlsym(library, "debuginfod_begin"));
  const auto find = reinterpret_cast<Find>(dlsym(library, "debuginfod_find_debuginfo"));
  const auto end = reinterpret_cast<End>(dlsym(library, "debuginfod_end"));
  if (begin == nullptr || find == nullptr || end == nullptr) return -1;
  void* client = begin();
  if (client == nullptr) return -1;
  // A length of 0 says that the id is text.
  const auto* id = reinterpret_cast<const unsigned char*>(build_id.c_str());
  const int descriptor = find(client, id, 0, nullptr);
  end(client);
  return descriptor < 0 ? -1 : descriptor;
}

}  // namespace oru_report
