// Stand-in for the platform's <mach/host_info.h>: the host's basic facts, and its memory.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_HOST_INFO_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_HOST_INFO_H_

#include <mach/machine.h>
#include <mach/message.h>
#include <stdint.h>

typedef mach_port_t host_t;
typedef integer_t* host_info_t;
typedef integer_t host_flavor_t;

#define HOST_BASIC_INFO 1

#pragma pack(push, 4)
struct host_basic_info {
  integer_t max_cpus;
  integer_t avail_cpus;
  natural_t memory_size;
  cpu_type_t cpu_type;
  cpu_subtype_t cpu_subtype;
  cpu_threadtype_t cpu_threadtype;
  integer_t physical_cpu;
  integer_t physical_cpu_max;
  integer_t logical_cpu;
  integer_t logical_cpu_max;
  uint64_t max_mem;
};
#pragma pack(pop)
typedef struct host_basic_info host_basic_info_data_t;
typedef struct host_basic_info* host_basic_info_t;

#define HOST_BASIC_INFO_COUNT \
  ((mach_msg_type_number_t)(sizeof(host_basic_info_data_t) / sizeof(integer_t)))

typedef integer_t* host_info64_t;

#define HOST_VM_INFO64 4

// Only what is read has a name; the rest keeps the platform's size and offsets.
struct vm_statistics64 {
  natural_t free_count;
  natural_t active_count;
  natural_t inactive_count;
  natural_t wire_count;
  uint64_t mach_double_tail[17];
};
typedef struct vm_statistics64 vm_statistics64_data_t;

#define HOST_VM_INFO64_COUNT \
  ((mach_msg_type_number_t)(sizeof(vm_statistics64_data_t) / sizeof(integer_t)))

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_HOST_INFO_H_
