#include <time.h>
#include <unistd.h>

#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/host/system_facts.h"
#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"
#include "media_core/biz_engine/crash_handler/machine/threads/task_files_linux.h"

namespace CrashHandler::machine {
namespace {

constexpr size_t kRoom = 4096;

// Of a line "LABEL   123 kB".
uint64_t BytesOf(const char* text, const char* label) {
  const char* number = FieldOf(text, label);
  if (number == nullptr) return 0;
  number += strspn(number, "\t ");
  return TakeDecimal(&number) * 1024;
}

// When the process started, in ticks since the system did: the 22nd field; the second, a name, may
// have blanks in it and ends with the last parenthesis.
uint64_t StartTicks(const char* stat) {
  const char* field = strrchr(stat, ')');
  for (int number = 2; field != nullptr && number < 22; ++number) {
    field = strchr(field + 1, ' ');
  }
  if (field == nullptr) return 0;
  ++field;
  return TakeDecimal(&field);
}

}  // namespace

void ReadLastingFacts(LastingFacts* facts) {
  *facts = {};
  const ssize_t length =
      readlink("/proc/self/exe", facts->executable, sizeof facts->executable - 1);
  facts->executable[length > 0 ? length : 0] = '\0';
  char text[kRoom];
  if (ReadFileStart("/etc/os-release", text, sizeof text)) {
    CopyQuoted(text, "PRETTY_NAME=", "\"", "\"", facts->product, sizeof facts->product);
  }
  const long processors = sysconf(_SC_NPROCESSORS_ONLN);
  facts->processors = processors > 0 ? static_cast<uint64_t>(processors) : 0;
}

void ReadMemoryFacts(MemoryFacts* facts) {
  char text[kRoom];
  *facts = {};
  if (ReadFileStart("/proc/meminfo", text, sizeof text)) {
    facts->machine = BytesOf(text, "MemTotal:");
    facts->available = BytesOf(text, "MemAvailable:");
  }
  if (ReadFileStart("/proc/self/status", text, sizeof text)) {
    facts->resident = BytesOf(text, "VmRSS:");
    facts->peak = BytesOf(text, "VmHWM:");
    facts->reserved = BytesOf(text, "VmSize:");
  }
}

uint64_t SystemUptimeMs() {
  timespec now = {};
  if (clock_gettime(CLOCK_BOOTTIME, &now) != 0) return 0;
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

uint64_t ProcessUptimeMs() {
  // What user programs see; the kernel's own rate may be another.
  constexpr uint64_t kMsPerTick = 10;
  char stat[1024];
  if (!ReadFileStart("/proc/self/stat", stat, sizeof stat)) return 0;
  const uint64_t started = StartTicks(stat) * kMsPerTick;
  const uint64_t now = SystemUptimeMs();
  return now > started ? now - started : 0;
}

}  // namespace CrashHandler::machine
