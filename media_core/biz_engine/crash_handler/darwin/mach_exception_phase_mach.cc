#include "media_core/biz_engine/crash_handler/darwin/mach_exception_phase_mach.h"

#include <unistd.h>

#include <cstring>
#include <utility>

#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"

namespace CrashHandler {
namespace {

// Where an exception request has its two port descriptors and its NDR record.
constexpr size_t kRequestThreadOffset = 28;
constexpr size_t kRequestTaskOffset = 40;
constexpr size_t kRequestNdrOffset = 52;

struct Reply {
  mach_msg_header_t header;
  NDR_record_t ndr;
  kern_return_t result;
};
static_assert(sizeof(Reply) == 36, "header, NDR record, return code");

std::atomic<int> sPhaseMs{kCrashDeadlineMs};

mach_port_t PortIn(const MachRequest& request, size_t offset) {
  mach_port_t port = MACH_PORT_NULL;
  std::memcpy(&port, reinterpret_cast<const uint8_t*>(&request) + offset, sizeof(port));
  return port;
}

// A reply right that is given back is as good as a failure: the kernel goes on.
void Send(Reply* reply) {
  const mach_msg_return_t sent = mach_msg(&reply->header, MACH_SEND_MSG, sizeof(*reply), 0,
                                          MACH_PORT_NULL, MACH_MSG_TIMEOUT_NONE, MACH_PORT_NULL);
  if (sent != MACH_MSG_SUCCESS) {
    mach_port_deallocate(mach_task_self(), reply->header.msgh_remote_port);
  }
}

// The header goes back as it came, ports and id included: it names the kernel's reply port, and
// anything but success makes the kernel go on. The port's own send right goes with it.
void ReplyWithFailure(const MachRequest& request) {
  Reply reply = {};
  reply.header = request.header;
  std::memcpy(&reply.ndr, reinterpret_cast<const uint8_t*>(&request) + kRequestNdrOffset,
              sizeof(reply.ndr));
  reply.result = KERN_FAILURE;
  Send(&reply);
}

}  // namespace

// Asked by number, as the right that comes with a request need not be the one that the task knows
// itself by.
bool IsOfAnotherTask(const MachRequest& request) {
  const mach_port_t task = PortIn(request, kRequestTaskOffset);
  if (task == MACH_PORT_NULL) return false;
  int pid = 0;
  return pid_for_task(task, &pid) != KERN_SUCCESS || pid != getpid();
}

void RefuseException(const MachRequest& request) {
  constexpr mach_msg_id_t kReplyOffset = 100;
  Reply reply = {};
  reply.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_MOVE_SEND_ONCE, 0);
  reply.header.msgh_size = sizeof(reply);
  reply.header.msgh_remote_port = request.header.msgh_remote_port;
  reply.header.msgh_id = request.header.msgh_id + kReplyOffset;
  reply.ndr = NDR_record;
  reply.result = KERN_FAILURE;
  Send(&reply);
  mach_port_deallocate(mach_task_self(), PortIn(request, kRequestThreadOffset));
  mach_port_deallocate(mach_task_self(), PortIn(request, kRequestTaskOffset));
}

// A name that still has a send right stays as a dead one, so that a late stop message does not
// reach a stranger.
void EndReceiving(mach_port_t port) {
  mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_RECEIVE, -1);
}

void SetMachPhaseTimeForTesting(int milliseconds) { sPhaseMs.store(milliseconds); }

MachExceptionPhase::MachExceptionPhase(mach_port_t port, std::function<void()> restore_quietly)
    : port_(port), restore_quietly_(std::move(restore_quietly)) {
  const auto watch = [](void* phase) -> void* {
    static_cast<MachExceptionPhase*>(phase)->Watch();
    return nullptr;
  };
  watched_ = pthread_create(&watcher_, nullptr, watch, this) == 0;
}

// The port first: the second thread may wait there.
MachExceptionPhase::~MachExceptionPhase() {
  EndPort();
  Move(Stage::kOver);
  if (watched_) pthread_join(watcher_, nullptr);
}

void MachExceptionPhase::Begin(const MachRequest& request) {
  request_ = request;
  Move(Stage::kUnderWay);
}

void MachExceptionPhase::Answer() {
  if (!answered_.exchange(true)) ReplyWithFailure(request_);
}

void MachExceptionPhase::Move(Stage stage) {
  const std::lock_guard<std::mutex> lock(mutex_);
  stage_ = stage;
  moved_.notify_one();
}

MachExceptionPhase::Stage MachExceptionPhase::AwaitMove() {
  std::unique_lock<std::mutex> lock(mutex_);
  moved_.wait(lock, [this] { return stage_ != Stage::kWaiting; });
  return stage_;
}

void MachExceptionPhase::Watch() {
  if (AwaitMove() == Stage::kOver) return;
  const auto end = Clock::now() + std::chrono::milliseconds(sPhaseMs.load());
  while (RefuseNext(end)) {
  }
  if (Clock::now() < end) return;  // the port has gone: the handler thread is through
  restore_quietly_();
  Answer();
  EndPort();
}

// False when the time or the port has come to its end.
bool MachExceptionPhase::RefuseNext(Clock::time_point end) const {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
  const auto wait = static_cast<mach_msg_timeout_t>(left.count() > 0 ? left.count() + 1 : 0);
  MachRequest other = {};
  const mach_msg_return_t result = mach_msg(&other.header, MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0,
                                            sizeof(other), port_, wait, MACH_PORT_NULL);
  if (result == MACH_RCV_INTERRUPTED) return Clock::now() < end;
  if (result != MACH_MSG_SUCCESS) return false;
  if (other.header.msgh_id != kMachStopMessageId) RefuseException(other);
  return true;
}

void MachExceptionPhase::EndPort() {
  if (!ended_.exchange(true)) EndReceiving(port_);
}

}  // namespace CrashHandler
