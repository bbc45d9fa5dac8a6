// Stand-in for the platform's <mach/kern_return.h>: the codes that this project's sources and tests
// name.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_KERN_RETURN_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_KERN_RETURN_H_

typedef int kern_return_t;
typedef int integer_t;
typedef unsigned int natural_t;
typedef int boolean_t;

#define KERN_SUCCESS 0
#define KERN_INVALID_ADDRESS 1
#define KERN_PROTECTION_FAILURE 2
#define KERN_NO_SPACE 3
#define KERN_INVALID_ARGUMENT 4
#define KERN_FAILURE 5
#define KERN_RESOURCE_SHORTAGE 6
#define KERN_NAME_EXISTS 13
#define KERN_ABORTED 14
#define KERN_INVALID_NAME 15
#define KERN_INVALID_TASK 16
#define KERN_INVALID_RIGHT 17
#define KERN_INVALID_VALUE 18
#define KERN_INVALID_CAPABILITY 20
#define KERN_RIGHT_EXISTS 21
#define KERN_INVALID_HOST 22
#define KERN_TERMINATED 37

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_KERN_RETURN_H_
