// A disk that runs full, for tests.
#ifndef TESTS_SUPPORT_SMALL_DISK_H_
#define TESTS_SUPPORT_SMALL_DISK_H_

#include <cstddef>
#include <string>

#include "tests/support/files.h"

namespace oru_test {

// A folder with room for about `bytes`. Where the process may mount, it is a file system of that
// size, which the test's process and its children see; elsewhere files of the child that called
// Enter() cannot grow beyond it, and in long mode the test fails. Says which of the two it is.
class SmallDisk {
 public:
  explicit SmallDisk(size_t bytes);
  ~SmallDisk();
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  std::string Join(const std::string& name) const { return dir_.Join(name); }

  // To be called in the forked child that is to run out of room. Signals about it are ignored.
  void Enter() const;
  // The same by the limit alone, never by a file system: it is exact to the byte.
  static void LimitFiles(size_t bytes);
  // Gives the child a hundred times the room.
  void MakeRoom() const;

 private:
  const TempDir dir_;
  const size_t bytes_;
  bool mounted_ = false;
};

}  // namespace oru_test

#endif  // TESTS_SUPPORT_SMALL_DISK_H_
