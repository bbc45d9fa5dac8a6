// Memory, process record, host and time.
#include <errno.h>
#include <mach-o/dyld.h>
#include <sys/mman.h>
#include <sys/sysctl.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <mutex>

#include "tests/mach_double/failures.h"
#include "tests/mach_double/ports.h"

namespace mach_double {
namespace {

std::atomic<bool> traced{false};
std::atomic<cpu_type_t> cpu_type{CPU_TYPE_X86};

std::mutex time_mutex;
mach_timebase_info_data_t timebase = {1, 1};
std::optional<uint64_t> fixed_ticks;

uintptr_t PageOf(uintptr_t address) {
  return address & ~(static_cast<uintptr_t>(sysconf(_SC_PAGESIZE)) - 1);
}

bool IsMapped(uintptr_t address) {
  unsigned char resident = 0;
  return mincore(reinterpret_cast<void*>(PageOf(address)), 1, &resident) == 0;
}

}  // namespace

void SetTraced(bool on) { traced = on; }
void SetCpuType(cpu_type_t type) { cpu_type = type; }

void SetTimebase(uint32_t numer, uint32_t denom) {
  const std::lock_guard<std::mutex> lock(time_mutex);
  timebase = {numer, denom};
}

void SetAbsoluteTime(std::optional<uint64_t> ticks) {
  const std::lock_guard<std::mutex> lock(time_mutex);
  fixed_ticks = ticks;
}

}  // namespace mach_double

using mach_double::Call;
using mach_double::FailureOf;

