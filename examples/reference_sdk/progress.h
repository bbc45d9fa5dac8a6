// Progress on standard error, for somebody who watches.
#ifndef EXAMPLES_REFERENCE_SDK_PROGRESS_H_
#define EXAMPLES_REFERENCE_SDK_PROGRESS_H_

#include <cstdint>

namespace reference_sdk {

// Prints one line a tenth ("OruRTCSdk: packed 30%") when standard error is a terminal, and nothing
// at all otherwise. For one thread.
class Progress {
 public:
  // `verb` must outlive the object; `total` is in bytes, 0 when there is nothing to do.
  Progress(const char* verb, uint64_t total);

  // `done` may pass the total (files grow) or fall back (a transfer starts again): a tenth that was
  // printed is not printed again.
  void Update(uint64_t done);

 private:
  const char* verb_;
  uint64_t total_;
  bool shown_;
  unsigned tenths_ = 0;
};

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_PROGRESS_H_
