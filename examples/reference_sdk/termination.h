// A signal that asks the process to end, heard in the middle of an upload.
#ifndef EXAMPLES_REFERENCE_SDK_TERMINATION_H_
#define EXAMPLES_REFERENCE_SDK_TERMINATION_H_

namespace reference_sdk {

// While one lives, SIGTERM, SIGINT and SIGHUP do not end the process at once: Requested() becomes
// true, the upload stops and clears up, and the last one to be destroyed lets the signal do what it
// would have done. A signal that the program handles or ignores itself is left alone. May be used
// by several threads at a time.
class Termination {
 public:
  Termination();
  ~Termination();
  Termination(const Termination&) = delete;
  Termination& operator=(const Termination&) = delete;

  static bool Requested();
};

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_TERMINATION_H_
