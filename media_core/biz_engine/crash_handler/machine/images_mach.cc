// The images as the dynamic loader lists them. Each is asked for anew: the list may change between
// two calls, and an index past its end then gives null, which the readers skip.
#include <mach-o/dyld.h>

#include "media_core/biz_engine/crash_handler/machine/images.h"
#include "media_core/biz_engine/crash_handler/machine/macho_image.h"

namespace CrashHandler::machine {
namespace {

MachOImage ImageAt(uint32_t index) {
  MachOImage image;
  image.header = _dyld_get_image_header(index);
  image.name = _dyld_get_image_name(index);
  image.slide = _dyld_get_image_vmaddr_slide(index);
  return image;
}

}  // namespace

void PrepareImages() {}

void VisitImages(ImageListVisitor visit, void* context) {
  MachOImageScan scan;
  const uint32_t count = _dyld_image_count();
  for (uint32_t i = 0; i < count; ++i) {
    ImageListEntry entry;
    if (ScanMachOImage(ImageAt(i), &scan, &entry)) visit(context, entry);
  }
}

Symbolizer::Symbolizer() = default;

Symbolizer::~Symbolizer() = default;

void Symbolizer::Resolve(const uintptr_t* addresses, SymbolInformation* records, size_t count) {
  for (size_t i = 0; i < count; ++i) ResolveOne(addresses[i], &records[i]);
}

bool Symbolizer::ResolveOne(uintptr_t address, SymbolInformation* record) {
  *record = {nullptr, nullptr, nullptr, nullptr};
  const uint32_t count = _dyld_image_count();
  for (uint32_t i = 0; i < count; ++i) {
    const MachOImage image = ImageAt(i);
    if (MachOImageContains(image, address)) {
      return _dladdr(image, address, &mach_copyMem, record);
    }
  }
  return false;
}

}  // namespace CrashHandler::machine
