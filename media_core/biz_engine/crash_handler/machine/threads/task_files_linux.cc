#include "media_core/biz_engine/crash_handler/machine/threads/task_files_linux.h"

#include <fcntl.h>
#include <sys/syscall.h>

#include <atomic>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"
#include "media_core/biz_engine/crash_handler/machine/memory/system_call_linux.h"

namespace CrashHandler::machine {
namespace {

constexpr char kTasks[] = "/proc/self/task";
// Larger than any "status".
constexpr size_t kStatusRoom = 4096;

// The raw records of a folder's listing.
struct DirectoryEntry {
  uint64_t inode;
  int64_t offset;
  uint16_t length;
  uint8_t type;
  char name[1];
};

uint64_t TakeHex(const char** text) {
  uint64_t number = 0;
  if ((*text)[0] == '0' && (*text)[1] == 'x') *text += 2;
  for (;; ++*text) {
    const char digit = **text;
    if (digit >= '0' && digit <= '9') {
      number = number << 4 | static_cast<uint64_t>(digit - '0');
    } else if (digit >= 'a' && digit <= 'f') {
      number = number << 4 | static_cast<uint64_t>(digit - 'a' + 10);
    } else {
      return number;
    }
  }
}

// The numbers that this process and the process file system have for the same threads, where they
// differ. Found again by the process's number; what is missing is searched for in the folder.
class ForeignNumbers {
 public:
  void Remember(ThreadNumber own, ThreadNumber listed) {
    Place(own).store(uint64_t{own} << 32 | listed, std::memory_order_relaxed);
  }
  // 0 when it is not known.
  ThreadNumber Find(ThreadNumber own) {
    const uint64_t pair = Place(own).load(std::memory_order_relaxed);
    return pair >> 32 == own ? static_cast<ThreadNumber>(pair) : 0;
  }

 private:
  static constexpr size_t kPairs = 1024;
  std::atomic<uint64_t>& Place(ThreadNumber own) { return pairs_[own % kPairs]; }

