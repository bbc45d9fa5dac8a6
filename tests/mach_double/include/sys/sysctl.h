// Stand-in for the platform's <sys/sysctl.h>: the record of one process, and when the system
// started.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_SYS_SYSCTL_H_
#define TESTS_MACH_DOUBLE_INCLUDE_SYS_SYSCTL_H_

#include <stddef.h>
#include <sys/time.h>
#include <sys/types.h>

#define CTL_KERN 1
#define KERN_PROC 14
#define KERN_PROC_PID 1
#define KERN_BOOTTIME 21

#define P_TRACED 0x00000800

// Only what is read has a name; the rest keeps the platform's size and offsets.
struct extern_proc {
  struct timeval p_starttime;
  void* mach_double_head[2];
  int p_flag;
  char p_stat;
  pid_t p_pid;
  char mach_double_tail[252];
};

struct eproc {
  char mach_double_head[264];
  pid_t e_ppid;
  char mach_double_tail[84];
};

struct kinfo_proc {
  struct extern_proc kp_proc;
  struct eproc kp_eproc;
};

extern "C" int sysctl(int* name, u_int name_words, void* old, size_t* old_size, void* fresh,
                      size_t fresh_size);

#endif  // TESTS_MACH_DOUBLE_INCLUDE_SYS_SYSCTL_H_
