// The dynamic loader's list of images. For macOS only.
//
// From dyld 3 on the loader's own list is behind its lock, which an interrupted thread may hold. So
// a copy is kept: the loader tells of every image that comes or goes. It cannot be told to stop;
// whoever holds this code stays loaded.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGE_LIST_MACH_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGE_LIST_MACH_H_

#include <cstddef>

#include "media_core/biz_engine/crash_handler/machine/images/macho_image.h"

namespace CrashHandler::machine {

// Begins to keep the copy; more than once is the same. Takes the loader's lock: for installation.
void KeepImageList();

// The images in the loader's order. Once the copy is kept they take no lock and may be called in a
// signal handler; before that they ask the loader. A list that changes meanwhile may show an image
// twice or not at all. An index past the end gives an image without a header.
size_t ImageCount();
MachOImage ImageAt(size_t index);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGE_LIST_MACH_H_