  std::atomic<uint64_t> pairs_[kPairs];
};

ForeignNumbers sForeignNumbers;

// The answer of the last look below and the process that looked: a look costs as much as what it is
// for. A list looks anew.
std::atomic<uint64_t> sLastLook{0};

uint64_t LookBy(long process, bool foreign) {
  return static_cast<uint64_t>(process) << 1 | static_cast<uint64_t>(foreign);
}

// Whether the file system has other numbers than this process. It tells the calling thread's as
// "PROCESS/task/THREAD".
bool LookWhetherForeign() {
  char link[64];
  const long length =
      SystemCall(SYS_readlinkat, AT_FDCWD, "/proc/thread-self", link, sizeof(link) - 1);
  if (length <= 0) return false;
  link[length] = '\0';
  const char* last = strrchr(link, '/');
  if (last == nullptr) return false;
  ++last;
  const bool foreign = TakeDecimal(&last) != CurrentThreadNumber();
  sLastLook.store(LookBy(SystemCall(SYS_getpid), foreign), std::memory_order_relaxed);
  return foreign;
}

bool IsForeign() {
  const uint64_t last = sLastLook.load(std::memory_order_relaxed);
  const long process = SystemCall(SYS_getpid);
  if (last == LookBy(process, false)) return false;
  return last == LookBy(process, true) || LookWhetherForeign();
}

void AppendDecimal(ThreadNumber number, char** to) {
  char digits[12];
  size_t count = 0;
  do {
    digits[count++] = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  while (count != 0) *(*to)++ = digits[--count];
}

// A file of the thread that the file system has under that number.
int OpenListed(ThreadNumber listed, const char* name) {
  char path[64];
  char* to = path + sizeof(kTasks) - 1;
  memcpy(path, kTasks, sizeof(kTasks) - 1);
  *to++ = '/';
  AppendDecimal(listed, &to);
  *to++ = '/';
  if (strlen(name) >= static_cast<size_t>(path + sizeof(path) - to)) return -1;
  strcpy(to, name);
  return OpenFile(path, O_RDONLY | O_CLOEXEC);
}

// The innermost of the numbers that a thread has, one in each namespace; 0 when it cannot be told.
ThreadNumber OwnNumberOf(ThreadNumber listed) {
  char status[kStatusRoom];
  const int file = OpenListed(listed, "status");
  if (file < 0) return 0;
  const bool read = ReadTaskFile(file, status, sizeof(status));
  SystemCall(SYS_close, file);
  const char* numbers = read ? FieldOf(status, "\nNSpid:") : nullptr;
  ThreadNumber last = 0;
  while (numbers != nullptr && (*numbers == '\t' || *numbers == ' ')) {
    ++numbers;
    last = static_cast<ThreadNumber>(TakeDecimal(&numbers));
  }
  return last;
}

bool ListFolder(int folder, bool (*add)(void*, ThreadNumber), void* context) {
  alignas(DirectoryEntry) char buffer[8192];
  for (;;) {
    const long size = SystemCall(SYS_getdents64, folder, buffer, sizeof(buffer));
    if (size <= 0) return size == 0;
    for (long at = 0; at < size;) {
      const auto* entry = reinterpret_cast<const DirectoryEntry*>(buffer + at);
      const char* name = buffer + at + offsetof(DirectoryEntry, name);
      at += entry->length;
      const auto number = static_cast<ThreadNumber>(TakeDecimal(&name));  // 0 for "." and ".."
      if (number != 0 && !add(context, number)) return false;
    }
  }
}

// As the file system numbers them.
bool ListAsListed(bool (*add)(void*, ThreadNumber), void* context) {
  const int folder = OpenFile(kTasks, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) return false;
  const bool complete = ListFolder(folder, add, context);
  SystemCall(SYS_close, folder);
  return complete;
}

struct OwnNumbers {
  bool (*add)(void*, ThreadNumber);
  void* context;
};

bool AddOwnNumber(void* context, ThreadNumber listed) {
  const auto* to = static_cast<OwnNumbers*>(context);
  const ThreadNumber own = OwnNumberOf(listed);
  if (own == 0) return true;  // it has ended meanwhile
  sForeignNumbers.Remember(own, listed);
  return to->add(to->context, own);
}

// Goes through the folder once when the number is not known.
ThreadNumber ListedNumberOf(ThreadNumber own) {
  const ThreadNumber known = sForeignNumbers.Find(own);
  if (known != 0 && OwnNumberOf(known) == own) return known;
  OwnNumbers all = {[](void*, ThreadNumber) { return true; }, nullptr};
  ListAsListed(&AddOwnNumber, &all);
  return sForeignNumbers.Find(own);
}

}  // namespace

uint64_t TakeDecimal(const char** text) {
  uint64_t number = 0;
  for (; **text >= '0' && **text <= '9'; ++*text) {
    number = number * 10 + static_cast<uint64_t>(**text - '0');
  }
  return number;
}

const char* FieldOf(const char* text, const char* label) {
  const char* found = strstr(text, label);
  return found == nullptr ? nullptr : found + strlen(label);
}

bool ListTasks(bool (*add)(void* context, ThreadNumber number), void* context) {
  if (!LookWhetherForeign()) return ListAsListed(add, context);
  OwnNumbers own = {add, context};
  return ListAsListed(&AddOwnNumber, &own);
}

int OpenTaskFile(ThreadNumber number, const char* name) {
  if (!IsForeign()) return OpenListed(number, name);
  const ThreadNumber listed = ListedNumberOf(number);
  return listed == 0 ? -1 : OpenListed(listed, name);
}

bool ReadTaskFile(int file, char* text, size_t room) {
  const long size = SystemCall(SYS_pread64, file, text, room - 1, 0);
  text[size > 0 ? size : 0] = '\0';
  return size > 0;
}

// "CALL ARGUMENT x 6 SP PC", "-1 SP PC", or a word.
bool ParseWaitingTask(const char* text, WaitingTask* task) {
  *task = {};
  const bool outside = strncmp(text, "-1 ", 3) == 0;
  if (outside) {
    task->call = -1;
    text += 2;
  } else if (*text < '0' || *text > '9') {
    return false;
  } else {
    task->call = static_cast<int64_t>(TakeDecimal(&text));
  }
  uint64_t words[8] = {};
  const size_t wanted = outside ? 2 : 8;
  for (size_t i = 0; i < wanted; ++i) {
    if (*text != ' ') return false;
    ++text;
    words[i] = TakeHex(&text);
  }
  if (!outside) memcpy(task->arguments, words, sizeof(task->arguments));
  task->stack_pointer = words[wanted - 2];
  task->instruction = words[wanted - 1];
  return task->instruction != 0 && task->stack_pointer != 0;
}

bool ParseBlockedSignals(const char* text, SignalBits* blocked) {
  const char* digits = FieldOf(text, "\nSigBlk:\t");
  if (digits == nullptr) return false;
  *blocked = TakeHex(&digits);
  return true;
}

}  // namespace CrashHandler::machine
