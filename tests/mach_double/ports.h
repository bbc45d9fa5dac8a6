// Inside the stand-in: ports, the task's names for them, and messages on their way.
#ifndef TESTS_MACH_DOUBLE_PORTS_H_
#define TESTS_MACH_DOUBLE_PORTS_H_

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "tests/mach_double/mach_double.h"

namespace mach_double {

struct Port;
using PortRef = std::shared_ptr<Port>;

// A message between sender and receiver: rights are held as ports, not as names.
struct Message {
  mach_msg_id_t id = 0;
  bool complex = false;
  mach_msg_type_name_t dest_type = 0;   // as the receiver sees it: PORT_SEND or PORT_SEND_ONCE
  mach_msg_type_name_t reply_type = 0;  // the same for the reply port, or 0
  PortRef reply;
  std::vector<uint8_t> body;  // all behind the header
  // Ports to be named for the receiver: offset in the body of a port descriptor's name, and the
  // port.
  std::vector<std::pair<size_t, PortRef>> carried;
};

struct Port {
  bool alive = true;
  bool kernel_owned = false;
  bool elsewhere = false;  // its receiver is another task, which never answers
  std::deque<Message> queue;
  std::condition_variable changed;
  int receivers = 0;
  mach_msg_return_t interruption = 0;  // taken by the next receiver that wakes
};

// The task's names. Everything here expects the lock.
class PortSpace {
 public:
  struct Entry {
    PortRef port;  // null: a dead name
    bool receive = false;
    int send = 0;
    int send_once = 0;
    int dead = 0;
  };

  static PortSpace& Get();

  std::mutex& mutex() { return mutex_; }

  Entry* Find(mach_port_name_t name);
  // A name for a fresh entry; send-once rights have one of their own each.
  mach_port_name_t Add(Entry entry);
  // Adds a send right to the port's name, making the name when there is none. Dead ports get a dead
  // name.
  mach_port_name_t AddSend(const PortRef& port);
  // A name with a send-once right of its own.
  mach_port_name_t AddSendOnce(const PortRef& port);
  // The name that holds send or receive rights to the port, or 0.
  mach_port_name_t NameOf(const PortRef& port) const;
  // Takes one user reference away; the name goes with the last one.
  void DropSend(mach_port_name_t name);
  void DropSendOnce(mach_port_name_t name);
  void Erase(mach_port_name_t name);
  // What a fork's child starts with: no name at all. The ports stay what they are to others.
  void Clear();
  // The end of a port: waiting messages are destroyed, waiters wake, names of it become dead names.
  void Kill(const PortRef& port);

 private:
  std::mutex mutex_;
  std::map<mach_port_name_t, Entry> entries_;
  mach_port_name_t next_ = 0x103;
};

// A port whose receive right the kernel holds.
PortRef MakeKernelPort();

// Destroys a message that nobody will receive: its reply right tells the port behind it.
void DestroyMessage(const Message& message);

}  // namespace mach_double

#endif  // TESTS_MACH_DOUBLE_PORTS_H_