extern "C" {

// All of the range or nothing: a hole anywhere fails the call, though bytes before it may be
// written.
kern_return_t vm_read_overwrite(vm_map_t task, vm_address_t address, vm_size_t size,
                                vm_address_t data, vm_size_t* out_size) {
  if (const auto failure = FailureOf(Call::kVmReadOverwrite)) return *failure;
  if (task != mach_task_self()) return MACH_SEND_INVALID_DEST;
  const iovec local = {reinterpret_cast<void*>(data), size};
  const iovec remote = {reinterpret_cast<void*>(address), size};
  const ssize_t got = size == 0 ? 0 : process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
  if (got < 0 || static_cast<vm_size_t>(got) != size) {
    const uintptr_t stopped = address + static_cast<uintptr_t>(got > 0 ? got : 0);
    return mach_double::IsMapped(stopped) ? KERN_PROTECTION_FAILURE : KERN_INVALID_ADDRESS;
  }
  *out_size = size;
  return KERN_SUCCESS;
}

kern_return_t vm_deallocate(vm_map_t task, vm_address_t address, vm_size_t size) {
  if (const auto failure = FailureOf(Call::kVmDeallocate)) return *failure;
  if (task != mach_task_self()) return MACH_SEND_INVALID_DEST;
  if (size == 0) return KERN_SUCCESS;
  const bool gone = munmap(reinterpret_cast<void*>(address), size) == 0;
  return gone ? KERN_SUCCESS : KERN_INVALID_ARGUMENT;
}

namespace {

constexpr int64_t kBootedSecondsAgo = 3600;
constexpr int64_t kStartedSecondsAgo = 60;

timeval SecondsAgo(int64_t seconds) {
  timeval now = {};
  gettimeofday(&now, nullptr);
  now.tv_sec -= seconds;
  return now;
}

}  // namespace

// When the system started (an hour ago), and the record of this very process: four words, CTL_KERN,
// KERN_PROC, KERN_PROC_PID and its number.
int sysctl(int* name, u_int name_words, void* old, size_t* old_size, void* /*fresh*/,
           size_t /*fresh_size*/) {
  if (const auto failure = FailureOf(Call::kSysctl)) {
    errno = *failure;
    return -1;
  }
  if (name_words == 2 && name[0] == CTL_KERN && name[1] == KERN_BOOTTIME) {
    const timeval booted = SecondsAgo(kBootedSecondsAgo);
    std::memcpy(old, &booted, sizeof(booted));
    *old_size = sizeof(booted);
    return 0;
  }
  if (name_words != 4 || name[0] != CTL_KERN || name[1] != KERN_PROC || name[2] != KERN_PROC_PID) {
    errno = ENOENT;
    return -1;
  }
  if (name[3] != getpid()) {  // no such process: success, with nothing
    *old_size = 0;
    return 0;
  }
  kinfo_proc record = {};
  record.kp_proc.p_flag = mach_double::traced ? P_TRACED : 0;
  record.kp_proc.p_pid = getpid();
  record.kp_proc.p_starttime = SecondsAgo(kStartedSecondsAgo);
  record.kp_eproc.e_ppid = getppid();
  if (*old_size < sizeof(record)) {
    errno = ENOMEM;
    return -1;
  }
  std::memcpy(old, &record, sizeof(record));
  *old_size = sizeof(record);
  return 0;
}

mach_port_t mach_host_self(void) {
  static auto* const port = new mach_double::PortRef(mach_double::MakeKernelPort());
  mach_double::PortSpace& space = mach_double::PortSpace::Get();
  const std::lock_guard<std::mutex> lock(space.mutex());
  return space.AddSend(*port);
}

kern_return_t host_info(host_t host, host_flavor_t flavor, host_info_t info,
                        mach_msg_type_number_t* count) {
  if (const auto failure = FailureOf(Call::kHostInfo)) return *failure;
  if (host == MACH_PORT_NULL) return MACH_SEND_INVALID_DEST;
  if (flavor != HOST_BASIC_INFO) return KERN_INVALID_ARGUMENT;
  if (*count < HOST_BASIC_INFO_COUNT) return KERN_FAILURE;
  host_basic_info_data_t facts = {};
  facts.max_cpus = facts.avail_cpus = static_cast<integer_t>(sysconf(_SC_NPROCESSORS_ONLN));
  facts.cpu_type = mach_double::cpu_type;
  facts.max_mem = 1ull << 33;
  std::memcpy(info, &facts, sizeof(facts));
  *count = HOST_BASIC_INFO_COUNT;
  return KERN_SUCCESS;
}

// Of 1000 pages that are free, 500 that are inactive.
kern_return_t host_statistics64(host_t host, host_flavor_t flavor, host_info64_t info,
                                mach_msg_type_number_t* count) {
  if (const auto failure = FailureOf(Call::kHostStatistics)) return *failure;
  if (host == MACH_PORT_NULL) return MACH_SEND_INVALID_DEST;
  if (flavor != HOST_VM_INFO64) return KERN_INVALID_ARGUMENT;
  if (*count < HOST_VM_INFO64_COUNT) return KERN_FAILURE;
  vm_statistics64_data_t statistics = {};
  statistics.free_count = 1000;
  statistics.inactive_count = 500;
  std::memcpy(info, &statistics, sizeof(statistics));
  *count = HOST_VM_INFO64_COUNT;
  return KERN_SUCCESS;
}

// Of 1 MiB in memory, 2 MiB at the most, 1 GiB of addresses.
kern_return_t task_info(task_t task, task_flavor_t flavor, task_info_t info,
                        mach_msg_type_number_t* count) {
  if (const auto failure = FailureOf(Call::kTaskInfo)) return *failure;
  if (task != mach_task_self()) return MACH_SEND_INVALID_DEST;
  if (flavor != MACH_TASK_BASIC_INFO || *count < MACH_TASK_BASIC_INFO_COUNT) {
    return KERN_INVALID_ARGUMENT;
  }
  mach_task_basic_info_data_t facts = {};
  facts.resident_size = 1u << 20;
  facts.resident_size_max = 1u << 21;
  facts.virtual_size = 1u << 30;
  std::memcpy(info, &facts, sizeof(facts));
  *count = MACH_TASK_BASIC_INFO_COUNT;
  return KERN_SUCCESS;
}

int _NSGetExecutablePath(char* path, uint32_t* room) {
  char own[4096];
  const ssize_t length = readlink("/proc/self/exe", own, sizeof(own));
  if (length < 0 || static_cast<uint32_t>(length) + 1 > *room) {
    *room = static_cast<uint32_t>(length + 1);
    return -1;
  }
  std::memcpy(path, own, static_cast<size_t>(length));
  path[length] = '\0';
  return 0;
}

kern_return_t mach_timebase_info(mach_timebase_info_t info) {
  if (const auto failure = FailureOf(Call::kTimebaseInfo)) return *failure;
  const std::lock_guard<std::mutex> lock(mach_double::time_mutex);
  *info = mach_double::timebase;
  return KERN_SUCCESS;
}

uint64_t mach_absolute_time(void) {
  const std::lock_guard<std::mutex> lock(mach_double::time_mutex);
  if (mach_double::fixed_ticks) return *mach_double::fixed_ticks;
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000000000u + static_cast<uint64_t>(now.tv_nsec);
}

}  // extern "C"

// The programs of the tests run with their caller's rights.
extern "C" int issetugid() { return 0; }
