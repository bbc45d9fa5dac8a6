#include "tests/support/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/support/platform.h"

extern "C" char** environ;

namespace oru_test {
namespace {

using Clock = std::chrono::steady_clock;

struct Pipe {
  int read_end = -1;
  int write_end = -1;
};

Pipe NewPipe() {
  int ends[2];
  if (MakePipe(ends) != 0) {
    ADD_FAILURE() << "pipe: " << strerror(errno);
    return {};
  }
  return {ends[0], ends[1]};
}

void CloseEnd(int* fd) {
  if (*fd >= 0) close(*fd);
  *fd = -1;
}

std::vector<std::string> BuildEnvironment(const ChildOptions& options) {
  std::vector<std::string> entries;
  for (char** entry = environ; !options.clear_env && *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::string name = text.substr(0, text.find('='));
    const bool dropped = options.env.count(name) != 0 ||
                         std::find(options.unset_env.begin(), options.unset_env.end(), name) !=
                             options.unset_env.end();
    if (!dropped) entries.push_back(text);
  }
  for (const auto& [name, value] : options.env) entries.push_back(name + "=" + value);
  return entries;
}

std::vector<char*> Pointers(const std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  pointers.reserve(strings.size() + 1);
  for (const std::string& text : strings) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

// Between fork and the child's own work. Test processes of this project are started by ctest, one
// test each, so the allocator is not held by another thread here.
void EnterChild(const ChildOptions& options, const Pipe& in, const Pipe& out, const Pipe& err) {
  setpgid(0, 0);
  dup2(in.read_end, STDIN_FILENO);
  dup2(out.write_end, STDOUT_FILENO);
  dup2(err.write_end, STDERR_FILENO);
  // Deliberate crashes leave no core files behind.
  const rlimit no_core{0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  signal(SIGPIPE, SIG_DFL);
  if (!options.cwd.empty() && chdir(options.cwd.c_str()) != 0) _exit(126);
  if (options.before) options.before();
}

// Feeds and drains the child's pipes until all are closed or the time is over.
void Exchange(pid_t pid, const ChildOptions& options, Pipe* in, Pipe* out, Pipe* err,
              Clock::time_point start, ChildResult* result) {
  signal(SIGPIPE, SIG_IGN);
  // A blocking write of more than the pipe holds would leave the child's output unread.
  fcntl(in->write_end, F_SETFL, O_NONBLOCK);
  size_t sent = 0;
  if (options.input.empty()) CloseEnd(&in->write_end);
  const auto deadline =
      start + std::chrono::milliseconds(static_cast<long>(options.timeout_s * 1000));
  while (out->read_end >= 0 || err->read_end >= 0) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) {
      result->timed_out = true;
      kill(-pid, SIGKILL);
      kill(pid, SIGKILL);
      return;
    }
    pollfd fds[3] = {
        {out->read_end, POLLIN, 0}, {err->read_end, POLLIN, 0}, {in->write_end, POLLOUT, 0}};
    if (poll(fds, 3, static_cast<int>(left)) <= 0) continue;
    char buffer[65536];
    int* ends[2] = {&out->read_end, &err->read_end};
    std::string* texts[2] = {&result->out, &result->err};
    for (int i = 0; i < 2; ++i) {
      if (fds[i].revents == 0) continue;
      const ssize_t got = read(*ends[i], buffer, sizeof buffer);
      if (got > 0) texts[i]->append(buffer, static_cast<size_t>(got));
      if (got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN)) CloseEnd(ends[i]);
    }
    if (fds[2].revents != 0) {
      const ssize_t put =
          write(in->write_end, options.input.data() + sent, options.input.size() - sent);
      if (put > 0) sent += static_cast<size_t>(put);
      if ((put < 0 && errno != EAGAIN) || sent == options.input.size()) CloseEnd(&in->write_end);
    }
  }
}

// Reaps the child; one that closed its output and lives on is still bound by the time.
void Reap(pid_t pid, const ChildOptions& options, Clock::time_point start, ChildResult* result) {
  int status = 0;
  rusage usage{};
  for (;;) {
    const pid_t done = wait4(pid, &status, WNOHANG, &usage);
    if (done == pid) break;
    if (done < 0 && errno != EINTR) {
      ADD_FAILURE() << "wait4: " << strerror(errno);
      return;
    }
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    if (!result->timed_out && elapsed.count() > options.timeout_s) {
      result->timed_out = true;
      kill(-pid, SIGKILL);
      kill(pid, SIGKILL);
    }
    usleep(500);
  }
  result->peak_rss_kib = usage.ru_maxrss;
  if (WIFEXITED(status)) result->exit_code = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result->signal = WTERMSIG(status);
}

ChildResult Run(const ChildOptions& options, const std::function<void()>& start_child) {
  ChildResult result;
  Pipe in = NewPipe();
  Pipe out = NewPipe();
  Pipe err = NewPipe();
  fflush(stdout);
  fflush(stderr);
  const auto start = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    EnterChild(options, in, out, err);
    start_child();
    _exit(127);
  }
  if (pid < 0) {
    ADD_FAILURE() << "fork: " << strerror(errno);
    return result;
  }
  CloseEnd(&in.read_end);
  CloseEnd(&out.write_end);
  CloseEnd(&err.write_end);
  Exchange(pid, options, &in, &out, &err, start, &result);
  Reap(pid, options, start, &result);
  result.wall_s = std::chrono::duration<double>(Clock::now() - start).count();
  CloseEnd(&in.write_end);
  CloseEnd(&out.read_end);
  CloseEnd(&err.read_end);
  return result;
}

}  // namespace

std::string ChildResult::Ending() const {
  if (timed_out) return "timed out";
  if (signal != 0) return "signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
  return "exit " + std::to_string(exit_code);
}

ChildResult RunChild(const std::vector<std::string>& argv, const ChildOptions& options) {
  const std::vector<std::string> environment = BuildEnvironment(options);
  const std::vector<char*> arguments = Pointers(argv);
  const std::vector<char*> variables = Pointers(environment);
  return Run(options, [&] { execve(arguments[0], arguments.data(), variables.data()); });
}

ChildResult RunInFork(const std::function<int()>& body, const ChildOptions& options) {
  return Run(options, [&] {
    for (const std::string& name : options.unset_env) unsetenv(name.c_str());
    for (const auto& [name, value] : options.env) setenv(name.c_str(), value.c_str(), 1);
    const int code = body();
    fflush(stdout);
    fflush(stderr);
    _exit(code);
  });
}

}  // namespace oru_test
