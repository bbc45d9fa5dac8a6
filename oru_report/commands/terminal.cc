#include "oru_report/commands/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace oru_report {

size_t TerminalWidth() {
  if (isatty(STDOUT_FILENO) == 0) return 0;
  struct winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  const char* columns = getenv("COLUMNS");
  const long width = columns == nullptr ? 0 : strtol(columns, nullptr, 10);
  return width > 0 ? static_cast<size_t>(width) : 80;
}

bool ShowsProgress() { return isatty(STDERR_FILENO) != 0; }

}  // namespace oru_report
