// Ports for the tests of the stand-in and of what runs on it.
#ifndef TESTS_MACH_DOUBLE_NEW_PORT_H_
#define TESTS_MACH_DOUBLE_NEW_PORT_H_

#include <gtest/gtest.h>
#include <mach/mach.h>

namespace mach_double {

// With a receive right and, unless told otherwise, a send right under the same name.
inline mach_port_t NewPort(bool with_send = true) {
  mach_port_t port = MACH_PORT_NULL;
  EXPECT_EQ(KERN_SUCCESS, mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port));
  if (with_send) {
    EXPECT_EQ(KERN_SUCCESS,
              mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND));
  }
  return port;
}

}  // namespace mach_double

#endif  // TESTS_MACH_DOUBLE_NEW_PORT_H_
