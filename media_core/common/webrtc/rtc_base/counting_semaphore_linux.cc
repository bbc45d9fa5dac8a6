#include <semaphore.h>

#include <cerrno>

#include "media_core/common/webrtc/rtc_base/checks.h"
#include "media_core/common/webrtc/rtc_base/counting_semaphore.h"

namespace rtc {
namespace {

sem_t* Create() {
  auto* const semaphore = new sem_t;
  ORU_CHECK_EQ(0, sem_init(semaphore, 0, 0));
  return semaphore;
}

sem_t* Get(void* handle) { return static_cast<sem_t*>(handle); }

}  // namespace

CountingSemaphore::CountingSemaphore() : handle_(Create()) {}

CountingSemaphore::~CountingSemaphore() {
  sem_destroy(Get(handle_));
  delete Get(handle_);
}

void CountingSemaphore::Wait() {
  while (sem_wait(Get(handle_)) != 0) {
    // A signal handler ran: the wait goes on.
    ORU_CHECK_EQ(EINTR, errno);
  }
}

void CountingSemaphore::Signal() { ORU_CHECK_EQ(0, sem_post(Get(handle_))); }

// Over the old one: to destroy what threads wait for is not allowed.
void CountingSemaphore::RenewInForkedChild() { ORU_CHECK_EQ(0, sem_init(Get(handle_), 0, 0)); }

}  // namespace rtc
