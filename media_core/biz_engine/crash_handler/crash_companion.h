// A companion file beside each crash report, for what the report's text has no place for: signal,
// code and address, registers, an exception's type and words, the process, the system, memory,
// threads' names, the last log lines, and notes of the host. Nothing of it is written unless it is
// asked for.
//
//   static rtc::LastLinesLogSink last_lines;
//   rtc::LogMessage::AddLogToStream(&last_lines, rtc::LS_INFO);
//   CrashHandler::UseLogLines(&last_lines);
//   CrashHandler::WriteCrashCompanions();
//   handler->InstallCrashHandler();
//   ...
//   CrashHandler::SetCrashNote("channel", channel);
//
// The companion of Crash_A_S_Signal_TIME.log is Crash_A_S_Signal_TIME.json: one JSON object a line,
// each line whole, so that a file that was cut anywhere keeps what stands before the cut
// (docs/crash-companion.md describes the lines). It is there before the report has its name, and
// where it cannot be written the report is there all the same.
//
// It holds nothing of the environment or the command line, and of the process's memory nothing but
// what is listed above.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_COMPANION_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_COMPANION_H_

#include <cstddef>
#include <cstdint>

#pragma GCC visibility push(default)

namespace CrashHandler {

// What companions are written of.
struct CrashCompanionOptions {
  // Also for crashes that are not the SDK's and get no report, as HostCrash_A_S_Signal_TIME.json:
  // that there was one, its kind and signal, identity, system and memory. Nothing that tells about
  // the host's code is in it: no frames, registers, addresses, words, names, notes or log lines.
  bool also_of_host_crashes = false;
};

// From now on crashes leave companions; off at the start. May be called at any time, on any thread.
void WriteCrashCompanions(const CrashCompanionOptions& options = {});
// From now on they leave none.
void StopCrashCompanions();

// ---- Notes ----

// How many keys a process can have, in its life, and what a key and a value may have in bytes.
constexpr size_t kMaxCrashNotes = 64;
constexpr size_t kMaxCrashNoteKeyBytes = 63;
constexpr size_t kMaxCrashNoteValueBytes = 255;

// Sets what companions tell under the key; both are UTF-8 and copied. A null or empty value takes
// the note away (its key still counts); a longer one than there is room for is cut behind a whole
// character. False, and nothing is changed, for a null, empty or longer key, for a key too many,
// and while as many threads as there are keys are in the midst of this call.
//
// Any thread may call it at any time, also in a signal handler or in the crash callback: it takes
// no lock and no heap and never waits. A crash in the midst of it has the value before or behind,
// whole. Of threads that set the same key at once, one has the last word.
bool SetCrashNote(const char* key, const char* value);

// ---- Log lines ----

// Where the last log lines are, as functions that may be called in a signal handler; UseLogLines
// makes one.
struct CrashLogLines {
  // Handed to the functions. Its memory is looked at before they are called: where it is gone,
  // there are no lines.
  const void* source = nullptr;
  size_t source_bytes = 0;
  // The number of the first line there is, and the number behind the last.
  uint64_t (*first)(const void* source) = nullptr;
  uint64_t (*end)(const void* source) = nullptr;
  // Copies at most `room` bytes of a line; false when it is not there (any more).
  bool (*read)(const void* source, uint64_t number, char* buffer, size_t room,
               size_t* size) = nullptr;
};

// The lines that companions have from now on, at most the last 200; no functions: none. For one
// thread at a time; a crash may come meanwhile.
void SetCrashLogLines(const CrashLogLines& lines);

// The same for an object with `first_line`, `end_line` and `Read`, as rtc::LastLinesLogSink has
// them (last_lines_log_sink.h). It stays the caller's, and is forgotten with ForgetLogLines before
// it goes. Not null.
template <typename Lines>
void UseLogLines(const Lines* lines) {
  CrashLogLines functions;
  functions.source = lines;
  functions.source_bytes = sizeof *lines;
  functions.first = [](const void* source) -> uint64_t {
    return static_cast<const Lines*>(source)->first_line();
  };
  functions.end = [](const void* source) -> uint64_t {
    return static_cast<const Lines*>(source)->end_line();
  };
  functions.read = [](const void* source, uint64_t number, char* buffer, size_t room,
                      size_t* size) {
    return static_cast<const Lines*>(source)->Read(number, buffer, room, size);
  };
  SetCrashLogLines(functions);
}

// From now on companions have no log lines.
inline void ForgetLogLines() { SetCrashLogLines({}); }

}  // namespace CrashHandler

#pragma GCC visibility pop

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_COMPANION_H_
