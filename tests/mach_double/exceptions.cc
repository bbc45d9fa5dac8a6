// Exception ports, and hardware faults on their way through them.
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>

#include <array>
#include <cstring>
#include <set>

#include "tests/mach_double/failures.h"
#include "tests/mach_double/ports.h"
#include "tests/mach_double/threads.h"

extern "C" int __real_sigaction(int signo, const struct sigaction* action,
                                struct sigaction* old_action);

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

// Guarded by the port space's lock.
std::array<Action, EXC_TYPES_COUNT>& Actions() {
  static auto* const actions = new std::array<Action, EXC_TYPES_COUNT>;
  return *actions;
}

std::function<void(const std::string&)>& Observer() {
  static auto* const observer = new std::function<void(const std::string&)>;
  return *observer;
}

void Tell(const std::string& what) {
  if (Observer()) Observer()(what);
}

// ---- The message ----

struct Fault {
  exception_type_t type;
  int64_t code;
  int64_t subcode;
};

template <typename T>
void Append(std::vector<uint8_t>* body, T value) {
  const auto* const bytes = reinterpret_cast<const uint8_t*>(&value);
  body->insert(body->end(), bytes, bytes + sizeof(value));
}

// Body: descriptor count, thread and task port, NDR, type, code count, codes.
Message ExceptionMessage(const Fault& fault, bool wide_codes, const PortRef& thread,
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
  for (const PortRef& port : {thread, TaskPort()}) {
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

// Asks one handler and waits for its answer.
kern_return_t Ask(std::unique_lock<std::mutex>& lock, const Action& action, const Fault& fault,
                  const PortRef& thread) {
  const bool wide = (static_cast<unsigned>(action.behavior) & MACH_EXCEPTION_CODES) != 0;
  const PortRef reply_port = MakeKernelPort();
  Message request = ExceptionMessage(fault, wide, thread, reply_port);
  const mach_msg_id_t id = request.id;
  action.port->queue.push_back(std::move(request));
  action.port->changed.notify_all();
  lock.unlock();
  Tell("exception " + std::to_string(fault.type) + " sent");
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

// Offers the fault to the handler registered at that moment, again and again until one takes it or
// no new one is left. True when it was taken.
bool Offer(const Fault& fault) {
  const PortRef thread = CurrentThreadPort();
  std::set<PortRef> asked;
  std::unique_lock<std::mutex> lock(PortSpace::Get().mutex());
  for (;;) {
    const Action action = Actions().at(static_cast<size_t>(fault.type));
    if (!CanAsk(action) || !asked.insert(action.port).second) return false;
    const kern_return_t result = Ask(lock, action, fault, thread);
    lock.unlock();
    Tell("reply " + std::to_string(result));
    if (result == KERN_SUCCESS) return true;
    lock.lock();
  }
}

// ---- Faults of the hardware ----

constexpr int kFaultSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP};
bool faults_caught = false;

// The actions that the process believes to have set; indexed by signal.
std::array<struct sigaction, NSIG>& Believed() {
  static auto* const actions = new std::array<struct sigaction, NSIG>;
  return *actions;
}

bool IsCaught(int signo) {
  if (!faults_caught) return false;
  for (const int caught : kFaultSignals) {
    if (caught == signo) return true;
  }
  return false;
}

// Raised by the processor, not sent by anyone.
bool IsFromHardware(const siginfo_t& info) { return info.si_code > 0; }

Fault FaultOf(int signo, const siginfo_t& info) {
  const auto address = reinterpret_cast<int64_t>(info.si_addr);
  switch (signo) {
    case SIGILL:
      return {EXC_BAD_INSTRUCTION, EXC_I386_INVOP, 0};
    case SIGFPE:
      return {EXC_ARITHMETIC, EXC_I386_DIV, 0};
    case SIGTRAP:
      return {EXC_BREAKPOINT, EXC_I386_BPT, 0};
    default:
      break;
  }
  if (signo == SIGSEGV && info.si_code == SI_KERNEL) return {EXC_BAD_ACCESS, EXC_I386_GPFLT, 0};
  const bool mapped = signo == SIGSEGV && info.si_code == SEGV_ACCERR;
  return {EXC_BAD_ACCESS, mapped ? KERN_PROTECTION_FAILURE : KERN_INVALID_ADDRESS, address};
}

// Lets the default action end the process: at once for a sent signal or a trap, at the recurring
// fault otherwise.
void FallToDefault(int signo, const siginfo_t& info) {
  struct sigaction fallback = {};
  fallback.sa_handler = SIG_DFL;
  __real_sigaction(signo, &fallback, nullptr);
  if (!IsFromHardware(info) || signo == SIGTRAP) raise(signo);
}

// Carries out the action that the process has set.
void CarryOut(int signo, siginfo_t* info, void* context) {
  const struct sigaction action = Believed().at(static_cast<size_t>(signo));
  const bool ignored = action.sa_handler == SIG_IGN;
  if (ignored && !IsFromHardware(*info)) return;
  if (ignored || action.sa_handler == SIG_DFL) return FallToDefault(signo, *info);
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &action.sa_mask, &before);
  if (action.sa_flags & SA_SIGINFO) {
    action.sa_sigaction(signo, info, context);
  } else {
    action.sa_handler(signo);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void OnFault(int signo, siginfo_t* info, void* context) {
  if (IsFromHardware(*info)) {
    const ScopedFaultState state(StateOf(*static_cast<const ucontext_t*>(context)));
    if (Offer(FaultOf(signo, *info))) return;
  }
  Tell("signal " + std::to_string(signo));
  CarryOut(signo, info, context);
}

}  // namespace

ExceptionAction ExceptionActionOf(exception_type_t type) {
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  const Action& action = Actions().at(static_cast<size_t>(type));
  return {action.port ? space.NameOf(action.port) : MACH_PORT_NULL, action.behavior, action.flavor};
}

void CatchHardwareFaults() {
  struct sigaction action = {};
  action.sa_sigaction = OnFault;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  for (const int signo : kFaultSignals) {
    __real_sigaction(signo, &action, &Believed().at(static_cast<size_t>(signo)));
  }
  faults_caught = true;
}

bool RaiseException(exception_type_t type, int64_t code, int64_t subcode) {
  return Offer({type, code, subcode});
}

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
    const mach_double::Action& action = mach_double::Actions().at(type);
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
  if (mask & ~mach_double::kValidMask) return KERN_INVALID_ARGUMENT;
  PortSpace& space = PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  mach_double::Action action{nullptr, behavior, flavor};
  if (MACH_PORT_VALID(port)) {
    const PortSpace::Entry* const entry = space.Find(port);
    if (!entry || entry->send == 0) return MACH_SEND_INVALID_RIGHT;
    const unsigned kind = static_cast<unsigned>(behavior) & ~MACH_EXCEPTION_CODES;
    if (kind < EXCEPTION_DEFAULT || kind > EXCEPTION_STATE_IDENTITY) return KERN_INVALID_ARGUMENT;
    action.port = entry->port;
  }
  const bool known_flavor =
      flavor == 0 || flavor == x86_THREAD_STATE64 || flavor == THREAD_STATE_NONE;
  if (!known_flavor) return KERN_INVALID_ARGUMENT;
  for (size_t type = 1; type < EXC_TYPES_COUNT; ++type) {
    if (mask & (1u << type)) mach_double::Actions().at(type) = action;
  }
  return KERN_SUCCESS;
}

// The linker sends the statically linked objects' calls of sigaction here (--wrap).
int __wrap_sigaction(int signo, const struct sigaction* action, struct sigaction* old_action) {
  if (!mach_double::IsCaught(signo)) return __real_sigaction(signo, action, old_action);
  struct sigaction& believed = mach_double::Believed().at(static_cast<size_t>(signo));
  const struct sigaction before = believed;
  if (action) believed = *action;
  if (old_action) *old_action = before;
  return 0;
}

}  // extern "C"
