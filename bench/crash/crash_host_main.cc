// Starts threads that wait, then writes the time to standard output (nanoseconds of the monotonic
// clock, 8 bytes) and crashes, or waits to be looked at.
//
//   crash_host_SIDE DUMP_DIR THREADS crash|wait [IMAGE_DIR]
//
// THREADS counts the main thread. With IMAGE_DIR all its libraries are loaded first, and every
// thread has a function of its large library on its stack.
#include <dirent.h>
#include <dlfcn.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/crash/crash_host.h"

namespace {

using CallBack = void (*)(void (*function)());

// Calls the function from the large library when there is one.
CallBack sThroughLargeLibrary = [](void (*function)()) { function(); };

std::mutex sMutex;
std::condition_variable sChanged;
int sWaiting = 0;

[[noreturn]] void Fail(const std::string& what) {
  fprintf(stderr, "crash_host: %s\n", what.c_str());
  exit(2);
}

void LoadImages(const std::string& folder) {
  DIR* const list = opendir(folder.c_str());
  if (list == nullptr) Fail("no folder " + folder);
  while (const dirent* const entry = readdir(list)) {
    if (strstr(entry->d_name, ".so") == nullptr) continue;
    void* const library = dlopen((folder + "/" + entry->d_name).c_str(), RTLD_NOW);
    if (library == nullptr) Fail(dlerror());
    void* const call = dlsym(library, "large_library_call");
    if (call != nullptr) sThroughLargeLibrary = reinterpret_cast<CallBack>(call);
  }
  closedir(list);
}

void WaitForEver() {
  std::unique_lock<std::mutex> lock(sMutex);
  ++sWaiting;
  sChanged.notify_all();
  sChanged.wait(lock, [] { return false; });
}

// Some depth, as real threads have.
template <int kDepth>
__attribute__((noinline)) void Descend(void (*last)()) {
  if constexpr (kDepth == 0) {
    sThroughLargeLibrary(last);
  } else {
    Descend<kDepth - 1>(last);
  }
  asm volatile("");  // no tail call
}

void StartThreads(int count) {
  for (int i = 0; i < count; ++i) std::thread([] { Descend<8>(&WaitForEver); }).detach();
  std::unique_lock<std::mutex> lock(sMutex);
  sChanged.wait(lock, [count] { return sWaiting == count; });
}

void TellTime() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  const int64_t nanoseconds = int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
  if (write(STDOUT_FILENO, &nanoseconds, sizeof nanoseconds) != sizeof nanoseconds) _exit(3);
}

}  // namespace

// The name is one that reports are written for.
extern "C" __attribute__((noinline)) void OruRTCBenchCrash() {
  TellTime();
  *static_cast<volatile int*>(nullptr) = 1;
}

int main(int argc, char** argv) {
  if (argc < 4) Fail("usage: crash_host DUMP_DIR THREADS crash|wait [IMAGE_DIR]");
  if (argc > 4) LoadImages(argv[4]);
  InstallCapture(argv[0], argv[1]);
  StartThreads(static_cast<int>(strtol(argv[2], nullptr, 10)) - 1);
  // Threads that have just said that they wait may still be on their way there.
  usleep(20000);
  if (strcmp(argv[3], "wait") == 0) {
    TellTime();
    for (;;) pause();
  }
  Descend<8>(&OruRTCBenchCrash);
  return 0;
}
