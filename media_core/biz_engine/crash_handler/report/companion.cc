#include "media_core/biz_engine/crash_handler/report/companion.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/host/host.h"
#include "media_core/biz_engine/crash_handler/machine/host/system_facts.h"
#include "media_core/biz_engine/crash_handler/machine/threads/bounded_wait.h"
#include "media_core/biz_engine/crash_handler/machine/threads/signal_words.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"
#include "media_core/biz_engine/crash_handler/report/civil_time.h"
#include "media_core/biz_engine/crash_handler/report/companion_settings.h"
#include "media_core/biz_engine/crash_handler/report/crash_notes.h"
#include "media_core/biz_engine/crash_handler/report/json_line.h"
#include "media_core/biz_engine/crash_handler/report/last_path_entry.h"
#include "media_core/biz_engine/crash_handler/report/report_path.h"
#include "media_core/biz_engine/crash_handler/report/report_words.h"

namespace CrashHandler {
namespace {

using machine::TextBuffer;

constexpr uint64_t kSchema = 1;
constexpr char kEnding[] = ".json";
constexpr char kHostPrefix[] = "Host";
constexpr uint64_t kMaxLogLines = 200;
constexpr size_t kMaxLogLineBytes = 1024;
constexpr size_t kMaxThreads = 4000;

// One companion at a time is written.
char sBuffer[8 << 10];

// While its companion is written, the report that it belongs to, whole but for its name.
std::atomic<ReportFile*> sReport{nullptr};
std::atomic<ReportFile*> sCompanion{nullptr};
// Whether who has taken the report from its owner is through with it.
std::atomic<bool> sIsThrough{true};
constexpr int kThroughMs = 1000;

const char* WordOf(machine::FaultAccess access) {
  switch (access) {
    case machine::FaultAccess::kRead:
      return "read";
    case machine::FaultAccess::kWrite:
      return "write";
    case machine::FaultAccess::kExecute:
      return "execute";
    case machine::FaultAccess::kUnknown:
      break;
  }
  return nullptr;
}

void AppendUtc(const timespec& time, TextBuffer* text) {
  AppendTime(machine::ToCivilTime(static_cast<uint64_t>(time.tv_sec)), 'T', ':', text);
  text->Append('.');
  text->AppendNumber(static_cast<uint64_t>(time.tv_nsec) / 1000000, 10, 3);
  text->Append('Z');
}

// A kind's word is short: it takes no memory of the heap.
void AddKind(CrashType kind, JsonLine* line) {
  line->Text("kind", GetCrashTypeString(ReportedKind(kind)).c_str());
}

void AddSignal(const CrashCause& cause, JsonLine* line) {
  if (cause.signo == 0) {
    for (const char* name : {"signal", "signal_name", "code", "code_name"}) line->Null(name);
    return;
  }
  line->SignedNumber("signal", cause.signo);
  line->Text("signal_name", machine::SignalName(cause.signo));
  if (!cause.has_code) {
    line->Null("code");
    return line->Null("code_name");
  }
  line->SignedNumber("code", cause.code);
  line->Text("code_name", machine::SignalCodeName(cause.signo, cause.code));
}

void AppendCrash(const CrashFacts& crash, bool of_host, TextBuffer* text) {
  JsonLine line("crash", text);
  AddKind(crash.kind, &line);
  AddSignal(crash.cause, &line);
  line.Text("access", WordOf(crash.cause.access));
  if (crash.cause.has_address && !of_host) {
    line.Address("address", crash.cause.address);
  } else {
    line.Null("address");
  }
  TextBuffer time;
  AppendUtc(crash.time, &time);
  line.Text("time", time.data(), time.size());
  line.Number("thread", crash.thread);
}

void AppendException(const CrashFacts& crash, TextBuffer* text) {
  const bool objects = crash.exception_name != nullptr;
  if (!objects && crash.cause.thrown_type == nullptr) return;
  JsonLine line("exception", text);
  line.Text("language", objects ? "Objective-C" : "C++");
  line.Text("name", objects ? crash.exception_name : crash.cause.thrown_type);
  line.Text("reason", objects ? crash.exception_reason : crash.cause.thrown_words);
}

void AppendRegisters(const CrashCause& cause, TextBuffer* text) {
  if (!cause.has_registers) return;
  JsonLine line("registers", text);
  line.Text("cpu", machine::HostCpuTypeName());
  line.BeginObject("values");
  uint64_t values[sizeof cause.registers / sizeof(uint64_t)];
  memcpy(values, &cause.registers, sizeof values);
  size_t i = 0;
  for (const char* name : machine::kRegisterNames) line.Address(name, values[i++]);
  line.EndObject();
}

void AppendProcess(const CrashSettings& settings, bool of_host, TextBuffer* text) {
  const char* const executable = KnownLastingFacts().executable;
  JsonLine line("process", text);
  line.Number("pid", static_cast<uint64_t>(getpid()));
  line.Text("app", settings.app_id.c_str());
  line.Text("session", settings.session_id.c_str());
  line.Text("sdk", settings.sdk_version.c_str());
  line.Number("uptime_ms", machine::ProcessUptimeMs());
  line.Text("name", of_host ? nullptr : lastPathEntry(executable));
  line.Text("executable", of_host ? nullptr : executable);
}

void AppendSystem(TextBuffer* text) {
  utsname system = {};
  uname(&system);
  JsonLine line("system", text);
  line.Text("name", system.sysname);
  line.Text("release", system.release);
  line.Text("version", system.version);
  line.Text("product", KnownLastingFacts().product);
  line.Text("machine", system.machine);
  line.Number("processors", KnownLastingFacts().processors);
  line.Number("uptime_ms", machine::SystemUptimeMs());
}

void AppendMemory(TextBuffer* text) {
  machine::MemoryFacts memory;
  machine::ReadMemoryFacts(&memory);
  JsonLine line("memory", text);
  line.Number("machine", memory.machine);
  line.Number("available", memory.available);
  line.Number("resident", memory.resident);
  line.Number("peak", memory.peak);
  line.Number("reserved", memory.reserved);
}

void AppendNotes(TextBuffer* text) {
  CrashNote note;
  for (size_t i = 0; i < kMaxCrashNotes; ++i) {
    if (!TheCrashNotes().Read(i, &note) || note.value[0] == '\0') continue;
    JsonLine line("note", text);
    line.Text("key", note.key);
    line.Text("value", note.value);
  }
}

void AppendThreads(machine::ThreadNumber crashed, TextBuffer* text) {
  machine::ThreadList list;
  if (!list.Read()) return;
  for (size_t i = 0; i < std::min(list.size(), kMaxThreads); ++i) {
    char name[machine::kThreadNameSize];
    const machine::ThreadNumber number = list.numbers()[i];
    if (!machine::ThreadName(number, name, sizeof name)) name[0] = '\0';
    JsonLine line("thread", text);
    line.Number("number", number);
    line.Text("name", name);
    line.Flag("crashed", number == crashed);
  }
}

void AppendLogLine(const CrashLogLines& lines, uint64_t number, TextBuffer* text) {
  char bytes[kMaxLogLineBytes];
  size_t size = 0;
  if (!lines.read(lines.source, number, bytes, sizeof bytes, &size)) return;
  JsonLine line("log", text);
  line.Number("number", number);
  line.Text("text", bytes, std::min(size, sizeof bytes));
}

void AppendLog(TextBuffer* text) {
  const CrashLogLines lines = ReadableLogLines();
  if (lines.read == nullptr) return;
  const uint64_t end = lines.end(lines.source);
  const uint64_t least = end > kMaxLogLines ? end - kMaxLogLines : 0;
  for (uint64_t i = std::max(lines.first(lines.source), least); i < end; ++i) {
    AppendLogLine(lines, i, text);
  }
}

void AppendFirst(const char* verdict, const char* report, const char* way, size_t frames,
                 TextBuffer* text) {
  JsonLine line("companion", text);
  line.Number("schema", kSchema);
  line.Text("verdict", verdict);
  line.Text("report", report);
  line.Text("way", way);
  line.Number("frames", frames);
}

// The first are the ones that a cut should leave.
void AppendCompanion(const CrashFacts& crash, const CrashSettings& settings, const char* report,
                     ReportWay way, TextBuffer* text) {
  AppendFirst("sdk", lastPathEntry(report), way == ReportWay::kOrdinary ? "ordinary" : "rescued",
              crash.frame_count, text);
  AppendCrash(crash, false, text);
  AppendException(crash, text);
  AppendRegisters(crash.cause, text);
  AppendProcess(settings, false, text);
  AppendSystem(text);
  AppendMemory(text);
  AppendNotes(text);
  AppendThreads(crash.thread, text);
  AppendLog(text);
  JsonLine("end", text);
}

void AppendHostCompanion(const CrashFacts& crash, const CrashSettings& settings, TextBuffer* text) {
  AppendFirst("host", nullptr, nullptr, crash.frame_count, text);
  AppendCrash(crash, true, text);
  AppendProcess(settings, true, text);
  AppendSystem(text);
  AppendMemory(text);
  JsonLine("end", text);
}

bool SendToFile(void* file, const char* bytes, size_t count) {
  return static_cast<ReportFile*>(file)->Write(bytes, count);
}

// The report's path with another ending, and `prefix` before its name. False without room for it.
bool CompanionPath(const char* report_path, const char* prefix, ReportPath path) {
  const char* const name = lastPathEntry(report_path);
  const char* const dot = strrchr(name, '.');
  TextBuffer text;
  text.Append(report_path, static_cast<size_t>(name - report_path));
  text.Append(prefix);
  text.Append(name, dot == nullptr ? strlen(name) : static_cast<size_t>(dot - name));
  text.Append(kEnding, sizeof kEnding);
  if (text.overflowed() || text.size() > sizeof(ReportPath)) return false;
  memcpy(path, text.data(), text.size());
  return true;
}

// Not under its name yet.
bool WriteCompanion(const char* report, const CrashFacts& crash, const CrashSettings& settings,
                    ReportWay way, const char* path, ReportFile* file) {
  if (!file->Open(path)) return false;
  sCompanion.store(file);
  TextBuffer text(sBuffer, sizeof sBuffer, &SendToFile, file);
  AppendCompanion(crash, settings, report, way, &text);
  text.Flush();
  sCompanion.store(nullptr);
  return true;
}

// Whole, but for its name, which it gets at the end of the scope at the latest: also when the
// host's functions leave that by an exception.
class HeldReport {
 public:
  explicit HeldReport(ReportFile* report) {
    sIsThrough.store(false);
    sReport.store(report);
  }
  ~HeldReport() { CommitWithoutCompanion(); }
  HeldReport(const HeldReport&) = delete;
  HeldReport& operator=(const HeldReport&) = delete;

