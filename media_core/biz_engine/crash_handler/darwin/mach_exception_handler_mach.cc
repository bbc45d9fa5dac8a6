#include "media_core/biz_engine/crash_handler/darwin/mach_exception_handler_mach.h"

#include <mach/mach.h>
#include <pthread.h>
#include <sys/sysctl.h>
#include <sys/types.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>

#include "media_core/biz_engine/crash_handler/darwin/mach_exception_handler.h"
#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

namespace CrashHandler {

std::atomic<mach_port_t> OruRTCMachExceptionPort{MACH_PORT_NULL};
OruRTCMachExceptionPorts OruRTCOldMachExceptionPorts = {};
std::atomic<pthread_t> OruRTCMachExceptionHandleThread{};
std::atomic<mach_port_t> OruRTCMachExceptionHandleThreadId{MACH_PORT_NULL};

namespace {

// Macros, because every line carries the place it was written at.
#define ORU_MACH_INFO(...) PrintLog(kCrashLogInfo, "Crash_Handler", __FILE__, __LINE__, __VA_ARGS__)
#define ORU_MACH_ERROR(format, text) \
  PrintLog(kCrashLogError, "Crash_Handler", __FILE__, __LINE__, format, (text).c_str())

// Emulation exceptions are left to whoever has them.
constexpr exception_mask_t kExceptionMask = EXC_MASK_BAD_ACCESS | EXC_MASK_BAD_INSTRUCTION |
                                            EXC_MASK_ARITHMETIC | EXC_MASK_SOFTWARE |
                                            EXC_MASK_BREAKPOINT;
constexpr auto kBehavior =
    static_cast<exception_behavior_t>(EXCEPTION_DEFAULT | MACH_EXCEPTION_CODES);

constexpr mach_msg_id_t kStopMessageId = 0;

// Whether the new thread knows its port. Until then nobody may release the port or install another,
// or the thread would wait at the wrong one, where its stop message never comes.
std::mutex sStartMutex;
std::condition_variable sStartCondition;
bool sThreadHasPort = false;

mach_port_t TakePort() {
  const mach_port_t port = OruRTCMachExceptionPort.load();
  const std::lock_guard<std::mutex> lock(sStartMutex);
  sThreadHasPort = true;
  sStartCondition.notify_one();
  return port;
}

void AwaitThreadWithPort() {
  std::unique_lock<std::mutex> lock(sStartMutex);
  sStartCondition.wait(lock, [] { return sThreadHasPort; });
}

void ForgetEarlierThread() {
  const std::lock_guard<std::mutex> lock(sStartMutex);
  sThreadHasPort = false;
}

// Where an exception request with two port descriptors has its NDR record.
constexpr size_t kRequestNdrOffset = 52;

struct ReceiveBuffer {
  mach_msg_header_t header;
  uint8_t rest[556];
};
static_assert(sizeof(ReceiveBuffer) == 580, "an exception request of any behaviour fits");

struct Reply {
  mach_msg_header_t header;
  NDR_record_t ndr;
  kern_return_t result;
};
static_assert(sizeof(Reply) == 36, "header, NDR record, return code");

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
  if (result == KERN_SUCCESS) return true;
  ORU_MACH_ERROR("task_get_exception_ports error: %s", MachErrorText(result));
  return false;
}

bool MakeExceptionPort() {
  if (OruRTCMachExceptionPort.load() != MACH_PORT_NULL) return true;
  ORU_MACH_INFO("Allocating new port with receive rights");
  mach_port_t port = MACH_PORT_NULL;
  kern_return_t result = mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port);
  if (result != KERN_SUCCESS) {
    ORU_MACH_ERROR("mach_port_allocate failed: %s", MachErrorText(result));
    return false;
  }
  OruRTCMachExceptionPort.store(port);
  ORU_MACH_INFO("Adding send rights to port");
  result = mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND);
  if (result == KERN_SUCCESS) return true;
  ORU_MACH_ERROR("mach_port_insert_right failed: %s", MachErrorText(result));
  return false;
}

bool InstallExceptionPort() {
  ORU_MACH_INFO("Installing port as exception handler");
  const kern_return_t result =
      task_set_exception_ports(mach_task_self(), kExceptionMask, OruRTCMachExceptionPort.load(),
                               kBehavior, THREAD_STATE_NONE);
  if (result == KERN_SUCCESS) return true;
  ORU_MACH_ERROR("task_set_exception_ports error: %s", MachErrorText(result));
  return false;
}

bool StartHandlerThread() {
  ORU_MACH_INFO("Create mach exception thread");
  ForgetEarlierThread();
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_t thread = {};
  const int result = pthread_create(&thread, &attributes, &OruRTCMachExceptionHandler, nullptr);
  pthread_attr_destroy(&attributes);
  if (result != 0) {
    ORU_MACH_ERROR("pthread_create failed: %s", std::string(strerror(result)));
    return false;
  }
  AwaitThreadWithPort();
  const mach_port_t id = pthread_mach_thread_np(thread);
  OruRTCMachExceptionHandleThread.store(thread);
  OruRTCMachExceptionHandleThreadId.store(id);
  ORU_MACH_INFO("Mach exception handler installed, thread: %d", static_cast<int>(id));
  return true;
}

