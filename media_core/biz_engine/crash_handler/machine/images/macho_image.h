// Readers of Mach-O images: an image's header, name and slide in, facts out.
//
// Compiled on every platform and tested with real Mach-O files. An image is described by where its
// header lies and how many bytes from there on may be read; memory beyond the load commands (symbol
// and string tables) is reached only through the `read` function given. Load commands that do not
// fit, of size zero, or beyond `sizeofcmds`, end the walk.
//
// Four magics are known: 32-bit and 64-bit headers, each also byte-swapped. All fields of a
// byte-swapped image are read in its own byte order.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_MACHO_IMAGE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_MACHO_IMAGE_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/images/image_facts.h"
#include "media_core/biz_engine/crash_handler/machine/images/nearest_symbol.h"
#include "media_core/biz_engine/crash_handler/machine/images/uuid_text.h"

namespace CrashHandler::machine {

constexpr uint32_t kMachOMagic32 = 0xfeedface;
constexpr uint32_t kMachOMagic64 = 0xfeedfacf;
constexpr uint32_t kMachOMagic32Swapped = 0xcefaedfe;
constexpr uint32_t kMachOMagic64Swapped = 0xcffaedfe;

constexpr uint32_t kNoImage = 0xffffffff;

// One loaded image as the dynamic loader describes it.
struct MachOImage {
  const void* header = nullptr;  // null: an image without a header, which is skipped
  size_t size = SIZE_MAX;        // readable bytes from `header` on; SIZE_MAX for a live image
  const char* name = nullptr;    // path; may be null
  intptr_t slide = 0;
};

// Copies `count` bytes at an address of the (loaded) image; 0 when it could, as mach_copyMem does.
using MachOReader = int (*)(const void* source, void* destination, size_t count);

// Address of the first load command, or 0 for a null header or an unknown magic: 28 bytes behind
// the start of a 32-bit header, 32 behind that of a 64-bit one.
uintptr_t firstCmdAfterHeader(const MachOImage& image);

// Index of the first image with a segment that holds the address (slide applied); the first such
// segment wins. Images without header or with an unknown magic are skipped. kNoImage when none.
uint32_t imageIndexContainingAddress(const MachOImage* images, size_t count, uintptr_t address);

// The same question to one image.
bool MachOImageContains(const MachOImage& image, uintptr_t address);

// Virtual address minus file offset of the first segment "__LINKEDIT"; 0 without such a segment,
// without load commands, or for an unknown magic.
uintptr_t segmentBaseOfImageIndex(const MachOImage& image);

// The system's `dladdr` over one image that is known to hold the address. Clears the record, then:
// false when segment base plus slide is 0; name and base set, false for an unknown magic; true
// otherwise, with the nearest symbol of the first symbol table that has one. A name loses one
// leading "_". A match of type 3 that is the header itself loses its name. `dli_sname` points into
// the image's string table.
bool _dladdr(const MachOImage& image, uintptr_t address, MachOReader read,
             SymbolInformation* record);

// An address on its way through an image's symbol tables. Callers set its own
// two fields; the others are the search's.
struct MachOQuery : SymbolQuery {
  uintptr_t address = 0;
  SymbolInformation* record = nullptr;
};

// _dladdr for many addresses that the image is known to hold, with one pass over each symbol table
// that is searched. Every record gets what _dladdr gives its address; the result is the same for
// all of them. The queries are put into another order.
bool ResolveInMachOImage(const MachOImage& image, MachOReader read, MachOQuery* queries,
                         size_t count);

// What an image list carries from one image to the next: an image without a UUID or a "__TEXT"
// segment is shown with the values of the last one that had them.
struct MachOImageScan {
  UuidText uuid;
  uint64_t text_address = 0;
  uint64_t text_size = 0;
};

// Updates `scan` from the image's load commands and, when the image is a main executable or a
// dynamic library, fills `entry` (its uuid points into `scan`) and returns true. False for images
// of other types, which still update the carried values, and for images without a header. An
// unknown magic is read as a 32-bit header here.
bool ScanMachOImage(const MachOImage& image, MachOImageScan* scan, ImageListEntry* entry);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_MACHO_IMAGE_H_
