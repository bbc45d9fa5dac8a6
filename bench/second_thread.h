// A thread that does nothing, for benchmarks.
#ifndef BENCH_SECOND_THREAD_H_
#define BENCH_SECOND_THREAD_H_

#include <thread>

#include "media_core/common/webrtc/rtc_base/event.h"

namespace bench {

// The C library takes shortcuts while a process has one thread: this one keeps them away.
class SecondThread {
 public:
  SecondThread() : thread_([this] { quit_.Wait(rtc::Event::kForever); }) {}
  ~SecondThread() {
    quit_.Set();
    thread_.join();
  }

 private:
  rtc::Event quit_{true, false};
  std::thread thread_;
};

}  // namespace bench

#endif  // BENCH_SECOND_THREAD_H_
