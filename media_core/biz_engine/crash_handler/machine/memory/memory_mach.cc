#include <mach/mach.h>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"

namespace CrashHandler::machine {

int mach_copyMem(const void* source, void* destination, size_t count) {
  vm_size_t copied = 0;
  return vm_read_overwrite(mach_task_self(), reinterpret_cast<vm_address_t>(source), count,
                           reinterpret_cast<vm_address_t>(destination), &copied);
}

void ChooseMemoryWay() {}

void KeepMemoryOpen() {}

void CloseMemory() {}

void* ResizePages(void* /*pages*/, size_t /*old_size*/, size_t /*new_size*/) { return nullptr; }

}  // namespace CrashHandler::machine
