// Stand-in for the platform's <mach/message.h>: message headers, descriptors and mach_msg.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_MACH_MESSAGE_H_
#define TESTS_MACH_DOUBLE_INCLUDE_MACH_MESSAGE_H_

#include <mach/kern_return.h>
#include <mach/ndr.h>
#include <mach/port.h>

typedef natural_t mach_msg_timeout_t;
typedef unsigned int mach_msg_bits_t;
typedef natural_t mach_msg_size_t;
typedef integer_t mach_msg_id_t;
typedef unsigned int mach_msg_type_name_t;
typedef integer_t mach_msg_option_t;
typedef kern_return_t mach_msg_return_t;
typedef natural_t mach_msg_type_number_t;
typedef unsigned int mach_msg_descriptor_type_t;
typedef unsigned int mach_msg_trailer_type_t;
typedef unsigned int mach_msg_trailer_size_t;

#define MACH_MSG_TIMEOUT_NONE ((mach_msg_timeout_t)0)

#define MACH_MSGH_BITS_REMOTE_MASK 0x0000001f
#define MACH_MSGH_BITS_LOCAL_MASK 0x00001f00
#define MACH_MSGH_BITS_COMPLEX 0x80000000U
#define MACH_MSGH_BITS(remote, local) ((remote) | ((local) << 8))
#define MACH_MSGH_BITS_REMOTE(bits) ((bits)&MACH_MSGH_BITS_REMOTE_MASK)
#define MACH_MSGH_BITS_LOCAL(bits) (((bits)&MACH_MSGH_BITS_LOCAL_MASK) >> 8)

#define MACH_MSG_TYPE_MOVE_RECEIVE 16
#define MACH_MSG_TYPE_MOVE_SEND 17
#define MACH_MSG_TYPE_MOVE_SEND_ONCE 18
#define MACH_MSG_TYPE_COPY_SEND 19
#define MACH_MSG_TYPE_MAKE_SEND 20
#define MACH_MSG_TYPE_MAKE_SEND_ONCE 21
#define MACH_MSG_TYPE_PORT_SEND MACH_MSG_TYPE_MOVE_SEND
#define MACH_MSG_TYPE_PORT_SEND_ONCE MACH_MSG_TYPE_MOVE_SEND_ONCE

#define MACH_MSG_PORT_DESCRIPTOR 0

#define MACH_SEND_MSG 0x00000001
#define MACH_RCV_MSG 0x00000002
#define MACH_RCV_LARGE 0x00000004
#define MACH_SEND_TIMEOUT 0x00000010
#define MACH_RCV_TIMEOUT 0x00000100

#define MACH_MSG_SUCCESS 0x00000000
#define MACH_SEND_INVALID_DATA 0x10000002
#define MACH_SEND_INVALID_DEST 0x10000003
#define MACH_SEND_TIMED_OUT 0x10000004
#define MACH_SEND_INTERRUPTED 0x10000007
#define MACH_SEND_MSG_TOO_SMALL 0x10000008
#define MACH_SEND_INVALID_REPLY 0x10000009
#define MACH_SEND_INVALID_RIGHT 0x1000000a
#define MACH_SEND_INVALID_TYPE 0x1000000f
#define MACH_SEND_INVALID_HEADER 0x10000010
#define MACH_RCV_INVALID_NAME 0x10004002
#define MACH_RCV_TIMED_OUT 0x10004003
#define MACH_RCV_TOO_LARGE 0x10004004
#define MACH_RCV_INTERRUPTED 0x10004005
#define MACH_RCV_PORT_DIED 0x10004009

#pragma pack(push, 4)

typedef struct {
  mach_msg_bits_t msgh_bits;
  mach_msg_size_t msgh_size;
  mach_port_t msgh_remote_port;
  mach_port_t msgh_local_port;
  mach_port_name_t msgh_voucher_port;
  mach_msg_id_t msgh_id;
} mach_msg_header_t;

typedef struct {
  mach_msg_size_t msgh_descriptor_count;
} mach_msg_body_t;

typedef struct {
  mach_port_t name;
  mach_msg_size_t pad1;
  unsigned int pad2 : 16;
  mach_msg_type_name_t disposition : 8;
  mach_msg_descriptor_type_t type : 8;
} mach_msg_port_descriptor_t;

// What the kernel puts behind every received message; msgh_size does not count it.
typedef struct {
  mach_msg_trailer_type_t msgh_trailer_type;
  mach_msg_trailer_size_t msgh_trailer_size;
} mach_msg_trailer_t;

#pragma pack(pop)

extern "C" mach_msg_return_t mach_msg(mach_msg_header_t* msg, mach_msg_option_t option,
                                      mach_msg_size_t send_size, mach_msg_size_t rcv_size,
                                      mach_port_name_t rcv_name, mach_msg_timeout_t timeout,
                                      mach_port_name_t notify);

#endif  // TESTS_MACH_DOUBLE_INCLUDE_MACH_MESSAGE_H_
