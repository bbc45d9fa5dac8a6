#include "media_core/biz_engine/crash_handler/report/streamed_report.h"

#include <atomic>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/host/host.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"
#include "media_core/biz_engine/crash_handler/report/civil_time.h"
#include "media_core/biz_engine/crash_handler/report/companion.h"
#include "media_core/biz_engine/crash_handler/report/companion_settings.h"
#include "media_core/biz_engine/crash_handler/report/frame_line.h"
#include "media_core/biz_engine/crash_handler/report/image_list_text.h"
#include "media_core/biz_engine/crash_handler/report/report_place.h"
#include "media_core/biz_engine/crash_handler/report/report_words.h"
#include "media_core/biz_engine/crash_handler/report/utf8_text.h"

namespace CrashHandler {
namespace {

using machine::TextBuffer;

char sApplication[256] = "";
std::atomic<long> sSecondsEast{0};

// One report at a time is written, and the stack it is written on may be small.
char sBuffer[16 << 10];

machine::CivilTime LocalTime(time_t time) {
  return machine::ToCivilTime(static_cast<uint64_t>(time + sSecondsEast.load()));
}

// The innermost frame does not count.
bool ConcernsSdk(const machine::FrameLines& frames) {
  for (size_t i = 1; i < frames.size(); ++i) {
    TextBuffer line;
    frames.Append(i, &line);
    if (IsSdkFrame(line.data(), line.size())) return true;
  }
  return false;
}

void AppendField(const char* label, const char* value, TextBuffer* text) {
  text->Append(label);
  AppendAsUtf8(value, text);
  text->Append('\n');
}

void AppendHeader(const CrashFacts& crash, const char* dump_dir, TextBuffer* text) {
  char machine_name[256];
  machine::MachineName(machine_name, sizeof machine_name);
  AppendField(kModelLabel, machine_name, text);
  AppendField(kProcessLabel, sApplication, text);
  AppendField(kPathLabel, dump_dir, text);
  AppendField(kCodeTypeLabel, machine::HostCpuTypeName(), text);
  text->Append(kTimeLabel);
  AppendTime(LocalTime(crash.time.tv_sec), ' ', ':', text);
  text->Append(' ');
  text->AppendNumber(static_cast<uint64_t>(crash.time.tv_nsec) / 1000000, 10, 3);
  text->Append('\n');
  text->Append(kThreadLabel);
  text->AppendNumber(crash.thread);
  text->Append("\n\n");
}

void AppendException(const CrashFacts& crash, TextBuffer* text) {
  if (crash.exception_name == nullptr) return;
  text->Append(kExceptionTitle);
  text->Append(kExceptionName);
  AppendAsUtf8(crash.exception_name, text);
  text->Append(kExceptionReason);
  AppendAsUtf8(crash.exception_reason != nullptr ? crash.exception_reason : kNull, text);
  text->Append(kExceptionEnd);
  text->Append('\n');
}

void AppendFrames(const machine::FrameLines& frames, TextBuffer* text) {
  text->Append(kFramesTitle);
  for (size_t i = 0; i < frames.size(); ++i) {
    frames.Append(i, text);
    text->Append('\n');
  }
  text->Append('\n');
}

bool SendToFile(void* file, const char* bytes, size_t count) {
  return static_cast<ReportFile*>(file)->Write(bytes, count);
}

enum class Stacks { kAll, kCrashedThreads };

// What a report is made of.
struct Source {
  const CrashFacts& crash;
  const CrashSettings& settings;
  const machine::FrameLines& frames;
  const char* dump_dir;
  const char* path;
  bool has_draft = false;
};

bool WriteReport(Source* source, Stacks stacks, TextBuffer* text, ReportFile* file);

void WriteDraftOf(void* context) {
  auto* const source = static_cast<Source*>(context);
  // The report itself is in the other buffer.
  char buffer[2 << 10];
  ReportFile file;
  TextBuffer text(buffer, sizeof buffer, &SendToFile, &file);
  source->has_draft = WriteReport(source, Stacks::kCrashedThreads, &text, &file);
}

void AppendStacks(Source* source, Stacks stacks, TextBuffer* text) {
  const CrashFacts& crash = source->crash;
  const KnownFrames known = {crash.thread, crash.frames, crash.frame_count};
  if (stacks == Stacks::kCrashedThreads) return AppendKnownThread(text, known);
  AppendAllThreads(text, known, {&WriteDraftOf, source});
}

bool WriteReport(Source* source, Stacks stacks, TextBuffer* text, ReportFile* file) {
  if (!file->Open(source->path)) return false;
  AppendHeader(source->crash, source->dump_dir, text);
  AppendException(source->crash, text);
  AppendFrames(source->frames, text);
  text->Append(kThreadsTitle);
  AppendStacks(source, stacks, text);
  text->Append('\n');
  text->Append(kImagesTitle);
  machine::AppendImageList(text);
  text->Append('\n');
  text->Append(kInfoTitle);
  AppendAsUtf8(source->settings.extra_info.c_str(), text);
  text->Append('\n');
  const bool whole = text->Flush();
  return CommitWithCompanion(file, source->path, source->crash, source->settings,
                             ReportWay::kRescued) &&
         whole;
}

// The folder that the settings name, or the default one.
const char* DumpDirOf(const CrashSettings& settings, const char* default_dir) {
  const char* const asked = settings.dump_dir.c_str();
  return IsUsableDumpDir(asked) ? asked : default_dir;
}

ReportName NameOf(const CrashFacts& crash, const CrashSettings& settings, const char* kind) {
  ReportName name;
  name.sdk_version = settings.sdk_version.c_str();
  name.app_id = settings.app_id.empty() ? kUnknownApp : settings.app_id.c_str();
  name.session_id = settings.session_id.empty() ? kUnknownSession : settings.session_id.c_str();
  name.kind = kind;
  name.time = LocalTime(crash.time.tv_sec);
  return name;
}

}  // namespace

void PrepareStreamedReport(const char* application) {
  strncpy(sApplication, application, sizeof sApplication - 1);
  const time_t now = time(nullptr);
  tm local = {};
  localtime_r(&now, &local);
  sSecondsEast.store(local.tm_gmtoff);
}

bool WriteStreamedReport(const CrashFacts& crash, const CrashSettings& settings, ReportPath path) {
  const machine::FrameLines frames(crash.frames, crash.frame_count, crash.interrupted,
                                   crash.interrupted_later);
  const bool of_host = !ConcernsSdk(frames);
  if (of_host && !WantsCompanionsOfHostCrashes()) return false;
  // A kind's word is short: it takes no memory of the heap.
  const std::string kind = GetCrashTypeString(ReportedKind(crash.kind));
  ReportPath default_dir;
  if (!DefaultDumpDir(default_dir, sizeof default_dir)) default_dir[0] = '\0';
  ReportName name = NameOf(crash, settings, kind.c_str());
  name.dump_dir = DumpDirOf(settings, default_dir);
  machine::TextBuffer full_path;
  if (MakeReportPlace(&name, default_dir, &full_path) == ReportPlace::kNone) return false;
  full_path.Append('\0');
  if (full_path.overflowed() || full_path.size() > sizeof(ReportPath)) return false;
  memcpy(path, full_path.data(), full_path.size());
  if (of_host) {
    WriteHostCompanion(path, crash, settings);
    return false;
  }
  Source source = {crash, settings, frames, name.dump_dir, path};
  ReportFile file;
  TextBuffer text(sBuffer, sizeof sBuffer, &SendToFile, &file);
  return WriteReport(&source, Stacks::kAll, &text, &file) || source.has_draft;
}

bool WriteDraft(const CrashFacts& crash, const CrashSettings& settings, const char* path) {
  const machine::FrameLines frames(crash.frames, crash.frame_count, crash.interrupted,
                                   crash.interrupted_later);
  ReportPath default_dir;
  if (!DefaultDumpDir(default_dir, sizeof default_dir)) default_dir[0] = '\0';
  Source source = {crash, settings, frames, DumpDirOf(settings, default_dir), path};
  WriteDraftOf(&source);
  return source.has_draft;
}

}  // namespace CrashHandler
