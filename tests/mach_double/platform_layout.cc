// Values and layouts of the platform that the stand-in's headers must repeat. Compiled against the
// stand-in with the tests, and against a real SDK by scripts/build-macos: both must agree with
// every line. What depends on the processor is in platform_layout_x86_64.cc and _arm64.cc.
#include <libproc.h>
#include <mach-o/dyld.h>
#include <mach-o/loader.h>
#include <mach-o/nlist.h>
#include <mach/mach.h>
#include <mach/mach_time.h>
#include <stddef.h>
#include <sys/sysctl.h>

#define SAME(expression, value) static_assert((expression) == (value), #expression)

// Ports and messages.
SAME(sizeof(mach_port_t), 4);
SAME(MACH_PORT_NULL, 0);
SAME(MACH_PORT_RIGHT_RECEIVE, 1u);
SAME(MACH_PORT_QLIMIT_DEFAULT, 5);
SAME(sizeof(mach_msg_header_t), 24);
SAME(offsetof(mach_msg_header_t, msgh_bits), 0);
SAME(offsetof(mach_msg_header_t, msgh_size), 4);
SAME(offsetof(mach_msg_header_t, msgh_remote_port), 8);
SAME(offsetof(mach_msg_header_t, msgh_local_port), 12);
SAME(offsetof(mach_msg_header_t, msgh_voucher_port), 16);
SAME(offsetof(mach_msg_header_t, msgh_id), 20);
SAME(sizeof(mach_msg_body_t), 4);
SAME(sizeof(mach_msg_port_descriptor_t), 12);
SAME(offsetof(mach_msg_port_descriptor_t, name), 0);
SAME(sizeof(mach_msg_trailer_t), 8);
SAME(sizeof(NDR_record_t), 8);
SAME(offsetof(NDR_record_t, int_rep), 4);
SAME(MACH_MSGH_BITS_COMPLEX, 0x80000000u);
SAME(MACH_MSGH_BITS(0x13, 0x15), 0x1513);
SAME(MACH_MSG_TYPE_MOVE_SEND, 17);
SAME(MACH_MSG_TYPE_MOVE_SEND_ONCE, 18);
SAME(MACH_MSG_TYPE_COPY_SEND, 19);
SAME(MACH_MSG_TYPE_MAKE_SEND, 20);
SAME(MACH_MSG_TYPE_MAKE_SEND_ONCE, 21);
SAME(MACH_MSG_TYPE_PORT_SEND, 17);
SAME(MACH_MSG_TYPE_PORT_SEND_ONCE, 18);
SAME(MACH_MSG_PORT_DESCRIPTOR, 0);
SAME(MACH_SEND_MSG, 0x1);
SAME(MACH_RCV_MSG, 0x2);
SAME(MACH_RCV_LARGE, 0x4);
SAME(MACH_SEND_TIMEOUT, 0x10);
SAME(MACH_RCV_TIMEOUT, 0x100);
SAME(MACH_MSG_TIMEOUT_NONE, 0u);
SAME(MACH_MSG_SUCCESS, 0);
SAME(MACH_SEND_INVALID_DATA, 0x10000002);
SAME(MACH_SEND_INVALID_DEST, 0x10000003);
SAME(MACH_SEND_TIMED_OUT, 0x10000004);
SAME(MACH_SEND_INTERRUPTED, 0x10000007);
SAME(MACH_SEND_MSG_TOO_SMALL, 0x10000008);
SAME(MACH_SEND_INVALID_REPLY, 0x10000009);
SAME(MACH_SEND_INVALID_RIGHT, 0x1000000a);
SAME(MACH_SEND_INVALID_TYPE, 0x1000000f);
SAME(MACH_SEND_INVALID_HEADER, 0x10000010);
SAME(MACH_RCV_INVALID_NAME, 0x10004002);
SAME(MACH_RCV_TIMED_OUT, 0x10004003);
SAME(MACH_RCV_TOO_LARGE, 0x10004004);
SAME(MACH_RCV_INTERRUPTED, 0x10004005);
SAME(MACH_RCV_PORT_DIED, 0x10004009);

// Kernel codes.
SAME(KERN_SUCCESS, 0);
SAME(KERN_INVALID_ADDRESS, 1);
SAME(KERN_PROTECTION_FAILURE, 2);
SAME(KERN_NO_SPACE, 3);
SAME(KERN_INVALID_ARGUMENT, 4);
SAME(KERN_FAILURE, 5);
SAME(KERN_RESOURCE_SHORTAGE, 6);
SAME(KERN_NAME_EXISTS, 13);
SAME(KERN_INVALID_NAME, 15);
SAME(KERN_INVALID_TASK, 16);
SAME(KERN_INVALID_RIGHT, 17);
SAME(KERN_INVALID_VALUE, 18);
SAME(KERN_INVALID_CAPABILITY, 20);
SAME(KERN_RIGHT_EXISTS, 21);
SAME(KERN_INVALID_HOST, 22);
SAME(KERN_TERMINATED, 37);

