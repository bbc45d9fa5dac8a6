// An object in memory of the kernel that is kept between its users, so that none but the first pays
// for it, and what one has found out serves the next.
//
// For static storage; any thread may use it at any time, also in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_SPARE_OBJECT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_SPARE_OBJECT_H_

#include <atomic>
#include <new>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"

namespace CrashHandler::machine {

template <typename Object>
class SpareObject {
 public:
  constexpr SpareObject() = default;
  SpareObject(const SpareObject&) = delete;
  SpareObject& operator=(const SpareObject&) = delete;

  // The object as its last user left it, or a new one, for this user alone. Null, and no memory,
  // when the kernel gives none.
  Object* Take(ScratchMemory* memory) {
    void* const spare = spare_.exchange(nullptr);
    if (spare != nullptr) {
      memory->Adopt(spare, sizeof(Object));
      return static_cast<Object*>(spare);
    }
    return memory->Allocate(sizeof(Object)) ? new (memory->data()) Object : nullptr;
  }

  // Keeps the object for the next user, unless there is a spare one already.
  void GiveBack(ScratchMemory* memory) {
    void* none = nullptr;
    if (memory->data() == nullptr) return;
    if (spare_.compare_exchange_strong(none, memory->data())) {
      memory->Leak();
    } else {
      static_cast<Object*>(memory->data())->~Object();
    }
  }

 private:
  std::atomic<void*> spare_{nullptr};
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_SPARE_OBJECT_H_
