#include "media_core/biz_engine/crash_handler/tools/dump_files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

#include "utils/shared_files.h"
#include "utils/shared_log_tail.h"

namespace CrashHandler::dumps {
namespace {

constexpr int kOpenFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
constexpr size_t kSmallFileBytes = 64 * 1024;

bool IsOwn(const struct stat& info) {
  return info.st_uid == geteuid() && (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode));
}

bool TryLock(int fd, int how = LOCK_EX) {
  int result = -1;
  do {
    result = flock(fd, how | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// What was removed before the lock was had has no name any more.
bool IsOwnAndNamed(int fd) {
  struct stat info {};
  return fstat(fd, &info) == 0 && IsOwn(info) && info.st_nlink > 0;
}

ssize_t ReadSome(int fd, char* data, size_t size) {
  ssize_t got = -1;
  do {
    got = read(fd, data, size);
  } while (got < 0 && errno == EINTR);
  return got;
}

bool WriteSome(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t put = write(fd, data, size);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return false;
    data += put;
    size -= static_cast<size_t>(put);
  }
  return true;
}

bool CopyBytes(int from, int to, uint64_t left) {
  std::vector<char> buffer(256 * 1024);
  while (left > 0) {
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(left, buffer.size()));
    const ssize_t got = ReadSome(from, buffer.data(), wanted);
    if (got < 0) return false;
    // It was cut off meanwhile.
    if (got == 0) return true;
    if (!WriteSome(to, buffer.data(), static_cast<size_t>(got))) return false;
    left -= static_cast<uint64_t>(got);
  }
  return true;
}

}  // namespace

DumpFile::~DumpFile() {
  if (fd_ >= 0) close(fd_);
}

int DumpFile::Release() {
  const int fd = fd_;
  fd_ = -1;
  return fd;
}

int64_t NowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

bool OwnFileFacts(const std::string& path, FileFacts* facts) {
  struct stat info {};
  if (lstat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode) || !IsOwn(info)) return false;
  facts->bytes = static_cast<uint64_t>(info.st_size);
  facts->changed_ms = ChangedMs(info);
  return true;
}

DumpFile LockOwn(const std::string& path) {
  DumpFile file(open(path.c_str(), O_RDONLY | kOpenFlags));
  const bool locked = file.valid() && TryLock(file.fd()) && IsOwnAndNamed(file.fd());
  return locked ? std::move(file) : DumpFile();
}

bool IsLocked(const std::string& path) {
  const DumpFile file(open(path.c_str(), O_RDONLY | kOpenFlags));
  return file.valid() && IsOwnAndNamed(file.fd()) && !TryLock(file.fd(), LOCK_SH);
}

DumpFile LockOrMakeOwn(const std::string& path) {
  constexpr int kTries = 20;
  constexpr std::chrono::milliseconds kPause(5);
  for (int i = 0; i < kTries; ++i) {
    if (i > 0) std::this_thread::sleep_for(kPause);
    DumpFile file(open(path.c_str(), O_RDWR | O_CREAT | kOpenFlags, 0600));
    if (!file.valid()) break;
    if (TryLock(file.fd()) && IsOwnAndNamed(file.fd())) return file;
  }
  return DumpFile();
}

std::string ReadSmallFile(const std::string& path) {
  FileFacts facts;
  if (!OwnFileFacts(path, &facts)) return "";
  const DumpFile file(open(path.c_str(), O_RDONLY | kOpenFlags));
  std::string text(std::min<uint64_t>(facts.bytes, kSmallFileBytes), '\0');
  const ssize_t got = file.valid() ? ReadSome(file.fd(), &text[0], text.size()) : 0;
  text.resize(got > 0 ? static_cast<size_t>(got) : 0);
  return text;
}

bool WriteAll(int fd, const std::string& bytes) {
  return WriteSome(fd, bytes.data(), bytes.size());
}

bool CopyToNewFile(const std::string& from, const std::string& to) {
  const DumpFile source(open(from.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat info {};
  if (!source.valid() || fstat(source.fd(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
  const DumpFile copy(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!copy.valid()) return false;
  const auto size = static_cast<uint64_t>(info.st_size);
  const uint64_t used = tessik::shared::SizeWithoutLogTail(source.fd(), size);
  if (CopyBytes(source.fd(), copy.fd(), used)) return true;
  unlink(to.c_str());
  return false;
}

bool MakeFolders(const std::string& path) {
  for (size_t slash = path.find('/', 1); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), 0700);
  }
  mkdir(path.c_str(), 0700);
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

void RemoveGathered(const std::string& folder) {
  std::vector<std::string> names;
  const auto collect = [&names](const std::string& name, tessik::shared::EntryKind) {
    names.push_back(name);
    return true;
  };
  tessik::shared::VisitDir(folder, collect);
  for (const std::string& name : names) {
    const std::string path = folder + "/" + name;
    if (unlink(path.c_str()) == 0) continue;
    tessik::shared::VisitDir(path, [&path](const std::string& file, tessik::shared::EntryKind) {
      unlink((path + "/" + file).c_str());
      return true;
    });
    rmdir(path.c_str());
  }
  rmdir(folder.c_str());
}

}  // namespace CrashHandler::dumps
