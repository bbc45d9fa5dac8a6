// The regular files below a log directory.
#ifndef EXAMPLES_REFERENCE_SDK_LOG_FILES_H_
#define EXAMPLES_REFERENCE_SDK_LOG_FILES_H_

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

#include "examples/reference_sdk/left_out.h"

namespace reference_sdk {

// Owns a file descriptor.
class ScopedFd {
 public:
  explicit ScopedFd(int fd = -1) : fd_(fd) {}
  ~ScopedFd() { Reset(-1); }
  ScopedFd(const ScopedFd&) = delete;
  ScopedFd& operator=(const ScopedFd&) = delete;
  ScopedFd(ScopedFd&& other) noexcept : fd_(other.Release()) {}

  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  int Release();
  // Closes what it holds.
  void Reset(int fd);

 private:
  int fd_;
};

struct LogFile {
  // Relative to the log directory, as the file system spells it: any bytes but NUL.
  std::string path;
  // When it was listed.
  uint64_t size = 0;
};

// An open log directory. For one thread.
class LogFiles {
 public:
  // Opens and lists `directory`. A symbolic link given as the directory itself is followed; links
  // below it are not, and neither they nor sockets, pipes and devices are listed. Folders below
  // that vanished or may not be read are added to `left_out`. False when the directory itself
  // cannot be listed, or one below it for any other reason.
  bool Collect(const std::string& directory, LeftOutFiles* left_out);

  // In the order of their paths' bytes.
  const std::vector<LogFile>& files() const { return files_; }
  // Sum of the sizes.
  uint64_t total_bytes() const { return total_bytes_; }

  // Opens a listed file for reading and fills in `info`. -1, with errno set, when that fails; ENXIO
  // when it is no longer a regular file. No symbolic link is followed on the way down and a pipe
  // does not block, also when they took a file's or folder's place after the listing. The caller
  // closes the descriptor.
  int Open(const LogFile& file, struct stat* info) const;

 private:
  // errno's number, 0 for success.
  int CollectFolder(const std::string& folder, std::vector<std::string>* folders_left);

  void AddEntry(int folder_fd, const std::string& folder, const char* name,
                std::vector<std::string>* folders_left);

  ScopedFd root_;
  std::vector<LogFile> files_;
  uint64_t total_bytes_ = 0;
};

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_LOG_FILES_H_
