// Inside the stand-in: exceptions between the processor, the ports and the signals.
#ifndef TESTS_MACH_DOUBLE_EXCEPTIONS_H_
#define TESTS_MACH_DOUBLE_EXCEPTIONS_H_

#include <cstdint>
#include <string>

#include "tests/mach_double/ports.h"

namespace mach_double {

struct Fault {
  exception_type_t type;
  int64_t code;
  int64_t subcode;
};

// Whose exception it is: the rights that a handler is given, and the thread whose own exception
// ports are asked first.
struct Victim {
  PortRef thread;
  PortRef task;
  PortRef own_thread;
};

// Offers a fault of the calling thread to its handlers; true when one took it.
bool Offer(const Fault& fault);

// Tells the observer.
void Tell(const std::string& what);

// The calling thread's believed mask of fault signals; a new thread starts with its creator's.
uint64_t BlockedFaults();
void SetBlockedFaults(uint64_t bits);

// In a fork's child, with the port space's lock: the task's exception ports stay, their receivers
// are the parent's.
void InheritExceptionPorts();

}  // namespace mach_double

#endif  // TESTS_MACH_DOUBLE_EXCEPTIONS_H_
