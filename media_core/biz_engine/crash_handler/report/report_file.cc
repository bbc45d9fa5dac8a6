#include "media_core/biz_engine/crash_handler/report/report_file.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"
#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"
#include "utils/shared_held_signal.h"

namespace CrashHandler {
namespace {

constexpr mode_t kFileMode = 0600;
constexpr mode_t kDirectoryMode = 0700;
constexpr int kMaxNames = 100;

uint64_t RandomNumber(const void* salt) {
  uint64_t number = 0;
  // Without the kernel's numbers a name that is taken only costs another try.
  if (getentropy(&number, sizeof number) != 0) number = reinterpret_cast<uintptr_t>(salt);
  return number;
}

// Opens a new file in the directory of `path`. Its name is shorter than a report's, so that any
// name the file system can hold can be written; it goes to `name`. -1 when that fails.
int CreateBeside(const char* path, ReportPath name) {
  const char* const slash = strrchr(path, '/');
  const size_t directory = slash == nullptr ? 0 : static_cast<size_t>(slash - path) + 1;
  for (int i = 0; i < kMaxNames; ++i) {
    machine::TextBuffer text;
    text.Append(path, directory);
    text.Append("report.");
    text.AppendNumber(static_cast<uint64_t>(getpid()));
    text.Append('.');
    text.AppendNumber(RandomNumber(path) + static_cast<unsigned>(i), 16, 16);
    text.Append(".tmp");
    text.Append('\0');
    if (text.overflowed() || text.size() > sizeof(ReportPath)) return -1;
    memcpy(name, text.data(), text.size());
    const int fd =
        machine::OpenFile(name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

}  // namespace

bool CreateDirectories(const char* path) {
  if (access(path, F_OK) == 0) return true;
  ReportPath part;
  const size_t length = strlen(path);
  if (length >= sizeof part) return false;
  memcpy(part, path, length + 1);
  for (size_t i = 1; i < length; ++i) {
    if (part[i] != '/') continue;
    part[i] = '\0';
    mkdir(part, kDirectoryMode);
    part[i] = '/';
  }
  return mkdir(path, kDirectoryMode) == 0 || errno == EEXIST;
}

bool ReportFile::Open(const char* path) {
  fd_ = CreateBeside(path, temporary_);
  failed_ = fd_ < 0;
  path_ = failed_ ? nullptr : path;
  return !failed_;
}

bool ReportFile::Write(const char* bytes, size_t count) {
  const tessik::shared::HeldSignal too_large(SIGXFSZ);
  while (!failed_ && count > 0) {
    const ssize_t written = write(fd_, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      failed_ = true;
      break;
    }
    bytes += written;
    count -= static_cast<size_t>(written);
  }
  return !failed_;
}

bool ReportFile::Close() {
  // Some file systems tell only at the end that there was no room.
  if (fd_ >= 0 && close(fd_) != 0 && errno != EINTR) failed_ = true;
  fd_ = -1;
  return !failed_;
}

bool ReportFile::Commit() {
  if (path_ == nullptr) return false;
  if (Close() && rename(temporary_, path_) == 0) return true;
  unlink(temporary_);
  return false;
}

void ReportFile::Abandon() const { unlink(temporary_); }

bool ReplaceFile(const char* path, const void* bytes, size_t count) {
  ReportFile file;
  if (!file.Open(path)) return false;
  file.Write(static_cast<const char*>(bytes), count);
  return file.Commit();
}

}  // namespace CrashHandler
