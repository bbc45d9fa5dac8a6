#include "media_core/biz_engine/crash_handler/darwin/mach_exception_handler_mach.h"

#include <mach/mach.h>
#include <pthread.h>
#include <signal.h>
#include <sys/sysctl.h>
#include <sys/types.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>

#include "media_core/biz_engine/crash_handler/darwin/mach_exception_handler.h"
#include "media_core/biz_engine/crash_handler/darwin/mach_exception_phase_mach.h"
#include "media_core/biz_engine/crash_handler/tools/crash_log.h"

namespace CrashHandler {

std::atomic<mach_port_t> OruRTCMachExceptionPort{MACH_PORT_NULL};
OruRTCMachExceptionPorts OruRTCOldMachExceptionPorts = {};
std::atomic<pthread_t> OruRTCMachExceptionHandleThread{};
std::atomic<mach_port_t> OruRTCMachExceptionHandleThreadId{MACH_PORT_NULL};

namespace {

// Emulation exceptions are left to whoever has them.
constexpr exception_mask_t kExceptionMask = EXC_MASK_BAD_ACCESS | EXC_MASK_BAD_INSTRUCTION |
                                            EXC_MASK_ARITHMETIC | EXC_MASK_SOFTWARE |
                                            EXC_MASK_BREAKPOINT;
constexpr auto kBehavior =
    static_cast<exception_behavior_t>(EXCEPTION_DEFAULT | MACH_EXCEPTION_CODES);

// The number of the installation whose saved ports are still to be restored; 0 when none are. Who
// exchanges it against 0 restores them: that way a release of the host's and the handler thread's
// never do it both, and a handler thread of an earlier installation never does it to a later one.
std::atomic<uint32_t> sPortsToRestore{0};
// The same while that goes on: the handler thread may be stuck in it and lose it to another.
std::atomic<uint32_t> sRestoring{0};
std::atomic<uint32_t> sInstallation{0};

bool Claim(std::atomic<uint32_t>* held, uint32_t installation) {
  return installation != 0 && held->compare_exchange_strong(installation, 0);
}

// Whether the new thread knows its installation. Until then nobody may release it or install
// another, or the thread would wait at the wrong port, where its stop message never comes.
std::mutex sStartMutex;
std::condition_variable sStartCondition;
bool sThreadHasPort = false;

struct Installation {
  mach_port_t port;
  uint32_t number;
};

Installation TakeInstallation() {
  const Installation own = {OruRTCMachExceptionPort.load(), sInstallation.load()};
  const std::lock_guard<std::mutex> lock(sStartMutex);
  sThreadHasPort = true;
  sStartCondition.notify_one();
  return own;
}

void AwaitThreadWithPort() {
  std::unique_lock<std::mutex> lock(sStartMutex);
  sStartCondition.wait(lock, [] { return sThreadHasPort; });
}

void ForgetEarlierThread() {
  const std::lock_guard<std::mutex> lock(sStartMutex);
  sThreadHasPort = false;
}

struct StopMessage {
  mach_msg_header_t header;
  uint8_t rest[44];
};
static_assert(sizeof(StopMessage) == 68, "padded behind the header");

std::string MachErrorText(kern_return_t code) { return mach_error_string(code); }

bool IsDebuggerAttached() {
  int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, getpid()};
  kinfo_proc record;
  record.kp_proc.p_flag = 0;  // what it stays when the system does not tell
  size_t size = sizeof(record);
  sysctl(name, sizeof(name) / sizeof(name[0]), &record, &size, nullptr, 0);
  return (record.kp_proc.p_flag & P_TRACED) != 0;
}

bool SaveExceptionPorts() {
  OruRTCMachExceptionPorts& old = OruRTCOldMachExceptionPorts;
  const kern_return_t result =
      task_get_exception_ports(mach_task_self(), kExceptionMask, old.masks, &old.count, old.ports,
                               old.behaviors, old.flavors);
  if (result == KERN_SUCCESS) {
    sPortsToRestore.store(++sInstallation);
    return true;
  }
  ORU_CRASH_LOG_PROBLEM("task_get_exception_ports error: %s", MachErrorText(result).c_str());
  return false;
}

bool MakeExceptionPort() {
  if (OruRTCMachExceptionPort.load() != MACH_PORT_NULL) return true;
  ORU_CRASH_LOG_PROGRESS("Allocating new port with receive rights");
  mach_port_t port = MACH_PORT_NULL;
  kern_return_t result = mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port);
  if (result != KERN_SUCCESS) {
    ORU_CRASH_LOG_PROBLEM("mach_port_allocate failed: %s", MachErrorText(result).c_str());
    return false;
  }
  OruRTCMachExceptionPort.store(port);
  ORU_CRASH_LOG_PROGRESS("Adding send rights to port");
  result = mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND);
  if (result == KERN_SUCCESS) return true;
  ORU_CRASH_LOG_PROBLEM("mach_port_insert_right failed: %s", MachErrorText(result).c_str());
  return false;
}