void RestoreExceptionPorts() {
  OruRTCMachExceptionPorts& old = OruRTCOldMachExceptionPorts;
  if (old.count == 0) {
    ORU_MACH_INFO("Original exception ports were already restored");
    return;
  }
  ORU_MACH_INFO("Restore original mach exception ports");
  for (mach_msg_type_number_t i = 0; i < old.count; ++i) {
    ORU_MACH_INFO("Restoring port index %d", static_cast<int>(i));
    const kern_return_t result = task_set_exception_ports(
        mach_task_self(), old.masks[i], old.ports[i], old.behaviors[i], old.flavors[i]);
    if (result != KERN_SUCCESS) {
      ORU_MACH_ERROR("task_set_exception_ports error: %s", MachErrorText(result));
    }
  }
  ORU_MACH_INFO("Restore mach exception ports finish");
  old.count = 0;
}

// The handler thread must not tell itself to stop: it is on its way out already.
void StopHandlerThread() {
  if (OruRTCMachExceptionHandleThread.load() == pthread_t{}) return;
  if (OruRTCMachExceptionHandleThreadId.load() == pthread_mach_thread_np(pthread_self())) return;
  ORU_MACH_INFO("Shutdown mach exception thread");
  ShutDownMachExceptionThread();
  OruRTCMachExceptionHandleThread.store(pthread_t{});
  OruRTCMachExceptionHandleThreadId.store(MACH_PORT_NULL);
}

// The header goes back as it came, ports and id included: it names the kernel's reply port, and
// anything but success makes the kernel go on.
void ReplyWithFailure(const ReceiveBuffer& request, Reply* reply) {
  reply->header = request.header;
  std::memcpy(&reply->ndr, reinterpret_cast<const uint8_t*>(&request) + kRequestNdrOffset,
              sizeof(reply->ndr));
  reply->result = KERN_FAILURE;
  mach_msg(&reply->header, MACH_SEND_MSG, sizeof(*reply), 0, MACH_PORT_NULL, MACH_MSG_TIMEOUT_NONE,
           MACH_PORT_NULL);
}

}  // namespace

void InitOruRTCMachExceptionHandler() {
  if (IsDebuggerAttached()) {
    ORU_MACH_INFO("Debug running, skip mach exception");
    return;
  }
  ORU_MACH_INFO("Install Mach Exception handler");
  const bool installed =
      SaveExceptionPorts() && MakeExceptionPort() && InstallExceptionPort() && StartHandlerThread();
  if (!installed) ReleaseOruRTCMachExceptionHandler();
}

void ReleaseOruRTCMachExceptionHandler() {
  RestoreExceptionPorts();
  StopHandlerThread();
  OruRTCMachExceptionPort.store(MACH_PORT_NULL);
  ORU_MACH_INFO("Mach exception handlers uninstalled");
}

void ShutDownMachExceptionThread() {
  const mach_port_t port = OruRTCMachExceptionPort.load();
  if (port == MACH_PORT_NULL) {
    PrintLog(kCrashLogError, "Crash_Handler", __FILE__, __LINE__, "Mach exception port empty");
    return;
  }
  StopMessage message = {};
  message.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, MACH_MSG_TYPE_MAKE_SEND_ONCE);
  message.header.msgh_size = sizeof(message);
  message.header.msgh_remote_port = port;
  message.header.msgh_local_port = MACH_PORT_NULL;
  message.header.msgh_id = kStopMessageId;
  const mach_msg_return_t result = mach_msg(&message.header, MACH_SEND_MSG | MACH_SEND_TIMEOUT,
                                            sizeof(message), 0, MACH_PORT_NULL, 0, MACH_PORT_NULL);
  if (result != MACH_MSG_SUCCESS) {
    ORU_MACH_ERROR("shut down mach exception error: %s", MachErrorText(result));
  }
}

void* OruRTCMachExceptionHandler(void* /*unused*/) {
  const mach_port_t port = TakePort();
  ReceiveBuffer request = {};
  Reply reply = {};
  for (;;) {
    ORU_MACH_INFO("Waiting for mach exception");
    const mach_msg_return_t result = mach_msg(&request.header, MACH_RCV_MSG, 0, sizeof(request),
                                              port, MACH_MSG_TIMEOUT_NONE, MACH_PORT_NULL);
    ORU_MACH_INFO("recevie msg: %d", result);
    if (result != MACH_MSG_SUCCESS) {
      ORU_MACH_ERROR("mach_msg error: %s", MachErrorText(result));
      continue;
    }
    if (request.header.msgh_id == kStopMessageId) {
      ORU_MACH_INFO("DarwinCrashHandler::receiver shutdown mach exception thread");
      return nullptr;
    }
    ORU_MACH_INFO("DarwinCrashHandler::receiver mach exception and replay to system");
    ReleaseOruRTCMachExceptionHandler();
    ReplyWithFailure(request, &reply);
    return nullptr;
  }
}

}  // namespace CrashHandler
