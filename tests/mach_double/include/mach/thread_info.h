// Stand-in for the platform's <mach/thread_info.h>.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_THREAD_INFO_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_THREAD_INFO_H_

#include <mach/machine.h>
#include <mach/message.h>
#include <stdint.h>

typedef natural_t thread_flavor_t;
typedef integer_t* thread_info_t;

#define THREAD_IDENTIFIER_INFO 4

struct thread_identifier_info {
  uint64_t thread_id;
  uint64_t thread_handle;
  uint64_t dispatch_qaddr;
};
typedef struct thread_identifier_info thread_identifier_info_data_t;
#define THREAD_IDENTIFIER_INFO_COUNT \
  ((mach_msg_type_number_t)(sizeof(thread_identifier_info_data_t) / sizeof(natural_t)))

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_THREAD_INFO_H_
