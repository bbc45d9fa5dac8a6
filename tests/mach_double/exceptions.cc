// Exception ports of threads, the task and the host, and exceptions on their way through them.
#include "tests/mach_double/exceptions.h"

#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstring>
#include <map>

#include "tests/mach_double/failures.h"
#include "tests/mach_double/ports.h"
#include "tests/mach_double/threads.h"

namespace mach_double {
namespace {

constexpr mach_msg_id_t kExceptionRaise = 2401;      // with 32-bit codes
constexpr mach_msg_id_t kMachExceptionRaise = 2405;  // with 64-bit codes
constexpr mach_msg_id_t kReplyOffset = 100;
constexpr exception_mask_t kValidMask = 0x3ffe;  // types 1 to 13

struct Action {
  PortRef port;
  exception_behavior_t behavior = 0;
  thread_state_flavor_t flavor = 0;

  bool operator==(const Action& other) const {
    return port == other.port && behavior == other.behavior && flavor == other.flavor;
  }
};

using Actions = std::array<Action, EXC_TYPES_COUNT>;

// All guarded by the port space's lock.
Actions& TaskActions() {
  static auto* const actions = new Actions;
  return *actions;
}

Actions& HostActions() {
  static auto* const actions = new Actions;
  return *actions;
}

std::map<PortRef, Actions>& ThreadActions() {
  static auto* const actions = new std::map<PortRef, Actions>;
  return *actions;
}

std::atomic<bool> developer_mode{true};

std::function<void(const std::string&)>& Observer() {
  static auto* const observer = new std::function<void(const std::string&)>;
  return *observer;
}

// ---- The message ----

template <typename T>
void Append(std::vector<uint8_t>* body, T value) {
  const auto* const bytes = reinterpret_cast<const uint8_t*>(&value);
  body->insert(body->end(), bytes, bytes + sizeof(value));
}

// Body: descriptor count, thread and task port, NDR, type, code count, codes.
Message ExceptionMessage(const Fault& fault, bool wide_codes, const Victim& victim,
                         const PortRef& reply) {
  Message message;
  message.id = wide_codes ? kMachExceptionRaise : kExceptionRaise;
  message.complex = true;
  message.dest_type = MACH_MSG_TYPE_PORT_SEND;
  message.reply_type = MACH_MSG_TYPE_PORT_SEND_ONCE;
  message.reply = reply;
  Append(&message.body, mach_msg_body_t{2});
  mach_msg_port_descriptor_t descriptor = {};
  descriptor.disposition = MACH_MSG_TYPE_PORT_SEND;
  descriptor.type = MACH_MSG_PORT_DESCRIPTOR;
  for (const PortRef& port : {victim.thread, victim.task}) {
    message.carried.emplace_back(message.body.size(), port);
    Append(&message.body, descriptor);
  }
  Append(&message.body, NDR_record);
  Append(&message.body, fault.type);
  Append(&message.body, mach_msg_type_number_t{2});
  for (const int64_t code : {fault.code, fault.subcode}) {
    if (wide_codes) {
      Append(&message.body, code);
    } else {
      Append(&message.body, static_cast<exception_data_type_t>(code));
    }
  }
  return message;
}

// The return code in a reply; what is no reply to this request counts as a failure.
kern_return_t ResultOf(const Message& reply, mach_msg_id_t request) {
  constexpr size_t kResultOffset = sizeof(NDR_record_t);
  kern_return_t result = KERN_FAILURE;
  if (reply.id != request + kReplyOffset || reply.complex ||
      reply.body.size() < kResultOffset + sizeof(result)) {
    return KERN_FAILURE;
  }
  std::memcpy(&result, reply.body.data() + kResultOffset, sizeof(result));
  return result;
}

// ---- Delivery ----

// A thread in the kernel that nobody answers: no signal is handled, only the end of the process
// gets it out.
[[noreturn]] void WaitForEver() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
  for (;;) pause();
}

// Asks one handler and waits for its answer, which the queue's limit does not keep from coming.
kern_return_t Ask(std::unique_lock<std::mutex>& lock, const Action& action, const Fault& fault,
                  const Victim& victim) {
  const bool wide = (static_cast<unsigned>(action.behavior) & MACH_EXCEPTION_CODES) != 0;
  const PortRef reply_port = MakeKernelPort();
  Message request = ExceptionMessage(fault, wide, victim, reply_port);
  const mach_msg_id_t id = request.id;
  const bool elsewhere = action.port->elsewhere;
  action.port->queue.push_back(std::move(request));
  action.port->changed.notify_all();
  lock.unlock();
  Tell("exception " + std::to_string(fault.type) + (elsewhere ? " sent elsewhere" : " sent"));
  if (elsewhere) WaitForEver();
  lock.lock();
  reply_port->changed.wait(lock, [&] { return !reply_port->queue.empty(); });
  const Message reply = std::move(reply_port->queue.front());
  reply_port->alive = false;
  return ResultOf(reply, id);
}

bool CanAsk(const Action& action) {
  const unsigned behavior = static_cast<unsigned>(action.behavior) & ~MACH_EXCEPTION_CODES;
  return action.port && action.port->alive && behavior == EXCEPTION_DEFAULT;
}

// Thread, task and host, each as it stands when its turn comes.
enum class Level { kThread, kTask, kHost };

Action ActionAt(Level level, const Victim& victim, const Actions& task, size_t type) {
  if (level == Level::kTask) return task.at(type);
  if (level == Level::kHost) return HostActions().at(type);
  const auto found = ThreadActions().find(victim.own_thread);
  return found == ThreadActions().end() ? Action{} : found->second.at(type);
}

// Asks each level once. True when one of them took the fault.
bool OfferTo(const Actions& task, const Fault& fault, const Victim& victim) {
  std::unique_lock<std::mutex> lock(PortSpace::Get().mutex());
  for (const Level level : {Level::kThread, Level::kTask, Level::kHost}) {
    const Action action = ActionAt(level, victim, task, static_cast<size_t>(fault.type));
    if (!CanAsk(action)) continue;
    const kern_return_t result = Ask(lock, action, fault, victim);
    lock.unlock();
    Tell("reply " + std::to_string(result));
    if (result == KERN_SUCCESS) return true;
    lock.lock();
  }
  return false;
}

// What a handler is told of the calling thread: rights that control it, or, where nobody develops,
// rights that only read.
Victim CurrentVictim() {
  const PortRef own = CurrentThreadPort();
  if (developer_mode) return {own, TaskPort(), own};
  return {MakeKernelPort(), TaskReadPort(), own};
}

}  // namespace

