#include "media_core/biz_engine/crash_handler/tools/child_command.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "media_core/biz_engine/crash_handler/tools/dump_files.h"

extern char** environ;

namespace CrashHandler::dumps {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kLongestLine = 4096;
// How long the end of the child goes unnoticed when nothing else tells of it.
constexpr int kLookMs = 50;
constexpr std::chrono::seconds kTimeToEnd(2);

// Apple's Foundation writes its log lines to standard error only where this asks for it, unless
// that is a terminal.
constexpr char kLogToStandardError[] = "CFLOG_FORCE_STDERR=YES";

class SpawnSettings {
 public:
  SpawnSettings() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  bool Set(int error_output) {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    // These two have no other action.
    sigdelset(&all, SIGKILL);
    sigdelset(&all, SIGSTOP);
    short flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
    return posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0) == 0 &&
           posix_spawn_file_actions_addopen(&actions_, 1, "/dev/null", O_WRONLY, 0) == 0 &&
           posix_spawn_file_actions_adddup2(&actions_, error_output, 2) == 0 &&
           InheritStandardDescriptorsOnly(&actions_, &flags) &&
           posix_spawnattr_setpgroup(&attributes_, 0) == 0 &&
           posix_spawnattr_setsigmask(&attributes_, &none) == 0 &&
           posix_spawnattr_setsigdefault(&attributes_, &all) == 0 &&
           posix_spawnattr_setflags(&attributes_, flags) == 0;
  }

  bool Spawn(const std::vector<std::string>& argv, pid_t* pid) const {
    std::vector<char*> words;
    words.reserve(argv.size() + 1);
    for (const std::string& word : argv) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    std::string forced = kLogToStandardError;
    std::vector<char*> environment = {&forced[0]};
    for (char** variable = environ; *variable != nullptr; ++variable) {
      environment.push_back(*variable);
    }
    environment.push_back(nullptr);
    return posix_spawn(pid, words[0], &actions_, &attributes_, words.data(), environment.data()) ==
           0;
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

bool MakePipe(int* ends) {
  if (pipe(ends) != 0) return false;
  for (int i = 0; i < 2; ++i) {
    // A standard descriptor that the program has closed would be the child's own.
    const int high = fcntl(ends[i], F_DUPFD_CLOEXEC, 10);
    close(ends[i]);
    ends[i] = high;
  }
  return ends[0] >= 0 && ends[1] >= 0;
}

class LineReader {
 public:
  LineReader(int fd, const std::function<void(const std::string&)>& on_line)
      : fd_(fd), on_line_(on_line) {
    fcntl(fd, F_SETFL, O_NONBLOCK);
  }

  // Takes what is there; false at the end.
  bool ReadAvailable() {
    char data[4096];
    for (;;) {
      const ssize_t got = read(fd_, data, sizeof data);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return errno == EAGAIN;
      if (got == 0) break;
      for (const char* byte = data; byte < data + got; ++byte) Take(*byte);
    }
    if (!line_.empty()) Take('\n');
    return false;
  }

 private:
  void Take(char byte) {
    if (byte != '\n') {
      if (line_.size() < kLongestLine) line_ += byte;
      return;
    }
    on_line_(line_);
    line_.clear();
  }

  const int fd_;
  const std::function<void(const std::string&)>& on_line_;
  std::string line_;
};

// Where the program reaps all children itself, there is none to wait for.
bool HasEnded(pid_t pid) {
  const pid_t ended = waitpid(pid, nullptr, WNOHANG);
  return ended == pid || (ended < 0 && errno == ECHILD);
}

void ReapSurely(pid_t pid) {
  while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
  }
}

// Waits for the end of the child, not only of its output: it may have closed that.
bool WaitUntil(Clock::time_point end, pid_t pid, int output, LineReader* lines) {
  bool open = true;
  while (Clock::now() < end) {
    pollfd waited{open ? output : -1, POLLIN, 0};
    poll(&waited, 1, kLookMs);
    if (open) open = lines->ReadAvailable();
    if (!HasEnded(pid)) continue;
    lines->ReadAvailable();
    return true;
  }
  return false;
}

}  // namespace

ChildEnd RunChildCommand(const std::vector<std::string>& argv, int limit_s,
                         const std::function<void(const std::string& line)>& on_line) {
  ChildEnd end;
  int ends[2] = {-1, -1};
  const bool piped = MakePipe(ends);
  const DumpFile output(ends[0]);
  pid_t pid = -1;
  {
    const DumpFile input(ends[1]);
    SpawnSettings settings;
    end.started = piped && settings.Set(input.fd()) && settings.Spawn(argv, &pid);
  }
  if (!end.started) return end;
  LineReader lines(output.fd(), on_line);
  const auto limit = Clock::now() + std::chrono::seconds(std::max(limit_s, 0));
  end.timed_out = !WaitUntil(limit, pid, output.fd(), &lines);
  if (!end.timed_out) return end;
  kill(-pid, SIGTERM);
  const bool ended = WaitUntil(Clock::now() + kTimeToEnd, pid, output.fd(), &lines);
  // Also what it has started and left behind.
  kill(-pid, SIGKILL);
  if (!ended) ReapSurely(pid);
  return end;
}

}  // namespace CrashHandler::dumps
