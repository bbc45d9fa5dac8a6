// Reads of the own memory where the system refuses the usual way, in children.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stddef.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <iterator>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/memory/memory_linux.h"
#include "tests/support/child_process.h"
#include "tests/support/files.h"

namespace CrashHandler::machine {
namespace {

using oru_test::NextDescriptor;

// From now on the system call has that result (an action of a filter).
bool Filter(unsigned call, unsigned action) {
  struct sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1), BPF_STMT(BPF_RET | BPF_K, action),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const struct sock_fprog program = {std::size(filter), filter};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

unsigned Refusal(int error) { return SECCOMP_RET_ERRNO | static_cast<unsigned>(error); }

// Good and bad addresses give what they give everywhere; 0 when they do.
int CheckReads() {
  static const char kText[] = "what is readable";
  char copy[sizeof(kText)] = "";
  if (mach_copyMem(kText, copy, sizeof(copy)) != 0 || memcmp(kText, copy, sizeof(copy)) != 0) {
    return 1;
  }
  constexpr size_t kPage = 4096;
  auto* pages = static_cast<char*>(
      mmap(nullptr, 2 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0));
  munmap(pages + kPage, kPage);
  if (mach_copyMem(pages + kPage - 8, copy, 8) != 0) return 2;
  if (mach_copyMem(pages + kPage - 8, copy, 9) == 0) return 3;
  if (mach_copyMem(nullptr, copy, 1) == 0) return 4;
  if (mach_copyMem(reinterpret_cast<const void*>(UINTPTR_MAX - 3), copy, 8) == 0) return 5;
  return 0;
}

TEST(MemoryWayTest, WithoutAFilterOneCallReads) {
  const auto result = oru_test::RunInFork([] {
    ChooseMemoryWay();
    return CurrentMemoryWay() == MemoryWay::kCall ? CheckReads() : 9;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(MemoryWayTest, AFilterThatKillsForTheCallNeverSeesIt) {
  const auto result = oru_test::RunInFork([] {
    if (!Filter(SYS_process_vm_readv, SECCOMP_RET_KILL_PROCESS)) return 8;
    return CheckReads();
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(MemoryWayTest, AFilterThatCameAfterTheInstallationIsNoticedWhenACrashBegins) {
  const auto result = oru_test::RunInFork([] {
    ChooseMemoryWay();
    if (CheckReads() != 0) return 7;
    if (!Filter(SYS_process_vm_readv, SECCOMP_RET_KILL_PROCESS)) return 8;
    ChooseMemoryWay();
    return CheckReads();
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

class RefusedTest : public testing::TestWithParam<int> {};

TEST_P(RefusedTest, TheCallIsReplaced) {
  const int error = GetParam();
  const auto result = oru_test::RunInFork([error] {
    ChooseMemoryWay();
    if (!Filter(SYS_process_vm_readv, Refusal(error))) return 8;
    return CheckReads();
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST_P(RefusedTest, TheFileToo) {
  const int error = GetParam();
  const auto result = oru_test::RunInFork([error] {
    ChooseMemoryWay();
    if (!Filter(SYS_process_vm_readv, Refusal(error)) || !Filter(SYS_openat, Refusal(error))) {
      return 8;
    }
    return CheckReads();
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

INSTANTIATE_TEST_SUITE_P(Errors, RefusedTest, testing::Values(EPERM, EACCES, ENOSYS));

// In a child: under a filter, with what a crash keeps open.
bool ReadAsACrashDoes() {
  if (!Filter(SYS_process_vm_readv, SECCOMP_RET_KILL_PROCESS)) return false;
  ChooseMemoryWay();
  KeepMemoryOpen();
  return CurrentMemoryWay() == MemoryWay::kFile;
}

TEST(MemoryWayTest, InACrashTheFileIsOpenedOnce) {
  const auto result = oru_test::RunInFork([] {
    if (!ReadAsACrashDoes() || !Filter(SYS_openat, SECCOMP_RET_KILL_PROCESS)) return 8;
    return CheckReads();
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(MemoryWayTest, TheFileTakesNoDescriptorAfterTheCrash) {
  const auto result = oru_test::RunInFork([] {
    const int before = NextDescriptor();
    if (!ReadAsACrashDoes()) return 8;
    if (NextDescriptor() == before) return 7;
    KeepMemoryOpen();
    CloseMemory();
    if (NextDescriptor() != before) return 6;
    return CheckReads();
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(MemoryWayTest, AHostThatClosesEveryDescriptorHindersNoRead) {
  const auto result = oru_test::RunInFork([] {
    const int file = NextDescriptor();
    if (!ReadAsACrashDoes() || close(file) != 0) return 8;
    if (CheckReads() != 0) return 7;
    // Other files in its place.
    int ends[2];
    for (const char* path : {"/proc/self/exe", "/proc/self/cmdline"}) {
      if (open(path, O_RDONLY | O_CLOEXEC) != file) return 6;
      if (CheckReads() != 0) return 5;
      close(file);
    }
    if (pipe(ends) != 0 || ends[0] != file) return 4;
    if (CheckReads() != 0) return 3;
    CloseMemory();
    return fcntl(ends[0], F_GETFD) >= 0 ? 0 : 2;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(MemoryWayTest, AChildForkedInACrashReadsItsOwnMemory) {
  const auto result = oru_test::RunInFork([] {
    static volatile int value;
    value = 1;
    if (!ReadAsACrashDoes()) return 8;
    const pid_t child = fork();
    if (child == 0) {
      value = 2;
      int seen = 0;
      mach_copyMem(const_cast<int*>(&value), &seen, sizeof(seen));
      _exit(seen);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && status == 2 << 8 ? 0 : 1;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(MemoryWayTest, WithoutAProcessFileSystemReadsAreCheckedPageByPage) {
  if (getuid() != 0) GTEST_SKIP() << "only a superuser may change the root";
  const auto result = oru_test::RunInFork([] {
    char folder[] = "/tmp/no_proc_XXXXXX";
    if (mkdtemp(folder) == nullptr || chroot(folder) != 0) return 8;
    ChooseMemoryWay();
    return CurrentMemoryWay() == MemoryWay::kChecked ? CheckReads() : 9;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

TEST(MemoryWayTest, AForkedChildReadsItsOwnMemory) {
  ChooseMemoryWay();
  static volatile int value;
  value = 1;
  int copy = 0;
  ASSERT_EQ(mach_copyMem(const_cast<int*>(&value), &copy, sizeof(copy)), 0);
  const auto result = oru_test::RunInFork([] {
    value = 2;
    int seen = 0;
    mach_copyMem(const_cast<int*>(&value), &seen, sizeof(seen));
    return seen == 2 ? 0 : 1;
  });
  EXPECT_EQ(result.Ending(), "exit 0");
}

}  // namespace
}  // namespace CrashHandler::machine
