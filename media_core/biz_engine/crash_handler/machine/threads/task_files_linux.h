// What the kernel's process file system tells of single threads. For Linux only.
//
// Thread numbers are those that the process itself sees. The file system may be that of an outer
// PID namespace, which has other numbers for the same threads. May run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_TASK_FILES_LINUX_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_TASK_FILES_LINUX_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

namespace CrashHandler::machine {

// Calls `add` for every thread until it returns false. False when the system does not list them all
// or `add` did not take one.
bool ListTasks(bool (*add)(void* context, ThreadNumber number), void* context);

// Opens one of the thread's files ("comm", "syscall", "status") for reading; -1 when there is none.
int OpenTaskFile(ThreadNumber number, const char* name);

// Reads a file from its start, cut to the room, with a terminating zero. False when it gives
// nothing.
bool ReadTaskFile(int file, char* text, size_t room);

// What stands behind the label in a file's text; null without it.
const char* FieldOf(const char* text, const char* label);

// The number at the start of a text, or 0; `text` is moved behind it.
uint64_t TakeDecimal(const char** text);

// A thread that waits in the kernel, or is stopped there.
struct WaitingTask {
  int64_t call;  // number of the system call; -1 when it is in none
  uint64_t arguments[6];
  uint64_t stack_pointer;
  uint64_t instruction;
};

// The content of "syscall". False for a thread that runs or may do so at once.
bool ParseWaitingTask(const char* text, WaitingTask* task);

// Bit n - 1 stands for signal n.
using SignalBits = uint64_t;
constexpr SignalBits SignalBit(int signo) { return SignalBits{1} << (signo - 1); }

// The line "SigBlk:" of "status": the signals that the thread blocks. False without it.
bool ParseBlockedSignals(const char* text, SignalBits* blocked);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_TASK_FILES_LINUX_H_
