#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "tests/mach_double/mach_double.h"
#include "tests/mach_double/new_port.h"

namespace {

using mach_double::Call;
using mach_double::NewPort;
using mach_double::RightsOf;

struct Note {
  mach_msg_header_t header;
  int value;
};

struct NoteIn {
  Note note;
  mach_msg_trailer_t trailer;
};

Note MakeNote(mach_port_t to, int value) {
  Note note = {};
  note.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, 0);
  note.header.msgh_size = sizeof(note);
  note.header.msgh_remote_port = to;
  note.header.msgh_id = 7;
  note.value = value;
  return note;
}

mach_msg_return_t Send(Note note, mach_msg_option_t more = 0, mach_msg_timeout_t timeout = 0) {
  return mach_msg(&note.header, MACH_SEND_MSG | more, sizeof(note), 0, MACH_PORT_NULL, timeout,
                  MACH_PORT_NULL);
}

mach_msg_return_t Receive(mach_port_t from, NoteIn* in, mach_msg_timeout_t timeout = 0) {
  return mach_msg(&in->note.header, MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0, sizeof(*in), from, timeout,
                  MACH_PORT_NULL);
}

TEST(Ports, AnAllocatedPortHasAReceiveRightOnly) {
  const mach_port_t port = NewPort(false);
  EXPECT_TRUE(RightsOf(port).receive);
  EXPECT_EQ(0, RightsOf(port).send);
}

TEST(Ports, InsertedSendRightsAreCountedUnderTheSameName) {
  const mach_port_t port = NewPort();
  EXPECT_EQ(KERN_SUCCESS,
            mach_port_insert_right(mach_task_self(), port, port, MACH_MSG_TYPE_MAKE_SEND));
  EXPECT_EQ(2, RightsOf(port).send);
}

TEST(Ports, SendRightsCannotBeMadeWithoutTheReceiveRight) {
  EXPECT_EQ(KERN_INVALID_RIGHT, mach_port_insert_right(mach_task_self(), mach_task_self(),
                                                       mach_task_self(), MACH_MSG_TYPE_MAKE_SEND));
  EXPECT_EQ(KERN_INVALID_NAME,
            mach_port_insert_right(mach_task_self(), 0x7777, 0x7777, MACH_MSG_TYPE_MAKE_SEND));
  EXPECT_EQ(KERN_INVALID_VALUE,
            mach_port_insert_right(mach_task_self(), 0, 0, MACH_MSG_TYPE_MAKE_SEND));
}

TEST(Ports, ACallOnAnotherTaskFails) {
  mach_port_t port = MACH_PORT_NULL;
  EXPECT_EQ(MACH_SEND_INVALID_DEST, mach_port_allocate(0x9999, MACH_PORT_RIGHT_RECEIVE, &port));
}

TEST(Ports, DeallocatingTheReceiveRightAloneFails) {
  const mach_port_t port = NewPort(false);
  EXPECT_EQ(KERN_INVALID_RIGHT, mach_port_deallocate(mach_task_self(), port));
  EXPECT_EQ(KERN_INVALID_NAME, mach_port_deallocate(mach_task_self(), 0x7777));
}

TEST(Ports, MessagesArriveInTheOrderTheyWereSent) {
  const mach_port_t port = NewPort();
  for (int i = 0; i < 5; ++i) ASSERT_EQ(MACH_MSG_SUCCESS, Send(MakeNote(port, i)));
  EXPECT_EQ(5u, mach_double::QueuedMessages(port));
  for (int i = 0; i < 5; ++i) {
    NoteIn in = {};
    ASSERT_EQ(MACH_MSG_SUCCESS, Receive(port, &in));
    EXPECT_EQ(i, in.note.value);
  }
}

