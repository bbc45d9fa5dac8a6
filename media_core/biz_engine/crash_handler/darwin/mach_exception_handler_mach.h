// The parts of the Mach exception handler that only a system with Mach has.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_HANDLER_MACH_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_HANDLER_MACH_H_

#include <mach/mach.h>
#include <pthread.h>

#include <atomic>

namespace CrashHandler {

// The task's exception handlers as they were found at installation. Entries from `count` on mean
// nothing; a count of 0 means that there is nothing to restore.
struct OruRTCMachExceptionPorts {
  exception_mask_t masks[EXC_TYPES_COUNT];
  mach_port_t ports[EXC_TYPES_COUNT];
  exception_behavior_t behaviors[EXC_TYPES_COUNT];
  thread_state_flavor_t flavors[EXC_TYPES_COUNT];
  mach_msg_type_number_t count;
};

// All zero at start. The three atomics are read by the handler thread while the other one installs
// or releases; the order of the operations, not a lock, is what keeps the protocol.

// The port that the handler thread listens on; 0 when none.
extern std::atomic<mach_port_t> OruRTCMachExceptionPort;
extern OruRTCMachExceptionPorts OruRTCOldMachExceptionPorts;
// The handler thread; null when none. It stays recorded after it has handled an exception.
extern std::atomic<pthread_t> OruRTCMachExceptionHandleThread;
// The same thread's Mach name, by which a release recognises that it runs on it.
extern std::atomic<mach_port_t> OruRTCMachExceptionHandleThreadId;

// Sends the stop message to the handler thread. Never blocks.
void ShutDownMachExceptionThread();

// The handler thread's body. Ends with null after a stop message or the first exception.
void* OruRTCMachExceptionHandler(void* unused);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_MACH_EXCEPTION_HANDLER_MACH_H_
