// Crashes where the report has no place: permissions, disks, descriptors.
#include <fcntl.h>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

constexpr rlim_t kFewDescriptors = 40;
constexpr rlim_t kLittleRoom = 1000;

// The permissions of files count for root too, afterwards.
void GiveUpCapabilities() {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct none[2] = {};
  Require(syscall(SYS_capset, &header, none) == 0);
}

SCENARIO(FaultWithoutCapabilities) {
  GiveUpCapabilities();
  WriteToNull();
}

// As for an ordinary user beside the root of the file system, whoever runs this.
SCENARIO(FaultWithoutTheRightToMakeDirectories) {
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_mkdir, 1, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_mkdirat, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EACCES),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog program = {sizeof rules / sizeof *rules, rules};
  Require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
          prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0);
  Require(mkdir("x", 0755) != 0 && errno == EACCES);
  WriteToNull();
}

SCENARIO(FaultInAnotherFolder) {
  Require(mkdir("elsewhere", 0755) == 0 && chdir("elsewhere") == 0);
  WriteToNull();
}

SCENARIO(FaultInARemovedFolder) {
  Require(mkdir("removed", 0755) == 0 && chdir("removed") == 0 && rmdir("../removed") == 0);
  WriteToNull();
}

void StartBusyThread() {
  static std::atomic<bool> runs{false};
  std::thread([] {
    runs = true;
    Spin();
  }).detach();
  while (!runs) SleepMs(1);
}

void LimitFileSize() {
  const rlimit limit{kLittleRoom, kLittleRoom};
  Require(setrlimit(RLIMIT_FSIZE, &limit) == 0);
}

SCENARIO(FaultAtTheLimitOfFileSizes) {
  LimitFileSize();
  WriteToNull();
}

SCENARIO(FaultAtTheIgnoredLimitOfFileSizes) {
  signal(SIGXFSZ, SIG_IGN);
  FaultAtTheLimitOfFileSizes();
}

SCENARIO(FaultAtTheHandledLimitOfFileSizes) {
  signal(SIGXFSZ, [](int) { _exit(kScenarioFailed); });
  FaultAtTheLimitOfFileSizes();
}

bool WriteTo(const char* path, const std::string& text) {
  const int fd = open(path, O_WRONLY);
  const bool written =
      fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  if (fd >= 0) close(fd);
  return written;
}

// Namespaces in which this user, and nobody else, may mount.
bool MayMount() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && WriteTo("/proc/self/setgroups", "deny") &&
         WriteTo("/proc/self/uid_map", user + " " + user + " 1") &&
         WriteTo("/proc/self/gid_map", group + " " + group + " 1");
}

// A directory that is a disk of its own, where namespaces are allowed.
bool MakeDisk(const char* directory, const char* size) {
  Require(mkdir(directory, 0755) == 0);
  const bool mounted = MayMount() && mount("tmpfs", directory, "tmpfs", 0, size) == 0;
  Say(mounted ? "note: a file system as the disk" : "note: the limit of file sizes as the disk");
  return mounted;
}

// One page, which is less than a report needs. Where namespaces are forbidden the limit of file
// sizes takes the disk's part, but not in long mode.
void UseASmallDisk(const char* directory) {
  if (MakeDisk(directory, "size=4k")) return;
  Require(getenv("ORU_TEST_LONG") == nullptr);
  signal(SIGXFSZ, SIG_IGN);
  LimitFileSize();
}

// Nobody else sees the disk: another process of its own looks at what is left.
SCENARIO(FaultOnAFullDisk) {
  UseASmallDisk("small");
  Handler()->SetCrashDumpDirPath("small");
  const pid_t child = fork();
  if (child == 0) WriteToNull();
  int status = 0;
  Require(waitpid(child, &status, 0) == child && WTERMSIG(status) == SIGSEGV);
  // Removed only if it is empty.
  Require(rmdir("small/1.0") == 0);
  _exit(8);
}

// The draft takes most of it; nobody else sees the disk.
SCENARIO(FaultOnADiskForOneReport) {
  Require(MakeDisk("one", "size=1536k") || getenv("ORU_TEST_LONG") == nullptr);
  Handler()->SetCrashDumpDirPath("one");
  const pid_t child = fork();
  if (child == 0) {
    StartBusyThread();
    WriteToNull();
  }
  int status = 0;
  Require(waitpid(child, &status, 0) == child && WTERMSIG(status) == SIGSEGV);
  const char* const take =
      "mkdir -p dumps && find one -mindepth 1 -maxdepth 1 -exec mv {} dumps ';'";
  _exit(system(take) == 0 ? 8 : kScenarioFailed);
}

enum class Limit { kMayBeRaised, kFinal };

void TakeFreeDescriptors() {
  while (dup(STDERR_FILENO) >= 0) {
  }
}

void UseAllDescriptors(Limit kind) {
  rlimit limit{};
  Require(getrlimit(RLIMIT_NOFILE, &limit) == 0);
  limit.rlim_cur = kFewDescriptors;
  if (kind == Limit::kFinal) limit.rlim_max = kFewDescriptors;
  Require(setrlimit(RLIMIT_NOFILE, &limit) == 0);
  TakeFreeDescriptors();
}

SCENARIO(FaultWithoutAFreeDescriptor) {
  UseAllDescriptors(Limit::kFinal);
  WriteToNull();
}

// As a host does that becomes a daemon.
SCENARIO(FaultWithAllDescriptorsClosed) {
  closefrom(STDERR_FILENO + 1);
  WriteToNull();
}

SCENARIO(FaultWithoutAFreeDescriptorAfterClosingAll) {
  closefrom(STDERR_FILENO + 1);
  UseAllDescriptors(Limit::kMayBeRaised);
  WriteToNull();
}

SCENARIO(FaultWithoutAnyDescriptorToHave) {
  closefrom(STDERR_FILENO + 1);
  FaultWithoutAFreeDescriptor();
}

// As a server does that accepts connections while it can.
SCENARIO(FaultWhileAnotherTakesEveryDescriptor) {
  std::atomic<bool> running{false};
  std::thread([&running] {
    UseAllDescriptors(Limit::kMayBeRaised);
    for (;; running = true) TakeFreeDescriptors();
  }).detach();
  while (!running) SleepMs(1);
  WriteToNull();
}

}  // namespace

void UseAllDescriptors() { UseAllDescriptors(Limit::kFinal); }

void LeaveAddressSpace(size_t bytes) {
  FILE* const file = fopen("/proc/self/statm", "re");
  unsigned long pages = 0;
  Require(file != nullptr && fscanf(file, "%lu", &pages) == 1);
  fclose(file);
  const rlim_t size = pages * static_cast<unsigned long>(getpagesize()) + bytes;
  const rlimit limit{size, size};
  Require(setrlimit(RLIMIT_AS, &limit) == 0);
}

}  // namespace crash_test