TEST(Ports, AReceivedHeaderShowsTheReceiversView) {
  const mach_port_t port = NewPort();
  const mach_port_t reply = NewPort(false);
  Note note = MakeNote(port, 1);
  note.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, MACH_MSG_TYPE_MAKE_SEND_ONCE);
  note.header.msgh_local_port = reply;
  ASSERT_EQ(MACH_MSG_SUCCESS, Send(note));
  NoteIn in = {};
  ASSERT_EQ(MACH_MSG_SUCCESS, Receive(port, &in));
  EXPECT_EQ(
      static_cast<unsigned>(MACH_MSGH_BITS(MACH_MSG_TYPE_PORT_SEND_ONCE, MACH_MSG_TYPE_PORT_SEND)),
      in.note.header.msgh_bits);
  EXPECT_EQ(sizeof(Note), in.note.header.msgh_size);
  EXPECT_EQ(port, in.note.header.msgh_local_port);
  EXPECT_EQ(1, RightsOf(in.note.header.msgh_remote_port).send_once);
  EXPECT_EQ(7, in.note.header.msgh_id);
  EXPECT_EQ(0u, in.trailer.msgh_trailer_type);
  EXPECT_EQ(8u, in.trailer.msgh_trailer_size);
}

TEST(Ports, ASendOnceRightIsGoneAfterItsUse) {
  const mach_port_t port = NewPort();
  const mach_port_t reply = NewPort(false);
  Note note = MakeNote(port, 1);
  note.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, MACH_MSG_TYPE_MAKE_SEND_ONCE);
  note.header.msgh_local_port = reply;
  ASSERT_EQ(MACH_MSG_SUCCESS, Send(note));
  NoteIn in = {};
  ASSERT_EQ(MACH_MSG_SUCCESS, Receive(port, &in));
  Note answer = MakeNote(in.note.header.msgh_remote_port, 2);
  answer.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_MOVE_SEND_ONCE, 0);
  EXPECT_EQ(MACH_MSG_SUCCESS, Send(answer));
  EXPECT_EQ(0, RightsOf(in.note.header.msgh_remote_port).send_once);
  EXPECT_EQ(MACH_SEND_INVALID_DEST, Send(answer));
  EXPECT_EQ(1u, mach_double::QueuedMessages(reply));
}

TEST(Ports, ADroppedSendOnceRightTellsItsPort) {
  const mach_port_t port = NewPort();
  const mach_port_t reply = NewPort(false);
  Note note = MakeNote(port, 1);
  note.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, MACH_MSG_TYPE_MAKE_SEND_ONCE);
  note.header.msgh_local_port = reply;
  ASSERT_EQ(MACH_MSG_SUCCESS, Send(note));
  NoteIn in = {};
  ASSERT_EQ(MACH_MSG_SUCCESS, Receive(port, &in));
  EXPECT_EQ(KERN_SUCCESS, mach_port_deallocate(mach_task_self(), in.note.header.msgh_remote_port));
  ASSERT_EQ(MACH_MSG_SUCCESS, Receive(reply, &in));
  EXPECT_EQ(71, in.note.header.msgh_id);
}

TEST(Ports, AFullQueueTimesOutAtOnceWhenAsked) {
  const mach_port_t port = NewPort();
  for (int i = 0; i < MACH_PORT_QLIMIT_DEFAULT; ++i) Send(MakeNote(port, i));
  EXPECT_EQ(MACH_SEND_TIMED_OUT, Send(MakeNote(port, 9), MACH_SEND_TIMEOUT, 0));
  EXPECT_EQ(5u, mach_double::QueuedMessages(port));
}

TEST(Ports, AFullQueueLetsTheSenderInWhenRoomComes) {
  const mach_port_t port = NewPort();
  for (int i = 0; i < MACH_PORT_QLIMIT_DEFAULT; ++i) Send(MakeNote(port, i));
  std::thread sender([&] { EXPECT_EQ(MACH_MSG_SUCCESS, Send(MakeNote(port, 5))); });
  for (int i = 0; i <= 5; ++i) {
    NoteIn in = {};
    ASSERT_EQ(MACH_MSG_SUCCESS, Receive(port, &in, 10000));
    EXPECT_EQ(i, in.note.value);
  }
  sender.join();
}

