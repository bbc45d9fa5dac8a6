// NSLog and NSLogv for this program and what it loads. It writes the line that GNUstep's own
// writes, "DATE TIME.mmm PROGRAM[PID:THREAD] TEXT", to standard error, and differs in this:
//
// - The text is written as UTF-8 whatever the locale.
// - Every text comes out: a lone surrogate as U+FFFD, U+0000 as "\x00".
// - No autorelease pool is needed around it.
// - The user's defaults are not consulted. GNUstep's reads them at the first line: a sixth of the
//   time of a whole run, and it takes this program's arguments for defaults, so that
//   "-GSLogSyslog YES" would take the lines away from standard error.
//
// A line goes out in one write; what standard error does not take goes to the system log: a
// reader that has gone does not end the process, as GNUstep ignores SIGPIPE.
#import "helper/console_log.h"

#include <poll.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string>

#import "helper/readable_string.h"
#include "helper/readable_text.h"

namespace {

std::string LinePrefix() {
  timeval now{};
  gettimeofday(&now, nullptr);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char date[32];
  strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &local);
  char milliseconds[8];
  snprintf(milliseconds, sizeof milliseconds, ".%03d ", static_cast<int>(now.tv_usec / 1000));
  char numbers[64];
  snprintf(numbers, sizeof numbers, "[%d:%ld] ", static_cast<int>(getpid()), syscall(SYS_gettid));
  return std::string(date) + milliseconds + ReadableText(program_invocation_short_name) + numbers;
}

void WaitUntilWritable(int fd) {
  pollfd waited{fd, POLLOUT, 0};
  poll(&waited, 1, -1);
}

bool WriteAll(const std::string &line) {
  size_t done = 0;
  while (done < line.size()) {
    const ssize_t put = write(STDERR_FILENO, line.data() + done, line.size() - done);
    if (put >= 0) {
      done += static_cast<size_t>(put);
    } else if (errno == EAGAIN) {
      WaitUntilWritable(STDERR_FILENO);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

std::string LineOf(NSString *text) {
  std::string line = LinePrefix() + Utf8Text(text);
  if (line.back() != '\n') line += '\n';
  return line;
}

}  // namespace

void LogSecretLine(NSString *line) { WriteAll(LineOf(line)); }

void NSLogv(NSString *format, va_list arguments) {
  @autoreleasepool {
    NSString *text = [[[NSString alloc] initWithFormat:format arguments:arguments] autorelease];
    const std::string line = LineOf(text);
    if (!WriteAll(line)) syslog(LOG_ERR | LOG_USER, "%s", line.c_str());
  }
}

void NSLog(NSString *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  NSLogv(format, arguments);
  va_end(arguments);
}
