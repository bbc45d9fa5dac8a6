// A thread of the module's own, beside one that crashes: it works when that one, or every lock of
// the process, is stuck. It is not in the list of the process's threads (threads.h).
//
// All but PrepareHelperThread may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_HELPER_THREAD_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_HELPER_THREAD_H_

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/threads/thread_number.h"

namespace CrashHandler::machine {

// Makes ready what the thread needs; for installation, and again for one in a forked child.
// `memory`, of kHelperThreadBytes, stays the thread's for the life of the process; null where there
// is none. On macOS, which can make no thread in a signal handler, the thread exists from here on
// and waits.
void PrepareHelperThread(void* memory);

// Waits until no body runs: for a second one, when the first was told to end. False when it still
// does after a while.
bool AwaitHelperThread();

// Runs `body` on the helper thread, with all signals blocked there. False when the system gives no
// thread, or when a body runs. What the body may call is what a signal handler may; on
// Linux the thread is known to the kernel alone and has no thread-local data but the C library's
// error number, so functions that keep more than that for a thread (locales, the heap, streams) are
// not for it. In a forked child too.
bool StartHelperThread(void (*body)());

// The helper thread's number; 0 when there is none.
ThreadNumber HelperThreadNumber();

// For the body: waits while `*word` is `value`, at most so long. False when the time is over.
bool HelperWait(const std::atomic<uint32_t>* word, uint32_t value, int milliseconds);
// For others, after a change of the word.
void WakeHelper(std::atomic<uint32_t>* word);

constexpr size_t kHelperThreadBytes = size_t{256} << 10;

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_HELPER_THREAD_H_
