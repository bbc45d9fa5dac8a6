#include <dlfcn.h>

#include "media_core/biz_engine/crash_handler/machine/images/code_of_no_image.h"

namespace CrashHandler::machine {

// The loader's table for unwinders: read without a lock.
bool IsInNoImage(const void* address) {
  dl_find_object found;
  return _dl_find_object(const_cast<void*>(address), &found) != 0;
}

}  // namespace CrashHandler::machine
