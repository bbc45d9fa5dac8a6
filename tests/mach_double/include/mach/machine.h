// Stand-in for the platform's <mach/machine.h>: processor types.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_MACHINE_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_MACHINE_H_

#include <mach/kern_return.h>

typedef integer_t cpu_type_t;
typedef integer_t cpu_subtype_t;
typedef integer_t cpu_threadtype_t;

#define CPU_ARCH_ABI64 0x01000000
#define CPU_TYPE_X86 ((cpu_type_t)7)
#define CPU_TYPE_X86_64 (CPU_TYPE_X86 | CPU_ARCH_ABI64)
#define CPU_TYPE_ARM ((cpu_type_t)12)
#define CPU_TYPE_ARM64 (CPU_TYPE_ARM | CPU_ARCH_ABI64)

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_MACHINE_H_
