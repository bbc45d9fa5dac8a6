// What the readers of images tell, whatever the format of the images.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGE_FACTS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGE_FACTS_H_

#include <cstdint>

namespace CrashHandler::machine {

// One line of the image list.
struct ImageListEntry {
  uint64_t start;  // address of the image's first byte
  uint64_t end;    // address of the last byte of its code segment
  bool is_64_bit;
  const char* uuid;  // as the platform prints it, 36 characters; may be ""
  const char* path;  // as the loader gives it; may be null
};

// What is known about an address. The names and the order are those of the system's `Dl_info`.
struct SymbolInformation {
  const char* dli_fname;  // path of the image that holds the address, or null
  void* dli_fbase;        // address of that image's header, or null
  const char* dli_sname;  // nearest symbol at or before the address, or null
  void* dli_saddr;        // that symbol's address, or null
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGE_FACTS_H_
