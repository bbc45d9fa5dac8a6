// Stand-in for the platform's <mach/mach_error.h>.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_ERROR_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_ERROR_H_

#include <mach/kern_return.h>

typedef kern_return_t mach_error_t;

// A static text; never null.
extern "C" char* mach_error_string(mach_error_t code);

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_ERROR_H_
