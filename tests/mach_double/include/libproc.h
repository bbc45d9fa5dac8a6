// Stand-in for the platform's <libproc.h>.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_LIBPROC_H_
#define TESTS_MACH_DOUBLE_INCLUDE_LIBPROC_H_

#include <stdint.h>

#define MAXTHREADNAMESIZE 64
#define PROC_PIDTHREADINFO 5

struct proc_threadinfo {
  uint64_t pth_user_time;
  uint64_t pth_system_time;
  int32_t pth_cpu_usage;
  int32_t pth_policy;
  int32_t pth_run_state;
  int32_t pth_flags;
  int32_t pth_sleep_time;
  int32_t pth_curpri;
  int32_t pth_priority;
  int32_t pth_maxpriority;
  char pth_name[MAXTHREADNAMESIZE];
};

extern "C" {
// How many bytes were written; 0, with errno set, for none.
int proc_pidinfo(int pid, int flavor, uint64_t arg, void* buffer, int buffersize);
}

#endif  // TESTS_MACH_DOUBLE_INCLUDE_LIBPROC_H_