bool InstallExceptionPort() {
  ORU_CRASH_LOG_PROGRESS("Installing port as exception handler");
  const kern_return_t result =
      task_set_exception_ports(mach_task_self(), kExceptionMask, OruRTCMachExceptionPort.load(),
                               kBehavior, THREAD_STATE_NONE);
  if (result == KERN_SUCCESS) return true;
  ORU_CRASH_LOG_PROBLEM("task_set_exception_ports error: %s", MachErrorText(result).c_str());
  return false;
}

// A thread that takes none of the host's signals: they are meant for the host's threads, which may
// block and wait for them. Faults of its own come through.
int CreateDeafThread(pthread_t* thread, const pthread_attr_t* attributes) {
  sigset_t hosts;
  sigfillset(&hosts);
  for (const int signo : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP, SIGABRT, SIGSYS}) {
    sigdelset(&hosts, signo);
  }
  sigset_t before;
  pthread_sigmask(SIG_SETMASK, &hosts, &before);
  const int result = pthread_create(thread, attributes, &OruRTCMachExceptionHandler, nullptr);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return result;
}

bool StartHandlerThread() {
  ORU_CRASH_LOG_PROGRESS("Create mach exception thread");
  ForgetEarlierThread();
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_t thread = {};
  const int result = CreateDeafThread(&thread, &attributes);
  pthread_attr_destroy(&attributes);
  if (result != 0) {
    ORU_CRASH_LOG_PROBLEM("pthread_create failed: %s", std::string(strerror(result)).c_str());
    return false;
  }
  AwaitThreadWithPort();
  const mach_port_t id = pthread_mach_thread_np(thread);
  OruRTCMachExceptionHandleThread.store(thread);
  OruRTCMachExceptionHandleThreadId.store(id);
  ORU_CRASH_LOG_PROGRESS("Mach exception handler installed, thread: %d", static_cast<int>(id));
  return true;
}

kern_return_t RestoreEntry(mach_msg_type_number_t i) {
  const OruRTCMachExceptionPorts& old = OruRTCOldMachExceptionPorts;
  return task_set_exception_ports(mach_task_self(), old.masks[i], old.ports[i], old.behaviors[i],
                                  old.flavors[i]);
}

// The rights that came with the saved ports.
void GiveSavedRightsBack() {
  OruRTCMachExceptionPorts& old = OruRTCOldMachExceptionPorts;
  for (mach_msg_type_number_t i = 0; i < old.count; ++i) {
    if (MACH_PORT_VALID(old.ports[i])) mach_port_deallocate(mach_task_self(), old.ports[i]);
  }
  old.count = 0;
}

// In the handler thread's stead.
void RestoreQuietly(uint32_t installation) {
  if (!Claim(&sPortsToRestore, installation) && !Claim(&sRestoring, installation)) return;
  for (mach_msg_type_number_t i = 0; i < OruRTCOldMachExceptionPorts.count; ++i) RestoreEntry(i);
  GiveSavedRightsBack();
}

void RestoreExceptionPorts(uint32_t installation) {
  if (!Claim(&sPortsToRestore, installation)) {
    ORU_CRASH_LOG_PROGRESS("Original exception ports were already restored");
    return;
  }
  const mach_msg_type_number_t count = OruRTCOldMachExceptionPorts.count;
  sRestoring.store(installation);
  ORU_CRASH_LOG_PROGRESS("Restore original mach exception ports");
  for (mach_msg_type_number_t i = 0; i < count; ++i) {
    ORU_CRASH_LOG_PROGRESS("Restoring port index %d", static_cast<int>(i));
    if (sRestoring.load() != installation) continue;
    const kern_return_t result = RestoreEntry(i);
    if (result != KERN_SUCCESS) {
      ORU_CRASH_LOG_PROBLEM("task_set_exception_ports error: %s", MachErrorText(result).c_str());
    }
  }
  ORU_CRASH_LOG_PROGRESS("Restore mach exception ports finish");
  if (Claim(&sRestoring, installation)) GiveSavedRightsBack();
}

// The handler thread must not tell itself to stop: it is on its way out already.
void StopHandlerThread() {
  if (OruRTCMachExceptionHandleThread.load() == pthread_t{}) return;
  if (OruRTCMachExceptionHandleThreadId.load() == pthread_mach_thread_np(pthread_self())) return;
  ORU_CRASH_LOG_PROGRESS("Shutdown mach exception thread");
  ShutDownMachExceptionThread();
  OruRTCMachExceptionHandleThread.store(pthread_t{});
  OruRTCMachExceptionHandleThreadId.store(MACH_PORT_NULL);
}

// ---- Forks ----

// The types whose handler a child would inherit from this one.
std::atomic<exception_mask_t> sInherited{0};

exception_mask_t TypesWithOwnPort() {
  const mach_port_t port = OruRTCMachExceptionPort.load();
  if (port == MACH_PORT_NULL) return 0;
  OruRTCMachExceptionPorts now = {};
  if (task_get_exception_ports(mach_task_self(), kExceptionMask, now.masks, &now.count, now.ports,
                               now.behaviors, now.flavors) != KERN_SUCCESS) {
    return 0;
  }
  exception_mask_t types = 0;
  for (mach_msg_type_number_t i = 0; i < now.count; ++i) {
    if (now.ports[i] == port) types |= now.masks[i];
    if (MACH_PORT_VALID(now.ports[i])) mach_port_deallocate(mach_task_self(), now.ports[i]);
  }
  return types;
}

