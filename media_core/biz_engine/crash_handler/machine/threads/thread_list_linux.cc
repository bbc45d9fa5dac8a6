// The list of threads and their names, from the kernel's process file system.
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/memory/system_call_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/helper_thread.h"
#include "media_core/biz_engine/crash_handler/machine/threads/task_files_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

namespace CrashHandler::machine {

namespace {

// A growing array of thread numbers.
class NumberArray {
 public:
  explicit NumberArray(ScratchMemory* memory) : memory_(memory) {}

  bool Add(ThreadNumber number) {
    if (size_ == memory_->size() / sizeof(number) && !Grow()) return false;
    static_cast<ThreadNumber*>(memory_->data())[size_++] = number;
    return true;
  }
  size_t size() const { return size_; }

 private:
  static constexpr size_t kFirstBytes = 16 * 1024;

  bool Grow() {
    const size_t wanted = memory_->size() == 0 ? kFirstBytes : memory_->size() * 2;
    ScratchMemory larger(wanted);
    if (larger.data() == nullptr) return false;
    if (size_ != 0) memcpy(larger.data(), memory_->data(), size_ * sizeof(ThreadNumber));
    memory_->Swap(&larger);
    return true;
  }

  ScratchMemory* memory_;
  size_t size_ = 0;
};

// Without a file, which takes several times as long.
bool OwnThreadName(char* name, size_t room) {
  constexpr size_t kKernelRoom = 16;
  char kernel_name[kKernelRoom] = "";
  if (SystemCall(SYS_prctl, PR_GET_NAME, kernel_name) != 0) return false;
  const size_t length = std::min(strnlen(kernel_name, kKernelRoom), room - 1);
  memcpy(name, kernel_name, length);
  name[length] = '\0';
  return true;
}

}  // namespace

ThreadNumber CurrentThreadNumber() { return static_cast<ThreadNumber>(SystemCall(SYS_gettid)); }

bool ThreadList::Read() {
  size_ = 0;
  NumberArray numbers(&memory_);
  const auto add = [](void* context, ThreadNumber number) {
    return number == HelperThreadNumber() || static_cast<NumberArray*>(context)->Add(number);
  };
  if (!ListTasks(add, &numbers)) return false;
  size_ = numbers.size();
  return true;
}

void PutOthersBehind(ThreadNumber except) {
  const auto put_behind = [](void* context, ThreadNumber number) {
    // The word of sched_param.
    const int priority = 0;
    if (number != *static_cast<const ThreadNumber*>(context) && number != HelperThreadNumber()) {
      SystemCall(SYS_sched_setscheduler, number, SCHED_IDLE, &priority);
    }
    return true;
  };
  ListTasks(put_behind, &except);
}

bool ThreadName(ThreadNumber number, char* name, size_t room) {
  if (room == 0) return false;
  name[0] = '\0';
  if (number == CurrentThreadNumber()) return OwnThreadName(name, room);
  const int file = OpenTaskFile(number, "comm");
  if (file < 0) return false;
  const bool read = ReadTaskFile(file, name, room);
  SystemCall(SYS_close, file);
  const size_t length = strlen(name);
  if (length != 0 && name[length - 1] == '\n') name[length - 1] = '\0';
  return read;
}

}  // namespace CrashHandler::machine
