#include "utils/shared_log_tail.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

namespace tessik::shared {
namespace {

constexpr size_t kPiece = 4096;

// Reads exactly that much.
bool ReadAt(int fd, char* to, size_t size, uint64_t offset) {
  while (size > 0) {
    const ssize_t got = pread(fd, to, size, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return false;
    }
    to += got;
    size -= static_cast<size_t>(got);
    offset += static_cast<uint64_t>(got);
  }
  return true;
}

bool IsText(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x20 || c == '\t' || c == '\n' || c == '\r' || c == '\x1b';
}

bool EndsWithText(int fd, uint64_t size) {
  char piece[kPiece];
  const auto length = static_cast<size_t>(std::min<uint64_t>(size, kPiece));
  return ReadAt(fd, piece, length, size - length) && std::all_of(piece, piece + length, IsText);
}

}  // namespace

uint64_t SizeWithoutZeroTail(int fd, uint64_t size) {
  char piece[kPiece];
  uint64_t end = size;
  while (end > 0 && size - end <= kMaxLogTail) {
    const auto length = static_cast<size_t>(std::min<uint64_t>(end, kPiece));
    if (!ReadAt(fd, piece, length, end - length)) {
      return size;
    }
    size_t used = length;
    while (used > 0 && piece[used - 1] == '\0') {
      --used;
    }
    end -= length - used;
    if (used > 0) {
      break;
    }
  }
  return size - end <= kMaxLogTail ? end : size;
}

uint64_t SizeWithoutLogTail(int fd, uint64_t size) {
  const uint64_t text = SizeWithoutZeroTail(fd, size);
  return text == size || EndsWithText(fd, text) ? text : size;
}

}  // namespace tessik::shared