TEST(Ports, AnEmptyQueueTimesOutAfterTheTimeGiven) {
  const mach_port_t port = NewPort();
  NoteIn in = {};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(MACH_RCV_TIMED_OUT, Receive(port, &in, 20));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}

TEST(Ports, ReceivingOnWhatIsNoReceiveRightFails) {
  NoteIn in = {};
  EXPECT_EQ(MACH_RCV_INVALID_NAME, Receive(MACH_PORT_NULL, &in));
  EXPECT_EQ(MACH_RCV_INVALID_NAME, Receive(mach_task_self(), &in));
}

TEST(Ports, SendingToInvalidAndDeadNamesFails) {
  EXPECT_EQ(MACH_SEND_INVALID_DEST, Send(MakeNote(MACH_PORT_NULL, 1)));
  EXPECT_EQ(MACH_SEND_INVALID_DEST, Send(MakeNote(0x7777, 1)));
  EXPECT_EQ(MACH_SEND_INVALID_DEST, Send(MakeNote(NewPort(false), 1)));  // no send right
}

TEST(Ports, MalformedMessagesAreRefused) {
  const mach_port_t port = NewPort();
  Note note = MakeNote(port, 1);
  EXPECT_EQ(MACH_SEND_MSG_TOO_SMALL,
            mach_msg(&note.header, MACH_SEND_MSG, 20, 0, MACH_PORT_NULL, 0, MACH_PORT_NULL));
  EXPECT_EQ(MACH_SEND_MSG_TOO_SMALL,
            mach_msg(&note.header, MACH_SEND_MSG, 26, 0, MACH_PORT_NULL, 0, MACH_PORT_NULL));
  note.header.msgh_bits = 0;
  EXPECT_EQ(MACH_SEND_INVALID_HEADER, Send(note));
  note = MakeNote(port, 1);
  note.header.msgh_local_port = port;  // a reply port without a disposition
  EXPECT_EQ(MACH_SEND_INVALID_HEADER, Send(note));
  note.header.msgh_bits = MACH_MSGH_BITS(MACH_MSG_TYPE_COPY_SEND, MACH_MSG_TYPE_MAKE_SEND_ONCE);
  note.header.msgh_local_port = 0x7777;
  EXPECT_EQ(MACH_SEND_INVALID_REPLY, Send(note));
}

TEST(Ports, AMessageTooLargeForTheBufferIsDestroyed) {
  const mach_port_t port = NewPort();
  ASSERT_EQ(MACH_MSG_SUCCESS, Send(MakeNote(port, 1)));
  NoteIn in = {};
  // The message fits, its trailer does not.
  EXPECT_EQ(MACH_RCV_TOO_LARGE,
            mach_msg(&in.note.header, MACH_RCV_MSG, 0, sizeof(Note), port, 0, MACH_PORT_NULL));
  EXPECT_EQ(0u, mach_double::QueuedMessages(port));
}

TEST(Ports, AMessageTooLargeStaysWhenAskedTo) {
  const mach_port_t port = NewPort();
  ASSERT_EQ(MACH_MSG_SUCCESS, Send(MakeNote(port, 1)));
  NoteIn in = {};
  EXPECT_EQ(MACH_RCV_TOO_LARGE, mach_msg(&in.note.header, MACH_RCV_MSG | MACH_RCV_LARGE, 0,
                                         sizeof(Note), port, 0, MACH_PORT_NULL));
  EXPECT_EQ(sizeof(Note), in.note.header.msgh_size);
  EXPECT_EQ(1u, mach_double::QueuedMessages(port));
}

TEST(Ports, AWaitingReceiverSeesItsPortDie) {
  const mach_port_t port = NewPort();
  std::thread receiver([&] {
    NoteIn in = {};
    EXPECT_EQ(MACH_RCV_PORT_DIED, Receive(port, &in, 10000));
  });
  ASSERT_TRUE(mach_double::WaitForReceiver(port));
  EXPECT_EQ(KERN_SUCCESS, mach_port_destroy(mach_task_self(), port));
  receiver.join();
  EXPECT_FALSE(RightsOf(port).receive);
}

