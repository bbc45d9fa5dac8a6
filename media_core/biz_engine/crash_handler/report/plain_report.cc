#include "media_core/biz_engine/crash_handler/report/plain_report.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>

#include "media_core/biz_engine/crash_handler/machine/host/host.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"
#include "media_core/biz_engine/crash_handler/report/civil_time.h"
#include "media_core/biz_engine/crash_handler/report/crash_report_file.h"
#include "media_core/biz_engine/crash_handler/report/frame_line.h"
#include "media_core/biz_engine/crash_handler/report/image_list_text.h"

namespace CrashHandler {
namespace {

using machine::SymbolInformation;
using machine::TextBuffer;

constexpr size_t kMaxFrames = 128;
constexpr char kFilter[] = "OruRTC";
// The module's own frames, which carry the filter's word too.
constexpr const char* kOwnNames[] = {
    "OruRTCCrashReport",      "OruRTCTerminateCatchHandler", "OruRTCSignalCatchHandler",
    "OruRTCExceptionHandler", "OruRTCNewFailedCatchHandler", "OruRTCCallStack",
    "OruRTCCrashConfig"};

char sApplication[256] = "";
std::atomic<long> sSecondsEast{0};

machine::CivilTime LocalTime(time_t time) {
  return machine::ToCivilTime(static_cast<uint64_t>(time + sSecondsEast.load()));
}

// A date, `gap`, and the time of day with `colon` between its parts.
void AppendTime(const machine::CivilTime& time, char gap, char colon, TextBuffer* text) {
  text->AppendNumber(time.year, 10, 4);
  text->Append('-');
  text->AppendNumber(time.month, 10, 2);
  text->Append('-');
  text->AppendNumber(time.day, 10, 2);
  text->Append(gap);
  text->AppendNumber(time.hour, 10, 2);
  text->Append(colon);
  text->AppendNumber(time.minute, 10, 2);
  text->Append(colon);
  text->AppendNumber(time.second, 10, 2);
}

size_t Utf8Length(unsigned char first) {
  if (first < 0x80) return 1;
  if (first >= 0xc2 && first < 0xe0) return 2;
  if (first >= 0xe0 && first < 0xf0) return 3;
  return first >= 0xf0 && first < 0xf5 ? 4 : 0;
}

// Whether a character of that length begins here. Its first byte rules out much of what is too
// long or too great, its second the rest.
bool IsUtf8Character(const unsigned char* bytes, size_t length) {
  for (size_t i = 1; i < length; ++i) {
    if ((bytes[i] & 0xc0) != 0x80) return false;
  }
  if (bytes[0] == 0xe0) return bytes[1] >= 0xa0;
  if (bytes[0] == 0xed) return bytes[1] < 0xa0;
  if (bytes[0] == 0xf0) return bytes[1] >= 0x90;
  return bytes[0] != 0xf4 || bytes[1] < 0x90;
}

bool IsUtf8(const char* text) {
  const auto* byte = reinterpret_cast<const unsigned char*>(text);
  while (*byte != 0) {
    const size_t length = Utf8Length(*byte);
    if (length == 0 || !IsUtf8Character(byte, length)) return false;
    byte += length;
  }
  return true;
}

// Bytes that are not UTF-8 are taken as Latin-1.
void AppendText(const char* bytes, TextBuffer* text) {
  if (bytes == nullptr) return;
  if (IsUtf8(bytes)) return text->Append(bytes);
  for (; *bytes != '\0'; ++bytes) {
    const auto byte = static_cast<unsigned char>(*bytes);
    if (byte >= 0x80) text->Append(static_cast<char>(0xc0 | byte >> 6));
    text->Append(static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3f)));
  }
}

void AppendField(const char* label, const char* value, TextBuffer* text) {
  text->Append(label);
  AppendText(value, text);
  text->Append('\n');
}

void AppendHeader(const PlainCrash& crash, TextBuffer* text) {
  char machine_name[256];
  machine::MachineName(machine_name, sizeof machine_name);
  AppendField("Harware Model:     ", machine_name, text);
  AppendField("Process:           ", sApplication, text);
  AppendField("Path:              ", crash.dump_dir, text);
  AppendField("Code Type:         ", machine::HostCpuTypeName(), text);
  text->Append("Date/Time:         ");
  AppendTime(LocalTime(crash.time.tv_sec), ' ', ':', text);
  text->Append(' ');
  text->AppendNumber(static_cast<uint64_t>(crash.time.tv_nsec) / 1000000, 10, 3);
  text->Append("\nCrash Thread:      ");
  text->AppendNumber(machine::CurrentThreadNumber());
  text->Append("\n\n");
}

void AppendException(const PlainCrash& crash, TextBuffer* text) {
  if (crash.exception_name == nullptr) return;
  text->Append("Application Specific Information:\n");
  text->Append("*** Terminating app due to uncaught exception '");
  AppendText(crash.exception_name, text);
  text->Append("', reason: '");
  AppendText(crash.exception_reason, text);
  text->Append("'\n\n");
}

