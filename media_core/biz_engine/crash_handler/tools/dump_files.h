// Files in a dump folder: opened, locked, copied and removed beside other processes.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_DUMP_FILES_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_DUMP_FILES_H_

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace CrashHandler::dumps {

// Owns a descriptor.
class DumpFile {
 public:
  explicit DumpFile(int fd = -1) : fd_(fd) {}
  ~DumpFile();
  DumpFile(DumpFile&& other) noexcept : fd_(other.Release()) {}
  DumpFile(const DumpFile&) = delete;
  DumpFile& operator=(const DumpFile&) = delete;

  int fd() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  int Release();

 private:
  int fd_;
};

struct FileFacts {
  uint64_t bytes = 0;
  // When it was changed last, in milliseconds since 1970.
  int64_t changed_ms = 0;
};

int64_t NowMs();

// When the file was changed last, in milliseconds since 1970: platforms name the field differently.
int64_t ChangedMs(const struct stat& info);

// True with the facts for a regular file of this user; links are not followed.
bool OwnFileFacts(const std::string& path, FileFacts* facts);

// An open file or folder of this user's with its lock, which ends with the descriptor. Not valid
// when it is gone, is somebody else's, or another process (or another part of this one) has the
// lock.
DumpFile LockOwn(const std::string& path);

// Whether somebody has the lock of a file of this user's. Asking does not disturb others who ask.
bool IsLocked(const std::string& path);

// As LockOwn, of a file that is made with mode 0600 where it is missing, for reading and writing.
// Waits a moment for those who only ask.
DumpFile LockOrMakeOwn(const std::string& path);

// The first 64 KiB of a file of this user's; "" when it cannot be read.
std::string ReadSmallFile(const std::string& path);

// The same for bytes that are already open, from offset 0.
bool WriteAll(int fd, const std::string& bytes);

// Copies a regular file, as long as it is at the start, to a new one with mode 0600; of a log, what
// its writer has reserved and not used stays behind. False when that fails; nothing is left then.
bool CopyToNewFile(const std::string& from, const std::string& to);

// Makes the folder and those above it that are missing, with mode 0700. False when it is not one
// afterwards.
bool MakeFolders(const std::string& path);

// Removes a folder with the files in it, and those one folder further down.
void RemoveGathered(const std::string& folder);

}  // namespace CrashHandler::dumps

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_DUMP_FILES_H_