ExceptionAction ExceptionActionOf(exception_type_t type) {
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  const Action& action = TaskActions().at(static_cast<size_t>(type));
  return {action.port ? space.NameOf(action.port) : MACH_PORT_NULL, action.behavior, action.flavor};
}

bool RaiseException(exception_type_t type, int64_t code, int64_t subcode) {
  return Offer({type, code, subcode});
}

bool Offer(const Fault& fault) { return OfferTo(TaskActions(), fault, CurrentVictim()); }

void Tell(const std::string& what) {
  if (Observer()) Observer()(what);
}

void SetDeveloperMode(bool on) { developer_mode = on; }

void SetHostExceptionPort(exception_mask_t mask, mach_port_t port) {
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  const Action action = {space.Find(port)->port, EXCEPTION_DEFAULT, THREAD_STATE_NONE};
  for (size_t type = 1; type < EXC_TYPES_COUNT; ++type) {
    if (mask & (1u << type)) HostActions().at(type) = action;
  }
}

void InheritExceptionPorts() {
  ThreadActions().clear();
  for (Action& action : TaskActions()) {
    if (action.port) action.port->elsewhere = true;
  }
}

struct ChildTask::Kernels {
  Actions inherited;
  PortRef task = MakeKernelPort();
  PortRef thread = MakeKernelPort();
};

ChildTask::ChildTask() : kernels_(std::make_unique<Kernels>()) {
  const std::lock_guard<std::mutex> lock(PortSpace::Get().mutex());
  kernels_->inherited = TaskActions();
  NameTaskPid(kernels_->task, kPid);
}

ChildTask::~ChildTask() = default;

bool ChildTask::Raise(exception_type_t type, int64_t code, int64_t subcode) const {
  const Victim victim = {kernels_->thread, kernels_->task, kernels_->thread};
  return OfferTo(kernels_->inherited, {type, code, subcode}, victim);
}

