// What is left of a process whose main thread has ended. For Linux only.
#ifndef TESTS_CRASH_HANDLER_SUPPORT_AFTER_MAIN_THREAD_LINUX_H_
#define TESTS_CRASH_HANDLER_SUPPORT_AFTER_MAIN_THREAD_LINUX_H_

#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "media_core/biz_engine/crash_handler/machine/memory/system_call_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/task_files_linux.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"

namespace oru_test {

// For a child's main thread: ends it, as by pthread_exit, and the process with what `body` returns
// on another thread afterwards.
inline int AfterTheMainThread(int (*body)()) {
  namespace machine = CrashHandler::machine;
  const machine::ThreadNumber main_thread = machine::CurrentThreadNumber();
  std::thread([body, main_thread] {
    char status[4096] = "";
    while (strstr(status, "State:\tZ") == nullptr) {
      const int file = machine::OpenTaskFile(main_thread, "status");
      machine::ReadTaskFile(file, status, sizeof(status));
      close(file);
    }
    _exit(body());
  }).detach();
  // Without pthread_exit's way through the frames of the test.
  machine::SystemCall(SYS_exit, 0);
  return 9;
}

}  // namespace oru_test

#endif  // TESTS_CRASH_HANDLER_SUPPORT_AFTER_MAIN_THREAD_LINUX_H_
