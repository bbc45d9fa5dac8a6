#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/images/code_of_no_image.h"
#include "media_core/biz_engine/crash_handler/machine/images/image_list_mach.h"

namespace CrashHandler::machine {

bool IsInNoImage(const void* address) {
  const size_t images = ImageCount();
  for (size_t i = 0; i < images; ++i) {
    if (MachOImageContains(ImageAt(i), reinterpret_cast<uintptr_t>(address))) return false;
  }
  return true;
}

}  // namespace CrashHandler::machine
