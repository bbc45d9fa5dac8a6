// The executables and libraries loaded into this process, and the symbols in them.
//
// May run in a signal handler: no heap, no lock of the loader (on macOS: once PrepareImages was
// called). Memory and files are read so that an
// image that is unloaded, replaced or truncated meanwhile gives missing facts, never a fault; but
// on macOS the loader's records are read in place, and an image that another thread closes in that
// very moment is a fault for the caller to survive.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGES_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGES_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/images/image_facts.h"
#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"

namespace CrashHandler::machine {

// Reads the list of images once, so that a later report only looks for changes (Linux) or needs no
// lock of the loader (macOS, where the loader tells of changes from then on). Call it at
// installation, on an ordinary thread; calling it again refreshes. Everything works without it, on
// macOS with the loader's lock.
void PrepareImages();

using ImageListVisitor = void (*)(void* context, const ImageListEntry& entry);

// Calls `visit` for every loaded main executable and dynamic library in the loader's order. The
// uuid, and on macOS start and end too, of an image that has none is that of the image before it.
// The entry's strings are valid during the call only.
void VisitImages(ImageListVisitor visit, void* context);

// Finds the images and nearest symbols of addresses. The strings it hands out live as long as it.
// One object serves one thread and one report; what it looked up once it may remember.
class Symbolizer {
 public:
  Symbolizer();
  ~Symbolizer();
  Symbolizer(const Symbolizer&) = delete;
  Symbolizer& operator=(const Symbolizer&) = delete;

  // Fills the record of every address. Each gets what a linear scan of its image's symbols gives:
  // the symbol with the greatest value not above the address, of equals the last one in the table,
  // values of zero left out. Resolving many addresses in one call costs one pass over each table.
  // An address outside every image gets a record of nulls.
  void Resolve(const uintptr_t* addresses, SymbolInformation* records, size_t count);

  // The same for one address; true when an image with usable tables holds it.
  bool ResolveOne(uintptr_t address, SymbolInformation* record);

 private:
  ScratchMemory memory_;  // the platform's state
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGES_H_
