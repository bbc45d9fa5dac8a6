// Stand-in for the platform's <mach/mach_time.h>. The tick count and its ratio are settable
// (mach_double.h).
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_TIME_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_TIME_H_

#include <mach/kern_return.h>
#include <stdint.h>

struct mach_timebase_info {
  uint32_t numer;
  uint32_t denom;
};
typedef struct mach_timebase_info* mach_timebase_info_t;
typedef struct mach_timebase_info mach_timebase_info_data_t;

extern "C" {
kern_return_t mach_timebase_info(mach_timebase_info_t info);
uint64_t mach_absolute_time(void);
}

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_TIME_H_