// Exceptions.
SAME(EXC_BAD_ACCESS, 1);
SAME(EXC_BAD_INSTRUCTION, 2);
SAME(EXC_ARITHMETIC, 3);
SAME(EXC_EMULATION, 4);
SAME(EXC_SOFTWARE, 5);
SAME(EXC_BREAKPOINT, 6);
SAME(EXC_GUARD, 12);
SAME(EXC_TYPES_COUNT, 14);
SAME(EXC_MASK_BAD_ACCESS | EXC_MASK_BAD_INSTRUCTION | EXC_MASK_ARITHMETIC | EXC_MASK_SOFTWARE |
         EXC_MASK_BREAKPOINT,
     0x6e);
SAME(EXCEPTION_DEFAULT, 1);
SAME(EXCEPTION_STATE, 2);
SAME(EXCEPTION_STATE_IDENTITY, 3);
SAME(static_cast<unsigned>(MACH_EXCEPTION_CODES), 0x80000000u);

// Process record.
SAME(CTL_KERN, 1);
SAME(KERN_PROC, 14);
SAME(KERN_PROC_PID, 1);
SAME(P_TRACED, 0x800);
SAME(sizeof(kinfo_proc), 648);
SAME(sizeof(extern_proc), 296);
SAME(offsetof(kinfo_proc, kp_proc.p_starttime), 0);
SAME(sizeof(timeval), 16);
SAME(CTL_KERN, 1);
SAME(KERN_BOOTTIME, 21);
SAME(offsetof(kinfo_proc, kp_proc.p_flag), 32);
SAME(offsetof(kinfo_proc, kp_proc.p_pid), 40);
SAME(offsetof(kinfo_proc, kp_eproc.e_ppid), 560);

// What is known of a thread.
SAME(THREAD_IDENTIFIER_INFO, 4);
SAME(sizeof(thread_identifier_info_data_t), 24);
SAME(offsetof(thread_identifier_info_data_t, thread_handle), 8);
SAME(PROC_PIDTHREADINFO, 5);
SAME(sizeof(proc_threadinfo), 112);
SAME(offsetof(proc_threadinfo, pth_name), 48);

// Host and time.
SAME(HOST_BASIC_INFO, 1);
SAME(sizeof(host_basic_info_data_t), 48);
SAME(offsetof(host_basic_info_data_t, cpu_type), 12);
SAME(offsetof(host_basic_info_data_t, max_mem), 40);
SAME(HOST_VM_INFO64, 4);
SAME(sizeof(vm_statistics64_data_t), 152);
SAME(offsetof(vm_statistics64_data_t, free_count), 0);
SAME(offsetof(vm_statistics64_data_t, inactive_count), 8);
SAME(MACH_TASK_BASIC_INFO, 20);
SAME(sizeof(mach_task_basic_info_data_t), 48);
SAME(offsetof(mach_task_basic_info_data_t, virtual_size), 0);
SAME(offsetof(mach_task_basic_info_data_t, resident_size), 8);
SAME(offsetof(mach_task_basic_info_data_t, resident_size_max), 16);
SAME(HOST_BASIC_INFO_COUNT, 12u);
SAME(CPU_TYPE_X86, 7);
SAME(CPU_TYPE_X86_64, 0x1000007);
SAME(CPU_TYPE_ARM, 12);
SAME(CPU_TYPE_ARM64, 0x100000c);
SAME(sizeof(mach_timebase_info_data_t), 8);

// Images.
SAME(MH_MAGIC, 0xfeedface);
SAME(MH_CIGAM, 0xcefaedfe);
SAME(MH_MAGIC_64, 0xfeedfacf);
SAME(MH_CIGAM_64, 0xcffaedfe);
SAME(MH_EXECUTE, 2);
SAME(MH_DYLIB, 6);
SAME(MH_BUNDLE, 8);
SAME(LC_SEGMENT, 1);
SAME(LC_SYMTAB, 2);
SAME(LC_SEGMENT_64, 25);
SAME(LC_UUID, 27);
SAME(sizeof(mach_header), 28);
SAME(sizeof(mach_header_64), 32);
SAME(sizeof(segment_command), 56);
SAME(sizeof(segment_command_64), 72);
SAME(offsetof(segment_command_64, vmaddr), 24);
SAME(offsetof(segment_command_64, fileoff), 40);
SAME(sizeof(symtab_command), 24);
SAME(sizeof(uuid_command), 24);
SAME(sizeof(nlist_64), 16);
SAME(offsetof(nlist_64, n_type), 4);
SAME(offsetof(nlist_64, n_value), 8);