  // False when another has given it its name meanwhile; it is the owner's again then.
  static bool Release() {
    if (sReport.exchange(nullptr) != nullptr) return true;
    machine::WaitWhile([] { return !sIsThrough.load(); }, kThroughMs, 1);
    return false;
  }
};

}  // namespace

bool CommitWithCompanion(ReportFile* report, const char* path, const CrashFacts& crash,
                         const CrashSettings& settings, ReportWay way) {
  ReportPath companion_path;
  if (!WantsCompanions() || !report->Close() || !CompanionPath(path, "", companion_path)) {
    return report->Commit();
  }
  ReportFile companion;
  const HeldReport held(report);
  const bool written =
      WriteCompanion(path, crash, settings, way, companion_path, &companion) && companion.Commit();
  if (!HeldReport::Release() || report->Commit()) return true;
  if (written) unlink(companion_path);
  return false;
}

bool CommitWithoutCompanion() {
  ReportFile* const report = sReport.exchange(nullptr);
  if (report == nullptr) return false;
  ReportFile* const companion = sCompanion.exchange(nullptr);
  if (companion != nullptr) companion->Abandon();
  report->Commit();
  sIsThrough.store(true);
  return true;
}

void RemoveWithCompanion(const char* report_path) {
  ReportPath path;
  unlink(report_path);
  if (WantsCompanions() && CompanionPath(report_path, "", path)) unlink(path);
}

void WriteHostCompanion(const char* report_path, const CrashFacts& crash,
                        const CrashSettings& settings) {
  ReportPath path;
  ReportFile file;
  if (!WantsCompanionsOfHostCrashes() || !CompanionPath(report_path, kHostPrefix, path)) return;
  if (!file.Open(path)) return;
  TextBuffer text(sBuffer, sizeof sBuffer, &SendToFile, &file);
  AppendHostCompanion(crash, settings, &text);
  text.Flush();
  file.Commit();
}

}  // namespace CrashHandler
