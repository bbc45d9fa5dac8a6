// Stand-in for the platform's <mach/exception_types.h> and its x86 codes.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_EXCEPTION_TYPES_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_EXCEPTION_TYPES_H_

#include <mach/port.h>
#include <mach/thread_status.h>
#include <stdint.h>

typedef int exception_type_t;
typedef integer_t exception_data_type_t;
typedef int64_t mach_exception_data_type_t;
typedef int exception_behavior_t;
typedef unsigned int exception_mask_t;
typedef exception_mask_t* exception_mask_array_t;
typedef exception_behavior_t* exception_behavior_array_t;
typedef thread_state_flavor_t* exception_flavor_array_t;
typedef mach_port_t exception_handler_t;
typedef mach_port_t* exception_handler_array_t;

#define EXC_BAD_ACCESS 1
#define EXC_BAD_INSTRUCTION 2
#define EXC_ARITHMETIC 3
#define EXC_EMULATION 4
#define EXC_SOFTWARE 5
#define EXC_BREAKPOINT 6
#define EXC_GUARD 12
#define EXC_TYPES_COUNT 14

#define EXC_MASK_BAD_ACCESS (1 << EXC_BAD_ACCESS)
#define EXC_MASK_BAD_INSTRUCTION (1 << EXC_BAD_INSTRUCTION)
#define EXC_MASK_ARITHMETIC (1 << EXC_ARITHMETIC)
#define EXC_MASK_EMULATION (1 << EXC_EMULATION)
#define EXC_MASK_SOFTWARE (1 << EXC_SOFTWARE)
#define EXC_MASK_BREAKPOINT (1 << EXC_BREAKPOINT)
#define EXC_MASK_GUARD (1 << EXC_GUARD)

#define EXCEPTION_DEFAULT 1
#define EXCEPTION_STATE 2
#define EXCEPTION_STATE_IDENTITY 3
#define MACH_EXCEPTION_CODES 0x80000000

// First codes of the x86 processor's exceptions.
#define EXC_I386_DIV 1
#define EXC_I386_INVOP 1
#define EXC_I386_BPT 2
#define EXC_I386_GPFLT 13

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_EXCEPTION_TYPES_H_
