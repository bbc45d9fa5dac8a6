#include <mach-o/dyld.h>
#include <mach/mach.h>
#include <sys/sysctl.h>
#include <sys/time.h>
#include <unistd.h>

#include "media_core/biz_engine/crash_handler/machine/host/system_facts.h"
#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"

namespace CrashHandler::machine {
namespace {

constexpr char kVersionFile[] = "/System/Library/CoreServices/SystemVersion.plist";

// Every call for the host's port gives a right more.
class HostPort {
 public:
  HostPort() = default;
  ~HostPort() { mach_port_deallocate(mach_task_self(), port_); }
  HostPort(const HostPort&) = delete;
  HostPort& operator=(const HostPort&) = delete;

  host_t port() const { return port_; }

 private:
  const host_t port_ = mach_host_self();
};

bool HostFacts(host_basic_info_data_t* facts) {
  const HostPort host;
  mach_msg_type_number_t count = HOST_BASIC_INFO_COUNT;
  return host_info(host.port(), HOST_BASIC_INFO, reinterpret_cast<host_info_t>(facts), &count) ==
         KERN_SUCCESS;
}

uint64_t MsSince(const timeval& moment) {
  timeval now = {};
  if (moment.tv_sec == 0 || gettimeofday(&now, nullptr) != 0) return 0;
  const int64_t ms =
      (int64_t{now.tv_sec} - moment.tv_sec) * 1000 + (int64_t{now.tv_usec} - moment.tv_usec) / 1000;
  return ms > 0 ? static_cast<uint64_t>(ms) : 0;
}

uint64_t AvailableBytes() {
  const HostPort host;
  vm_statistics64_data_t statistics;
  mach_msg_type_number_t count = HOST_VM_INFO64_COUNT;
  const kern_return_t result = host_statistics64(
      host.port(), HOST_VM_INFO64, reinterpret_cast<host_info64_t>(&statistics), &count);
  if (result != KERN_SUCCESS) return 0;
  const uint64_t pages = uint64_t{statistics.free_count} + statistics.inactive_count;
  return pages * static_cast<uint64_t>(getpagesize());
}

}  // namespace

void ReadLastingFacts(LastingFacts* facts) {
  *facts = {};
  uint32_t room = sizeof facts->executable;
  if (_NSGetExecutablePath(facts->executable, &room) != 0) facts->executable[0] = '\0';
  char text[4096];
  if (ReadFileStart(kVersionFile, text, sizeof text)) {
    CopyQuoted(text, "<key>ProductVersion</key>", "<string>", "<", facts->product,
               sizeof facts->product);
  }
  host_basic_info_data_t host;
  if (HostFacts(&host)) facts->processors = static_cast<uint64_t>(host.avail_cpus);
}

void ReadMemoryFacts(MemoryFacts* facts) {
  *facts = {};
  host_basic_info_data_t host;
  if (HostFacts(&host)) facts->machine = host.max_mem;
  facts->available = AvailableBytes();
  mach_task_basic_info_data_t task;
  mach_msg_type_number_t count = MACH_TASK_BASIC_INFO_COUNT;
  if (task_info(mach_task_self(), MACH_TASK_BASIC_INFO, reinterpret_cast<task_info_t>(&task),
                &count) != KERN_SUCCESS) {
    return;
  }
  facts->resident = task.resident_size;
  facts->peak = task.resident_size_max;
  facts->reserved = task.virtual_size;
}

uint64_t SystemUptimeMs() {
  int name[] = {CTL_KERN, KERN_BOOTTIME};
  timeval booted = {};
  size_t size = sizeof booted;
  return sysctl(name, 2, &booted, &size, nullptr, 0) == 0 ? MsSince(booted) : 0;
}

uint64_t ProcessUptimeMs() {
  int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, getpid()};
  kinfo_proc record = {};
  size_t size = sizeof record;
  const bool known = sysctl(name, 4, &record, &size, nullptr, 0) == 0 && size == sizeof record;
  return known ? MsSince(record.kp_proc.p_starttime) : 0;
}

}  // namespace CrashHandler::machine