namespace {

// The checks and effect of every call that sets exception ports.
kern_return_t SetActions(PortSpace& space, Actions& actions, exception_mask_t mask,
                         mach_port_t port, exception_behavior_t behavior,
                         thread_state_flavor_t flavor) {
  if (mask & ~kValidMask) return KERN_INVALID_ARGUMENT;
  Action action{nullptr, behavior, flavor};
  if (MACH_PORT_VALID(port)) {
    const PortSpace::Entry* const entry = space.Find(port);
    if (!entry) return MACH_SEND_INVALID_RIGHT;
    // A dead name stands for no port at all.
    if (entry->dead == 0 && entry->send == 0) return MACH_SEND_INVALID_RIGHT;
    const unsigned kind = static_cast<unsigned>(behavior) & ~MACH_EXCEPTION_CODES;
    const bool known = kind >= EXCEPTION_DEFAULT && kind <= EXCEPTION_STATE_IDENTITY;
    if (entry->port && !known) return KERN_INVALID_ARGUMENT;
    action.port = entry->port;
  }
  const bool known_flavor =
      flavor == 0 || flavor == x86_THREAD_STATE64 || flavor == THREAD_STATE_NONE;
  if (!known_flavor) return KERN_INVALID_ARGUMENT;
  for (size_t type = 1; type < EXC_TYPES_COUNT; ++type) {
    if (mask & (1u << type)) actions.at(type) = action;
  }
  return KERN_SUCCESS;
}

}  // namespace

void ObserveFaults(std::function<void(const std::string&)> observer) {
  Observer() = std::move(observer);
}

}  // namespace mach_double

using mach_double::Call;
using mach_double::FailureOf;
using mach_double::PortSpace;

extern "C" {

// Every group of types with the same handler is one entry, types without a handler among them.
kern_return_t task_get_exception_ports(task_t task, exception_mask_t mask,
                                       exception_mask_array_t masks, mach_msg_type_number_t* count,
                                       exception_handler_array_t ports,
                                       exception_behavior_array_t behaviors,
                                       exception_flavor_array_t flavors) {
  if (const auto failure = FailureOf(Call::kGetExceptionPorts)) return *failure;
  if (task != mach_task_self()) return MACH_SEND_INVALID_DEST;
  if (mask & ~mach_double::kValidMask) return KERN_INVALID_ARGUMENT;
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  std::vector<mach_double::Action> groups;
  for (size_t type = 1; type < EXC_TYPES_COUNT; ++type) {
    const exception_mask_t bit = 1u << type;
    if (!(mask & bit)) continue;
    const mach_double::Action& action = mach_double::TaskActions().at(type);
    size_t group = 0;
    while (group < groups.size() && !(groups[group] == action)) ++group;
    if (group < groups.size()) {
      masks[group] |= bit;
      continue;
    }
    groups.push_back(action);
    masks[group] = bit;
    ports[group] = space.AddSend(action.port);
    behaviors[group] = action.behavior;
    flavors[group] = action.flavor;
  }
  *count = static_cast<mach_msg_type_number_t>(groups.size());
  return KERN_SUCCESS;
}

kern_return_t task_set_exception_ports(task_t task, exception_mask_t mask, mach_port_t port,
                                       exception_behavior_t behavior,
                                       thread_state_flavor_t flavor) {
  if (const auto failure = FailureOf(Call::kSetExceptionPorts)) return *failure;
  if (task != mach_task_self()) return MACH_SEND_INVALID_DEST;
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  return mach_double::SetActions(space, mach_double::TaskActions(), mask, port, behavior, flavor);
}

kern_return_t thread_set_exception_ports(thread_act_t thread, exception_mask_t mask,
                                         mach_port_t port, exception_behavior_t behavior,
                                         thread_state_flavor_t flavor) {
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  const PortSpace::Entry* const entry = space.Find(thread);
  if (!entry || !entry->port) return MACH_SEND_INVALID_DEST;
  mach_double::Actions& actions = mach_double::ThreadActions()[entry->port];
  return mach_double::SetActions(space, actions, mask, port, behavior, flavor);
}

}  // extern "C"