// What stands in a line from `start` on.
bool Contains(const TextBuffer& text, size_t start, const char* word) {
  return memmem(text.data() + start, text.size() - start, word, strlen(word)) != nullptr;
}

bool IsOfTheSdk(const TextBuffer& text, size_t start) {
  if (!Contains(text, start, kFilter)) return false;
  return std::none_of(std::begin(kOwnNames), std::end(kOwnNames),
                      [&](const char* name) { return Contains(text, start, name); });
}

// Whether one of the frames is the SDK's; the innermost does not count.
bool AppendFrames(const PlainCrash& crash, TextBuffer* text) {
  const size_t count = std::min(crash.frame_count, kMaxFrames);
  uintptr_t addresses[kMaxFrames];
  SymbolInformation records[kMaxFrames];
  for (size_t i = 0; i < count; ++i) addresses[i] = reinterpret_cast<uintptr_t>(crash.frames[i]);
  machine::Symbolizer symbolizer;
  symbolicate(&symbolizer, addresses, records, count, 0);
  bool concerns_sdk = false;
  text->Append("Crash Thread Backtrace:\n");
  for (size_t i = 0; i < count; ++i) {
    const size_t start = text->size();
    machine::AppendFrameLine(i, addresses[i], records[i], text);
    if (i != 0 && IsOfTheSdk(*text, start)) concerns_sdk = true;
    text->Append('\n');
  }
  text->Append('\n');
  return concerns_sdk;
}

// The parts of a report that need memory of their own.
struct Parts {
  TextBuffer front;    // to the threads
  TextBuffer images;   // to the title of the host's words
  TextBuffer recoded;  // these, where they are not UTF-8
};

// False when the crash does not concern the SDK, or something does not fit into the memory. The
// threads have what the other parts leave.
bool AppendReport(const PlainCrash& crash, Parts* parts) {
  AppendHeader(crash, &parts->front);
  AppendException(crash, &parts->front);
  if (!AppendFrames(crash, &parts->front)) return false;
  parts->images.Append("\nBinary Images:\n");
  machine::AppendImageList(&parts->images);
  parts->images.Append("\nUserCustomInfo:\n");
  if (!IsUtf8(crash.extra_info)) AppendText(crash.extra_info, &parts->recoded);
  parts->front.Append("All Thread Backtrace:\n");
  AppendAllThreads(&parts->front);
  return !parts->front.overflowed() && !parts->images.overflowed() && !parts->recoded.overflowed();
}

const char* KindWord(CrashType kind) {
  switch (kind) {
    case Exception:
      return "Exception";
    case MemoryError:
    case Terminate:
      return "MemoryError";
    default:
      return "Signal";
  }
}

void AppendComponent(const char* name, TextBuffer* path) {
  if (path->size() == 0 || path->data()[path->size() - 1] != '/') path->Append('/');
  AppendText(name, path);
}

// Makes the directory and takes its path and the file's name, with terminating zeros. False when
// it is too long.
bool MakePath(const PlainCrash& crash, PlainPath path) {
  TextBuffer text;
  AppendText(crash.dump_dir, &text);
  if (crash.sdk_version[0] != '\0') AppendComponent(crash.sdk_version, &text);
  if (text.overflowed() || text.size() >= sizeof(PlainPath)) return false;
  memcpy(path, text.data(), text.size());
  path[text.size()] = '\0';
  CreateDirectories(path);
  AppendComponent("Crash_", &text);
  for (const char* part : {crash.app_id, crash.session_id, KindWord(crash.kind)}) {
    AppendText(part, &text);
    text.Append('_');
  }
  AppendTime(LocalTime(crash.time.tv_sec), '-', '-', &text);
  text.Append(".log");
  if (text.overflowed() || text.size() >= sizeof(PlainPath)) return false;
  memcpy(path, text.data(), text.size());
  path[text.size()] = '\0';
  return true;
}

}  // namespace

void PreparePlainReport(const char* application) {
  strncpy(sApplication, application, sizeof sApplication - 1);
  const time_t now = time(nullptr);
  tm local = {};
  localtime_r(&now, &local);
  sSecondsEast.store(local.tm_gmtoff);
}

bool WritePlainReport(const PlainCrash& crash, PlainPath path) {
  Parts parts;
  if (!AppendReport(crash, &parts) || !MakePath(crash, path)) return false;
  // The host's words may be long: they are written from where they are.
  const Piece info = IsUtf8(crash.extra_info) ? Piece{crash.extra_info, strlen(crash.extra_info)}
                                              : Piece{parts.recoded.data(), parts.recoded.size()};
  const Piece pieces[] = {{parts.front.data(), parts.front.size()},
                          {parts.images.data(), parts.images.size()},
                          info,
                          {"\n", 1}};
  return ReplaceFileByPieces(path, pieces, std::size(pieces));
}

}  // namespace CrashHandler
