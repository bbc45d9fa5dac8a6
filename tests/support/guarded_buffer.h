// A buffer of an exact capacity with canaries on both sides.
#ifndef TESTS_SUPPORT_GUARDED_BUFFER_H_
#define TESTS_SUPPORT_GUARDED_BUFFER_H_

#include <cstddef>
#include <string>

namespace oru_test {

class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t capacity)
      : capacity_(capacity), bytes_(kGuard + capacity + kGuard, kCanary) {}

  char* data() { return &bytes_[kGuard]; }
  size_t capacity() const { return capacity_; }
  // What stands in the first `length` bytes.
  std::string Text(size_t length) const { return bytes_.substr(kGuard, length); }
  // Whether nothing before or behind the capacity has changed.
  bool Intact() const {
    const std::string guard(kGuard, kCanary);
    return bytes_.compare(0, kGuard, guard) == 0 &&
           bytes_.compare(kGuard + capacity_, kGuard, guard) == 0;
  }
  // Whether nothing at all was written.
  bool Untouched() const { return bytes_ == std::string(bytes_.size(), kCanary); }

 private:
  // Wider than any vector register.
  static constexpr size_t kGuard = 64;
  static constexpr char kCanary = '\xA5';

  size_t capacity_;
  std::string bytes_;
};

}  // namespace oru_test

#endif  // TESTS_SUPPORT_GUARDED_BUFFER_H_
