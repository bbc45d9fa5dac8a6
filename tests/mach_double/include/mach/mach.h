// Stand-in for the platform's <mach/mach.h>: the calls on ports, tasks, threads, memory and host
// that this project's sources make, with the platform's types and values. tests/mach_double/*.cc
// implement them.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_H_

#include <mach/exception_types.h>
#include <mach/host_info.h>
#include <mach/kern_return.h>
#include <mach/mach_error.h>
#include <mach/mach_traps.h>
#include <mach/machine.h>
#include <mach/message.h>
#include <mach/port.h>
#include <mach/thread_info.h>
#include <mach/thread_status.h>

typedef mach_port_t task_t;
typedef mach_port_t task_inspect_t;
typedef mach_port_t ipc_space_t;
typedef mach_port_t vm_map_t;
typedef mach_port_t thread_t;
typedef mach_port_t thread_act_t;
typedef mach_port_t thread_inspect_t;
typedef thread_act_t* thread_act_array_t;
typedef uintptr_t vm_offset_t;
typedef vm_offset_t vm_address_t;
typedef uintptr_t vm_size_t;
typedef vm_address_t pointer_t;
typedef integer_t* task_info_t;
typedef natural_t task_flavor_t;

#define MACH_TASK_BASIC_INFO 20

#pragma pack(push, 4)
struct mach_task_basic_info {
  uint64_t virtual_size;
  uint64_t resident_size;
  uint64_t resident_size_max;
  integer_t mach_double_tail[6];
};
#pragma pack(pop)
typedef struct mach_task_basic_info mach_task_basic_info_data_t;

#define MACH_TASK_BASIC_INFO_COUNT (sizeof(mach_task_basic_info_data_t) / sizeof(natural_t))

extern "C" {

extern mach_port_t mach_task_self_;
#define mach_task_self() mach_task_self_

// A send right more on every call.
mach_port_t mach_thread_self(void);
mach_port_t mach_host_self(void);

kern_return_t mach_port_allocate(ipc_space_t task, mach_port_right_t right, mach_port_name_t* name);
kern_return_t mach_port_insert_right(ipc_space_t task, mach_port_name_t name, mach_port_t poly,
                                     mach_msg_type_name_t disposition);
kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name);
kern_return_t mach_port_mod_refs(ipc_space_t task, mach_port_name_t name, mach_port_right_t right,
                                 mach_port_delta_t delta);
kern_return_t mach_port_destroy(ipc_space_t task, mach_port_name_t name);

kern_return_t task_threads(task_inspect_t task, thread_act_array_t* list,
                           mach_msg_type_number_t* count);
// The counts are written, never read: they need not hold the arrays' capacity.
kern_return_t task_get_exception_ports(task_t task, exception_mask_t mask,
                                       exception_mask_array_t masks, mach_msg_type_number_t* count,
                                       exception_handler_array_t ports,
                                       exception_behavior_array_t behaviors,
                                       exception_flavor_array_t flavors);
kern_return_t task_set_exception_ports(task_t task, exception_mask_t mask, mach_port_t port,
                                       exception_behavior_t behavior, thread_state_flavor_t flavor);
kern_return_t thread_set_exception_ports(thread_act_t thread, exception_mask_t mask,
                                         mach_port_t port, exception_behavior_t behavior,
                                         thread_state_flavor_t flavor);
kern_return_t thread_get_state(thread_act_t thread, thread_state_flavor_t flavor,
                               thread_state_t state, mach_msg_type_number_t* count);

kern_return_t thread_info(thread_inspect_t thread, thread_flavor_t flavor, thread_info_t info,
                          mach_msg_type_number_t* count);

kern_return_t vm_read_overwrite(vm_map_t task, vm_address_t address, vm_size_t size,
                                vm_address_t data, vm_size_t* out_size);
kern_return_t vm_deallocate(vm_map_t task, vm_address_t address, vm_size_t size);

kern_return_t host_info(host_t host, host_flavor_t flavor, host_info_t info,
                        mach_msg_type_number_t* count);
kern_return_t host_statistics64(host_t host, host_flavor_t flavor, host_info64_t info,
                                mach_msg_type_number_t* count);
kern_return_t task_info(task_t task, task_flavor_t flavor, task_info_t info,
                        mach_msg_type_number_t* count);
}

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_MACH_H_