TEST(Ports, AWaitingReceiverCanBeInterrupted) {
  const mach_port_t port = NewPort();
  EXPECT_FALSE(mach_double::InterruptReceiver(port, MACH_RCV_INTERRUPTED));
  std::thread receiver([&] {
    NoteIn in = {};
    EXPECT_EQ(MACH_RCV_INTERRUPTED, Receive(port, &in, 10000));
  });
  ASSERT_TRUE(mach_double::WaitForReceiver(port));
  EXPECT_TRUE(mach_double::InterruptReceiver(port, MACH_RCV_INTERRUPTED));
  receiver.join();
}

TEST(Ports, SendAndReceiveInOneCall) {
  const mach_port_t port = NewPort();
  NoteIn both = {MakeNote(port, 3), {}};
  EXPECT_EQ(MACH_MSG_SUCCESS, mach_msg(&both.note.header, MACH_SEND_MSG | MACH_RCV_MSG,
                                       sizeof(Note), sizeof(both), port, 0, MACH_PORT_NULL));
  EXPECT_EQ(port, both.note.header.msgh_local_port);
  EXPECT_EQ(3, both.note.value);
}

TEST(Failures, OnceMeansTheNextCallOnly) {
  const mach_port_t port = NewPort();
  mach_double::FailOnce(Call::kMachMsgSend, MACH_SEND_INTERRUPTED);
  EXPECT_EQ(MACH_SEND_INTERRUPTED, Send(MakeNote(port, 1)));
  EXPECT_EQ(0u, mach_double::QueuedMessages(port));
  EXPECT_EQ(MACH_MSG_SUCCESS, Send(MakeNote(port, 1)));
  EXPECT_EQ(2, mach_double::CallCount(Call::kMachMsgSend));
}

TEST(Failures, CallsCanBeSkippedBeforeTheOneThatFails) {
  const mach_port_t port = NewPort();
  mach_double::FailOnce(Call::kMachMsgSend, MACH_SEND_INTERRUPTED, 1);
  EXPECT_EQ(MACH_MSG_SUCCESS, Send(MakeNote(port, 1)));
  EXPECT_EQ(MACH_SEND_INTERRUPTED, Send(MakeNote(port, 2)));
}

TEST(Failures, AlwaysLastsUntilHealed) {
  mach_port_t port = MACH_PORT_NULL;
  mach_double::FailAlways(Call::kPortAllocate, KERN_NO_SPACE);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(KERN_NO_SPACE, mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port));
  }
  mach_double::Heal(Call::kPortAllocate);
  EXPECT_EQ(KERN_SUCCESS, mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &port));
}

TEST(Errors, TextsAreThePlatforms) {
  EXPECT_STREQ("(os/kern) successful", mach_error_string(KERN_SUCCESS));
  EXPECT_STREQ("(os/kern) failure", mach_error_string(KERN_FAILURE));
  EXPECT_STREQ("(os/kern) no space available", mach_error_string(KERN_NO_SPACE));
  EXPECT_STREQ("(os/kern) object terminated", mach_error_string(KERN_TERMINATED));
  EXPECT_STREQ("(ipc/send) invalid destination port", mach_error_string(MACH_SEND_INVALID_DEST));
  EXPECT_STREQ("(ipc/send) timed out", mach_error_string(MACH_SEND_TIMED_OUT));
  EXPECT_STREQ("(ipc/rcv) invalid name", mach_error_string(MACH_RCV_INVALID_NAME));
  EXPECT_STREQ("(ipc/rcv) interrupted", mach_error_string(MACH_RCV_INTERRUPTED));
  EXPECT_STREQ("unknown error code", mach_error_string(0x3fffff));
  EXPECT_STREQ("unknown error code", mach_error_string(0x10003fff));
}

}  // namespace
