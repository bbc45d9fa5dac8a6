#include "media_core/biz_engine/crash_handler/report/companion_settings.h"

#include <atomic>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/report/crash_notes.h"

namespace CrashHandler {
namespace {

enum class Wanted : int { kNone, kOfReports, kOfHostCrashesToo };

std::atomic<Wanted> sWanted{Wanted::kNone};

machine::LastingFacts sLastingFacts = {};
std::atomic<bool> sLastingFactsAreRead{false};

// Read only while the number stays the same and even.
CrashLogLines sLogLines;
std::atomic<unsigned> sLogLinesChanged{0};

bool IsReadable(const void* memory, size_t size) {
  constexpr size_t kStep = 4096;  // the smallest page
  const char* const start = static_cast<const char*>(memory);
  char byte = 0;
  for (size_t at = 0; at < size; at += kStep) {
    if (machine::mach_copyMem(start + at, &byte, 1) != 0) return false;
  }
  return size > 0 && machine::mach_copyMem(start + size - 1, &byte, 1) == 0;
}

bool IsComplete(const CrashLogLines& lines) {
  return lines.first != nullptr && lines.end != nullptr && lines.read != nullptr;
}

}  // namespace

void WriteCrashCompanions(const CrashCompanionOptions& options) {
  if (!sLastingFactsAreRead.exchange(true)) machine::ReadLastingFacts(&sLastingFacts);
  sWanted.store(options.also_of_host_crashes ? Wanted::kOfHostCrashesToo : Wanted::kOfReports);
}

void StopCrashCompanions() { sWanted.store(Wanted::kNone); }

bool SetCrashNote(const char* key, const char* value) { return TheCrashNotes().Set(key, value); }

void SetCrashLogLines(const CrashLogLines& lines) {
  sLogLinesChanged.fetch_add(1);
  sLogLines = lines;
  sLogLinesChanged.fetch_add(1);
}

bool WantsCompanions() { return sWanted.load() != Wanted::kNone; }

bool WantsCompanionsOfHostCrashes() { return sWanted.load() == Wanted::kOfHostCrashesToo; }

CrashLogLines ReadableLogLines() {
  const unsigned changed = sLogLinesChanged.load();
  const CrashLogLines lines = sLogLines;
  std::atomic_thread_fence(std::memory_order_acquire);
  const bool whole = changed % 2 == 0 && sLogLinesChanged.load() == changed;
  if (!whole || !IsComplete(lines)) return {};
  return IsReadable(lines.source, lines.source_bytes) ? lines : CrashLogLines{};
}

const machine::LastingFacts& KnownLastingFacts() { return sLastingFacts; }

}  // namespace CrashHandler
