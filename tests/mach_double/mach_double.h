// The Mach stand-in: plays the macOS kernel, loader and a few libraries inside a Linux test
// process, so that the macOS sources run in the ordinary suite. include/ holds the platform's
// declarations; this header is what tests steer the stand-in with.
//
// One task: the process itself; a fork's child is a task of its own, with the exception ports of
// its parent, and ChildTask plays a program that the process started. All calls may come from any
// thread. The state is process-wide and is never reset: every test runs in a process of its own.
//
// The rules it keeps, with their sources and tests, are a table in docs/porting.md.
//
// Not played, because no source needs it: port sets, messages with descriptors sent by the process
// (only the kernel's carry any), exception behaviours that carry thread state (they can be
// registered, but a fault passes them by).
#ifndef TESTS_MACH_DOUBLE_MACH_DOUBLE_H_
#define TESTS_MACH_DOUBLE_MACH_DOUBLE_H_

#include <CoreFoundation/CoreFoundation.h>
#include <mach-o/dyld.h>
#include <mach/mach.h>
#include <mach/mach_time.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace mach_double {

// ---- Calls that fail on demand ----

enum class Call {
  kMachMsgSend,
  kMachMsgReceive,
  kPortAllocate,
  kPortInsertRight,
  kPortDeallocate,
  kPortDestroy,
  kPortModRefs,
  kGetExceptionPorts,
  kSetExceptionPorts,
  kTaskThreads,
  kThreadGetState,
  kVmReadOverwrite,
  kVmDeallocate,
  kHostInfo,
  kSysctl,         // returns -1 with the code in errno
  kPthreadCreate,  // the code is an errno value
  kThreadInfo,
  kProcPidInfo,  // returns 0 with the code in errno
  kHostStatistics,
  kTaskInfo,
  kTimebaseInfo,
  kSemaphoreCreate,  // gives null
  kSemaphoreWait,    // gives the code
  kStringCreate,     // gives null
  kMainBundle,       // gives null
  kCount
};

// The next call, after `skip` more that work, fails with `code` and has no other effect.
void FailOnce(Call call, int code, int skip = 0);
// Every call fails so until Heal.
void FailAlways(Call call, int code);
void Heal(Call call);
// How often it was called, failures included.
int CallCount(Call call);

// ---- Ports ----

// What the task holds under a name.
struct Rights {
  bool receive = false;
  int send = 0;
  int send_once = 0;
  int dead = 0;
};
Rights RightsOf(mach_port_name_t name);
// Messages waiting on the port whose receive right is `name`.
size_t QueuedMessages(mach_port_name_t name);
// Blocks until a thread waits in mach_msg for a message on `name`; false after 10 seconds.
bool WaitForReceiver(mach_port_name_t name);
// Makes the thread that waits on `name` return with `code`; false when none waits.
bool InterruptReceiver(mach_port_name_t name, mach_msg_return_t code);

// ---- Exceptions ----

struct ExceptionAction {
  mach_port_t port = MACH_PORT_NULL;
  exception_behavior_t behavior = 0;
  thread_state_flavor_t flavor = 0;
};
// The task's handler for one exception type (EXC_BAD_ACCESS, ...); no right is added.
ExceptionAction ExceptionActionOf(exception_type_t type);

// From now on SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGTRAP that the hardware raises become exception
// messages first. When no handler takes one, the action that the process has set with sigaction is
// carried out under the mask it has set (sigaction and pthread_sigmask are intercepted in
// everything that is linked statically). While the signal is blocked or ignored the instruction
// faults again.
void CatchHardwareFaults();

// The handler of the whole host, which is asked last.
void SetHostExceptionPort(exception_mask_t mask, mach_port_t port);

// Without it, a handler is given rights to thread and task that only read: other ports than those
// the process knows itself by. It is on at the start.
void SetDeveloperMode(bool on);

// A task that this one started: it has the exception ports that this one had at that moment.
class ChildTask {
 public:
  static constexpr int kPid = 99999;

  ChildTask();
  ~ChildTask();
  ChildTask(const ChildTask&) = delete;
  ChildTask& operator=(const ChildTask&) = delete;

  // Raises an exception on the task's thread and waits for the end of it, as RaiseException does.
  bool Raise(exception_type_t type, int64_t code, int64_t subcode) const;

 private:
  struct Kernels;
  std::unique_ptr<Kernels> kernels_;
};

// From now on abort() does what it did up to 10.14: it blocks everything but SIGABRT in the calling
// thread, and everything in the others.
void UseOldAbort();

// Raises an exception on the calling thread as the hardware would, without a signal after it: true
// when a handler replied success.
bool RaiseException(exception_type_t type, int64_t code, int64_t subcode);

// Called with the kernel's side of the story, on the faulting thread: "exception 1 sent" ("sent
// elsewhere" to a port of the parent's), "reply 5", "signal 11" ("stays pending" when blocked).
void ObserveFaults(std::function<void(const std::string&)> observer);

// ---- The process record ----

void SetTraced(bool traced);

// ---- Threads ----

// A thread that exists only in the stand-in, with fixed registers.
struct FixedThread {
  std::string name;
  bool has_pthread = true;
  std::optional<x86_thread_state64_t> state;  // none: thread_get_state fails
};
mach_port_t AddThread(const FixedThread& thread);
// Puts the calling thread on the task's list (as any call that asks for its port does).
mach_port_t ServeCurrentThread();
// Takes all threads off the list; what comes later is listed again.
void ForgetThreads();
// Fixes what thread_get_state gives for a real thread.
void FixThreadState(mach_port_t thread, const x86_thread_state64_t& state);
// The name that macOS gives for a thread, whatever this machine's kernel has.
void NameThread(mach_port_t thread, const std::string& name);

// ---- Images ----

// Maps a 64-bit Mach-O file as the loader would (no relocation, nothing is run) and lists it under
// `name` (the path when empty). False, with nothing listed, when the file is not one.
bool LoadImage(const std::string& path, const std::string& name = "");
// Lists an image whose header is in memory already. It must outlive the list.
void AddImage(const std::string& name, const mach_header* header, intptr_t slide);
// Lists an image without a name.
void AddNamelessImage(const mach_header* header, intptr_t slide);
void RemoveImage(const mach_header* header);
// Called before the loader is asked for an image's header, without its lock. Set while nobody asks.
void BeforeLoaderQuestions(std::function<void()> act);

// The loader's lock, held as by a thread that loads an image: questions about the list wait.
class LoaderLock {
 public:
  LoaderLock();
  ~LoaderLock();
  LoaderLock(const LoaderLock&) = delete;
  LoaderLock& operator=(const LoaderLock&) = delete;
};

// ---- Time ----

void SetTimebase(uint32_t numer, uint32_t denom);
// mach_absolute_time stands still at `ticks`; std::nullopt lets it run again (nanoseconds of the
// monotonic clock).
void SetAbsoluteTime(std::optional<uint64_t> ticks);

// ---- Host ----

void SetCpuType(cpu_type_t type);

// ---- Preferences ----

// The main bundle's identifier; std::nullopt: a bundle without one.
void SetBundleIdentifier(std::optional<std::string> identifier);
void SetMainBundleExists(bool exists);
// The preference of an application; std::nullopt removes it.
void SetBooleanPreference(const std::string& application, const std::string& key,
                          std::optional<bool> value);
// The key exists but holds no boolean.
void SetInvalidPreference(const std::string& application, const std::string& key);
// Core Foundation objects created and not yet released.
int LiveObjects();

}  // namespace mach_double

#endif  // TESTS_MACH_DOUBLE_MACH_DOUBLE_H_
