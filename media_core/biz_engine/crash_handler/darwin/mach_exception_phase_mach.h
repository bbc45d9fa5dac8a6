// The phase from an exception's arrival at the Mach exception handler to its answer, and the
// answers.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_PHASE_MACH_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_PHASE_MACH_H_

#include <mach/mach.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace CrashHandler {

// The id of the message that tells the handler thread to end.
constexpr mach_msg_id_t kMachStopMessageId = 0;

struct MachRequest {
  mach_msg_header_t header;
  uint8_t rest[556];
};
static_assert(sizeof(MachRequest) == 580, "an exception request of any behaviour fits");

// Whether the request is for an exception of a program that this one started and that has this
// one's exception ports.
bool IsOfAnotherTask(const MachRequest& request);

// Answers a request that is not the handler's to handle with a failure, and gives back the rights
// that came with it. The port stays as it is.
void RefuseException(const MachRequest& request);

// Gives the receive right up: what waits at the port, or comes later, goes on as if nobody had been
// asked.
void EndReceiving(mach_port_t port);

// Bounds the phase. The handler thread calls the host's log on the way to the answer, and the
// faulting thread, which waits in the kernel, may hold a lock that the log needs. A second thread
// waits for an exception, then answers what else arrives meanwhile (other threads' faults, the
// handler thread's own) and, when the time is over, does what the handler thread did not come to:
// it restores the ports and answers, without a word. The time is that of the signal path.
//
// Made and destroyed by the handler thread, which is alone in calling it.
class MachExceptionPhase {
 public:
  // `restore_quietly` runs on the second thread. Without a second thread (the system gives none)
  // the phase is unbounded.
  MachExceptionPhase(mach_port_t port, std::function<void()> restore_quietly);

  // Gives the port up, so that nobody waits where nobody reads, and joins the second thread.
  ~MachExceptionPhase();

  MachExceptionPhase(const MachExceptionPhase&) = delete;
  MachExceptionPhase& operator=(const MachExceptionPhase&) = delete;

  // The time starts. Once.
  void Begin(const MachRequest& request);

  // Answers the request with a failure, unless that is done.
  void Answer();

 private:
  enum class Stage { kWaiting, kUnderWay, kOver };
  using Clock = std::chrono::steady_clock;

  void Move(Stage stage);
  Stage AwaitMove();
  void Watch();
  bool RefuseNext(Clock::time_point end) const;
  void EndPort();

  const mach_port_t port_;
  const std::function<void()> restore_quietly_;
  pthread_t watcher_ = {};
  bool watched_ = false;
  std::mutex mutex_;
  std::condition_variable moved_;
  Stage stage_ = Stage::kWaiting;
  MachRequest request_ = {};
  std::atomic<bool> answered_{false};
  std::atomic<bool> ended_{false};
};

// How long an exception may wait for its answer, in milliseconds, from the next one on.
void SetMachPhaseTimeForTesting(int milliseconds);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_PHASE_MACH_H_
