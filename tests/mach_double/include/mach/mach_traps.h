// Stand-in for the platform's <mach/mach_traps.h>.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_TRAPS_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_TRAPS_H_

#include <mach/port.h>

extern "C" {

// Takes a control or a read right.
kern_return_t pid_for_task(mach_port_name_t task, int* pid);
}

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_TRAPS_H_
