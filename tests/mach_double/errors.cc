// The platform's texts for its error codes.
#include <iterator>

#include "tests/mach_double/mach_double.h"

namespace {

// Indexed by the code's low 14 bits; the high bits name the table.
const char* const kKernelTexts[] = {
    "(os/kern) successful",         "(os/kern) invalid address",  "(os/kern) protection failure",
    "(os/kern) no space available", "(os/kern) invalid argument", "(os/kern) failure",
    "(os/kern) resource shortage",  "(os/kern) not receiver",     "(os/kern) no access",
    "(os/kern) memory failure",     "(os/kern) memory error",     "(os/kern) already in set",
    "(os/kern) not in set",         "(os/kern) name exists",      "(os/kern) aborted",
    "(os/kern) invalid name",       "(os/kern) invalid task",     "(os/kern) invalid right",
    "(os/kern) invalid value",      "(os/kern) urefs overflow",   "(os/kern) invalid capability",
    "(os/kern) right exists",       "(os/kern) invalid host",
};
const char* const kSendTexts[] = {
    "(ipc/send) no error",           "(ipc/send) transmission in progress",
    "(ipc/send) invalid data",       "(ipc/send) invalid destination port",
    "(ipc/send) timed out",          "(ipc/send) invalid voucher",
    "(ipc/send) unused error",       "(ipc/send) interrupted",
    "(ipc/send) msg too small",      "(ipc/send) invalid reply port",
    "(ipc/send) invalid port right", "(ipc/send) invalid notify port",
    "(ipc/send) invalid msg-memory", "(ipc/send) no msg buffer",
    "(ipc/send) msg too large",      "(ipc/send) invalid msg-type",
    "(ipc/send) invalid msg-header",
};
const char* const kReceiveTexts[] = {
    "(ipc/rcv) no error",     "(ipc/rcv) receive in progress", "(ipc/rcv) invalid name",
    "(ipc/rcv) timed out",    "(ipc/rcv) msg too large",       "(ipc/rcv) interrupted",
    "(ipc/rcv) port changed", "(ipc/rcv) invalid notify port", "(ipc/rcv) invalid data",
    "(ipc/rcv) port died",
};

template <size_t N>
const char* TextIn(const char* const (&table)[N], unsigned index) {
  return index < N ? table[index] : "unknown error code";
}

const char* TextOf(unsigned code) {
  constexpr unsigned kIndexMask = 0x3fff;
  switch (code & ~kIndexMask) {
    case 0:
      return code == KERN_TERMINATED ? "(os/kern) object terminated" : TextIn(kKernelTexts, code);
    case 0x10000000:
      return TextIn(kSendTexts, code & kIndexMask);
    case 0x10004000:
      return TextIn(kReceiveTexts, code & kIndexMask);
    default:
      return "unknown error code";
  }
}

}  // namespace

extern "C" char* mach_error_string(mach_error_t code) {
  return const_cast<char*>(TextOf(static_cast<unsigned>(code)));
}
