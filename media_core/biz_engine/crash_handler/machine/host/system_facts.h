// Facts about the system and this process that tell what a crash came from. 0 and "" stand for what
// the system does not say.
//
// All of it may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_HOST_SYSTEM_FACTS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_HOST_SYSTEM_FACTS_H_

#include <climits>
#include <cstddef>
#include <cstdint>

namespace CrashHandler::machine {

// What stays the same while the process runs.
struct LastingFacts {
  char executable[PATH_MAX];
  // The system's own name for its version: "Debian GNU/Linux 12 (bookworm)", "11.3".
  char product[128];
  uint64_t processors;
};

// In bytes.
struct MemoryFacts {
  uint64_t machine;    // of the machine
  uint64_t available;  // of that, what can be had without swapping
  uint64_t resident;   // of the process, in the machine's memory
  uint64_t peak;       // the most that was
  uint64_t reserved;   // of the process's address space
};

// For installation: a crash does only what it has to.
void ReadLastingFacts(LastingFacts* facts);

void ReadMemoryFacts(MemoryFacts* facts);

// Since the system and since the process started, in milliseconds.
uint64_t SystemUptimeMs();
uint64_t ProcessUptimeMs();

// Copies what stands in `text` behind `label` (and behind the next `quote` after that) and before
// the next `end`, cut to the room. Nothing, "", where that is not there.
void CopyQuoted(const char* text, const char* label, const char* quote, const char* end, char* copy,
                size_t room);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_HOST_SYSTEM_FACTS_H_
