// Stand-in for the platform's <mach/port.h>.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_PORT_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_PORT_H_

#include <mach/kern_return.h>

typedef natural_t mach_port_name_t;
typedef mach_port_name_t mach_port_t;
typedef natural_t mach_port_right_t;
typedef integer_t mach_port_delta_t;

#define MACH_PORT_NULL 0
#define MACH_PORT_DEAD ((mach_port_name_t)~0)
#define MACH_PORT_VALID(name) (((name) != MACH_PORT_NULL) && ((name) != MACH_PORT_DEAD))

#define MACH_PORT_RIGHT_SEND ((mach_port_right_t)0)
#define MACH_PORT_RIGHT_RECEIVE ((mach_port_right_t)1)

#define MACH_PORT_QLIMIT_DEFAULT 5

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_PORT_H_
