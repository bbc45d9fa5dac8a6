#include "media_core/biz_engine/crash_handler/tools/report_names.h"

#include <cstdio>
#include <cstdlib>

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

namespace CrashHandler::dumps {
namespace {

// "0" stands for any digit.
constexpr char kTimePattern[] = "0000-00-00-00-00-00";
constexpr char kSessionPrefix[] = "Session_";
constexpr char kSessionEnding[] = ".run";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsTime(const std::string& text) {
  if (text.size() != sizeof kTimePattern - 1) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (kTimePattern[i] == '0' ? !IsDigit(text[i]) : text[i] != '-') return false;
  }
  return true;
}

bool IsKind(const std::string& word) {
  for (const CrashType kind : {Signal, Exception, MemoryError, Terminate}) {
    if (word == GetCrashTypeString(kind)) return true;
  }
  return false;
}

// Cuts "_KIND_TIME.log" off; false when it is not there.
bool TakeKindAndTime(std::string* name, std::string* kind) {
  if (!EndsIn(*name, kReportEnding)) return false;
  const std::string stem = name->substr(0, name->size() - (sizeof kReportEnding - 1));
  const size_t time = stem.rfind('_');
  if (time == std::string::npos || time == 0 || !IsTime(stem.substr(time + 1))) return false;
  const size_t word = stem.rfind('_', time - 1);
  if (word == std::string::npos) return false;
  *kind = stem.substr(word + 1, time - word - 1);
  *name = stem.substr(0, word);
  return IsKind(*kind);
}

std::string Hex(char c) {
  char text[4];
  snprintf(text, sizeof text, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
  return text;
}

std::string EscapeId(const std::string& id) {
  std::string escaped;
  for (const char c : id) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    escaped += letter || IsDigit(c) || c == '-' || c == '.' ? std::string(1, c) : Hex(c);
  }
  return escaped;
}

}  // namespace

bool EndsIn(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() &&
         text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

bool BeginsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

bool ParseReportName(const std::string& name, ReportName* parts) {
  std::string ids = name;
  if (!BeginsWith(name, kReportPrefix) || !TakeKindAndTime(&ids, &parts->kind)) return false;
  if (ids.size() < sizeof kReportPrefix - 1) return false;
  ids.erase(0, sizeof kReportPrefix - 1);
  const size_t end = ids.find('_');
  if (end == std::string::npos) return false;
  parts->app_id = ids.substr(0, end);
  parts->session_id = ids.substr(end + 1);
  return true;
}

bool IsReportNameOf(const std::string& name, const std::string& app_id,
                    const std::string& session_id) {
  std::string ids = name;
  std::string kind;
  if (!TakeKindAndTime(&ids, &kind)) return false;
  const std::string of_app = kReportPrefix + app_id + "_";
  return session_id.empty() ? BeginsWith(ids, of_app) : ids == of_app + session_id;
}

std::string WithEnding(const std::string& report, const char* ending) {
  return report.substr(0, report.size() - (sizeof kReportEnding - 1)) + ending;
}

std::string SessionFileName(const std::string& app_id, const std::string& session_id) {
  return kSessionPrefix + EscapeId(app_id) + "_" + EscapeId(session_id) + kSessionEnding;
}

bool IsSessionFileName(const std::string& name) {
  return BeginsWith(name, kSessionPrefix) && EndsIn(name, kSessionEnding);
}

std::string EscapeLine(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    const bool control = static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
    escaped += control || c == '%' ? Hex(c) : std::string(1, c);
  }
  return escaped;
}

std::string UnescapeLine(const std::string& text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%' || i + 2 >= text.size()) {
      plain += text[i];
      continue;
    }
    plain += static_cast<char>(strtol(text.substr(i + 1, 2).c_str(), nullptr, 16));
    i += 2;
  }
  return plain;
}

}  // namespace CrashHandler::dumps
