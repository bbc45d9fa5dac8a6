// The list of threads and their names, from the kernel's process file system.
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

namespace CrashHandler::machine {

namespace {

// The raw records of a folder's listing.
struct DirectoryEntry {
  uint64_t inode;
  int64_t offset;
  uint16_t length;
  uint8_t type;
  char name[1];
};

// The number that a whole name stands for, or 0 for "." and "..".
ThreadNumber NumberOfName(const char* name) {
  ThreadNumber number = 0;
  for (; *name >= '0' && *name <= '9'; ++name) {
    number = number * 10 + static_cast<ThreadNumber>(*name - '0');
  }
  return number;
}

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

bool ReadNumbers(int folder, NumberArray* numbers) {
  alignas(DirectoryEntry) char buffer[8192];
  for (;;) {
    const long size = syscall(SYS_getdents64, folder, buffer, sizeof(buffer));
    if (size <= 0) return size == 0;
    for (long at = 0; at < size;) {
      const auto* entry = reinterpret_cast<const DirectoryEntry*>(buffer + at);
      at += entry->length;
      const ThreadNumber number =
          NumberOfName(buffer + (at - entry->length) + offsetof(DirectoryEntry, name));
      if (number != 0 && !numbers->Add(number)) return false;
    }
  }
}

// Without a file, which takes several times as long.
bool OwnThreadName(char* name, size_t room) {
  constexpr size_t kKernelRoom = 16;
  char kernel_name[kKernelRoom] = "";
  if (prctl(PR_GET_NAME, kernel_name) != 0) return false;
  const size_t length = std::min(strnlen(kernel_name, kKernelRoom), room - 1);
  memcpy(name, kernel_name, length);
  name[length] = '\0';
  return true;
}

}  // namespace

bool ThreadList::Read() {
  size_ = 0;
  const int folder = OpenFile("/proc/self/task", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return false;
  NumberArray numbers(&memory_);
  const bool complete = ReadNumbers(folder, &numbers);
  close(folder);
  if (!complete) return false;
  size_ = numbers.size();
  return true;
}

bool ThreadName(ThreadNumber number, char* name, size_t room) {
  if (room == 0) return false;
  name[0] = '\0';
  if (number == CurrentThreadNumber()) return OwnThreadName(name, room);
  // "/proc/self/task/" and "/comm" around at most ten digits.
  char path[40] = "/proc/self/task/";
  char digits[12];
  size_t digit_count = 0;
  do {
    digits[digit_count++] = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  size_t length = strlen(path);
  while (digit_count != 0) path[length++] = digits[--digit_count];
  memcpy(path + length, "/comm", sizeof("/comm"));

  const int file = OpenFile(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const ssize_t size = read(file, name, room - 1);
  close(file);
  if (size <= 0) return false;
  const auto end = static_cast<size_t>(size);
  name[name[end - 1] == '\n' ? end - 1 : end] = '\0';
  return true;
}

}  // namespace CrashHandler::machine
