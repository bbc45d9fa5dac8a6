// What the fuzz targets share.
#ifndef FUZZ_FUZZ_SUPPORT_H_
#define FUZZ_FUZZ_SUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/guarded_buffer.h"
#include "tests/support/string_encode_reference.h"

namespace oru_fuzz {

// Ends the run with a finding.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

// Takes an input apart from its front.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  bool Empty() const { return size_ == 0; }
  uint8_t Byte() {
    if (size_ == 0) return 0;
    --size_;
    return *data_++;
  }
  char Char() { return static_cast<char>(Byte()); }
  size_t Size() {
    const size_t high = Byte();
    return high * 256 + Byte();
  }
  // Up to `length` bytes.
  std::string Text(size_t length) {
    const size_t taken = length < size_ ? length : size_;
    std::string text(reinterpret_cast<const char*>(data_), taken);
    data_ += taken;
    size_ -= taken;
    return text;
  }
  std::string Rest() { return Text(size_); }
  bool empty() const { return size_ == 0; }

 private:
  const uint8_t* data_;
  size_t size_;
};

// Runs a buffer function into `capacity` bytes between canaries and compares it with its reference.
template <typename Function>
std::string CheckBuffer(const Function& function, const oru_test::Units& units,
                        const std::string& source, size_t capacity, const char* name) {
  oru_test::GuardedBuffer buffer(capacity);
  const size_t length = function(buffer.data(), capacity, source.data(), source.size());
  Require(buffer.Intact(), name);
  if (capacity == 0) {
    Require(length == 0, name);
    return std::string();
  }
  Require(length < capacity && buffer.data()[length] == '\0', name);
  Require(buffer.Text(length) == oru_test::Fit(units, capacity), name);
  return buffer.Text(length);
}

// The same at the capacity an input chose and with room for everything; returns the whole output.
template <typename Function>
std::string CheckBoth(const Function& function, const oru_test::Units& units,
                      const std::string& source, size_t capacity, const char* name) {
  const size_t full = oru_test::Join(units).size() + 1;
  CheckBuffer(function, units, source, capacity % (full + 2), name);
  return CheckBuffer(function, units, source, full, name);
}

}  // namespace oru_fuzz

#endif  // FUZZ_FUZZ_SUPPORT_H_
