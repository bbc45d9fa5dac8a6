// The platform's own additions to <unistd.h>.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_UNISTD_H_
#define TESTS_MACH_DOUBLE_INCLUDE_UNISTD_H_

#include_next <unistd.h>

extern "C" {

// Whether the program runs with rights that its caller has not.
int issetugid(void);
}

#endif  // TESTS_MACH_DOUBLE_INCLUDE_UNISTD_H_
