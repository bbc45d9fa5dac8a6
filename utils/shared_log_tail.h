// The unused tail of a log file: zero bytes that its writer has reserved and not filled.
#ifndef UTILS_SHARED_LOG_TAIL_H_
#define UTILS_SHARED_LOG_TAIL_H_

#include <cstdint>

namespace tessik::shared {

// A tail is never longer.
constexpr uint64_t kMaxLogTail = 16 * 1024 * 1024;

// The size of the file's text: `size` without the zero bytes at its end. Of the first `size` bytes
// of the file that `fd` stands for; it is read at positions, the descriptor's own is left alone.
// `size` itself where there are none, more than a tail has, or the file cannot be read.
uint64_t SizeWithoutZeroTail(int fd, uint64_t size);

// The same for a file of unknown kind, by whoever packs or shows files that a program left: the
// zero bytes are a log's unused tail only behind text (the last 4096 bytes before them hold no
// control character but tab, newline, carriage return and escape), otherwise they belong to the
// file.
uint64_t SizeWithoutLogTail(int fd, uint64_t size);

}  // namespace tessik::shared

#endif  // UTILS_SHARED_LOG_TAIL_H_