void BeforeFork() { sInherited.store(TypesWithOwnPort()); }

// The child has neither the thread nor the port, only the parent's place in front of its faults:
// they would go to the parent. What the parent had saved are names that mean nothing here.
void InChild() {
  const exception_mask_t types = sInherited.load();
  if (types != 0) {
    task_set_exception_ports(mach_task_self(), types, MACH_PORT_NULL, EXCEPTION_DEFAULT,
                             THREAD_STATE_NONE);
  }
  sPortsToRestore.store(0);
  sRestoring.store(0);
  OruRTCOldMachExceptionPorts.count = 0;
  OruRTCMachExceptionHandleThread.store(pthread_t{});
  OruRTCMachExceptionHandleThreadId.store(MACH_PORT_NULL);
  OruRTCMachExceptionPort.store(MACH_PORT_NULL);
}

void ServeForks() {
  [[maybe_unused]] static const int registered = pthread_atfork(&BeforeFork, nullptr, &InChild);
}

// The rest of a release behind the restoration of the ports; an installation that has come since
// keeps its port.
void ForgetPort(mach_port_t port) {
  OruRTCMachExceptionPort.compare_exchange_strong(port, MACH_PORT_NULL);
  ORU_CRASH_LOG_PROGRESS("Mach exception handlers uninstalled");
}

void ReleaseOnHandlerThread(const Installation& own) {
  RestoreExceptionPorts(own.number);
  ForgetPort(own.port);
}

}  // namespace

void InitOruRTCMachExceptionHandler() {
  if (IsDebuggerAttached()) {
    ORU_CRASH_LOG_PROGRESS("Debug running, skip mach exception");
    return;
  }
  ServeForks();
  ORU_CRASH_LOG_PROGRESS("Install Mach Exception handler");
  const bool installed =
      SaveExceptionPorts() && MakeExceptionPort() && InstallExceptionPort() && StartHandlerThread();
  if (installed) return;
  const mach_port_t port = OruRTCMachExceptionPort.load();
  ReleaseOruRTCMachExceptionHandler();
  // A fault that came in between must not wait there.
  if (port != MACH_PORT_NULL) EndReceiving(port);
}

void ReleaseOruRTCMachExceptionHandler() {
  const mach_port_t port = OruRTCMachExceptionPort.load();
  RestoreExceptionPorts(sInstallation.load());
  StopHandlerThread();
  ForgetPort(port);
}

void ShutDownMachExceptionThread() {
  const mach_port_t port = OruRTCMachExceptionPort.load();
  if (port == MACH_PORT_NULL) {
    ORU_CRASH_LOG_PROBLEM("Mach exception port empty");
    return;
  }
  StopMessage message = {};
  message.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, MACH_MSG_TYPE_MAKE_SEND_ONCE);
  message.header.msgh_size = sizeof(message);
  message.header.msgh_remote_port = port;
  message.header.msgh_local_port = MACH_PORT_NULL;
  message.header.msgh_id = kMachStopMessageId;
  const mach_msg_return_t result = mach_msg(&message.header, MACH_SEND_MSG | MACH_SEND_TIMEOUT,
                                            sizeof(message), 0, MACH_PORT_NULL, 0, MACH_PORT_NULL);
  if (result != MACH_MSG_SUCCESS) {
    ORU_CRASH_LOG_PROBLEM("shut down mach exception error: %s", MachErrorText(result).c_str());
  }
}

void* OruRTCMachExceptionHandler(void* /*unused*/) {
  const Installation own = TakeInstallation();
  MachExceptionPhase phase(own.port, [own] { RestoreQuietly(own.number); });
  MachRequest request = {};
  for (;;) {
    ORU_CRASH_LOG_PROGRESS("Waiting for mach exception");
    const mach_msg_return_t result = mach_msg(&request.header, MACH_RCV_MSG, 0, sizeof(request),
                                              own.port, MACH_MSG_TIMEOUT_NONE, MACH_PORT_NULL);
    const bool received = result == MACH_MSG_SUCCESS;
    const bool stop = received && request.header.msgh_id == kMachStopMessageId;
    const bool foreign = received && !stop && IsOfAnotherTask(request);
    if (foreign) RefuseException(request);
    if (received && !stop && !foreign) phase.Begin(request);
    ORU_CRASH_LOG_PROGRESS("recevie msg: %d", result);
    if (!received) {
      ORU_CRASH_LOG_PROBLEM("mach_msg error: %s", MachErrorText(result).c_str());
      continue;
    }
    if (foreign) continue;
    if (stop) {
      ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::receiver shutdown mach exception thread");
      return nullptr;
    }
    ORU_CRASH_LOG_PROGRESS("DarwinCrashHandler::receiver mach exception and replay to system");
    ReleaseOnHandlerThread(own);
    phase.Answer();
    return nullptr;
  }
}

}  // namespace CrashHandler
