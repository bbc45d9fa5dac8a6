#include "oru_report/analysis/headline.h"

#include <algorithm>

#include "oru_report/analysis/cause.h"
#include "oru_report/analysis/folding.h"
#include "oru_report/model/line_text.h"
#include "oru_report/model/report_name.h"
#include "oru_report/text/path_text.h"

namespace oru_report {
namespace {

std::string SystemOf(const Report& report) {
  std::string system;
  const auto add = [&](std::string_view part) {
    if (!part.empty() && !Contains(system, part)) {
      system += (system.empty() ? "" : ", ") + std::string(part);
    }
  };
  for (const Image& image : report.images) {
    const bool mac = StartsWith(image.path, "/usr/lib/dyld") || EndsWith(image.path, ".dylib") ||
                     StartsWith(image.path, "/System/Library/");
    const bool linux = Contains(image.path, "/ld-linux") || Contains(image.path, "linux-vdso") ||
                       Contains(image.path, "/libc.so.") || Contains(image.path, "/ld-musl");
    if (mac || linux) {
      add(mac ? "macOS" : "Linux");
      break;
    }
  }
  add(report.HeaderValue("Code Type"));
  add(report.HeaderValue("Harware Model"));
  return system;
}

std::string KindOf(const Report& report, const ReportName& name) {
  if (!name.kind.empty()) return name.kind;
  if (!report.exception.empty()) return "Exception";
  const size_t depth = std::min<size_t>(report.crash_frames.size(), 16);
  for (size_t i = 0; i < depth; ++i) {
    const std::string_view symbol = report.crash_frames[i]->symbol();
    if (StartsWith(symbol, "_Znw") || StartsWith(symbol, "_Zna")) return "MemoryError";
  }
  return "Signal";
}

// A folder is the version's only if it is like one: a report may have been moved anywhere.
std::string VersionOf(std::string_view folder) {
  const std::string_view number = !folder.empty() && folder[0] == 'v' ? folder.substr(1) : folder;
  const bool begins = !number.empty() && number[0] >= '0' && number[0] <= '9';
  return begins ? std::string(folder) : "";
}

// The header's time without its milliseconds, or the file name's.
std::string TimeOf(const Report& report, const ReportName& name) {
  constexpr std::string_view kForm = "dddd-dd-dd dd:dd:dd";
  const std::string_view time = report.HeaderValue("Date/Time").substr(0, kForm.size());
  bool good = time.size() == kForm.size();
  for (size_t i = 0; good && i < time.size(); ++i) {
    const bool digit = time[i] >= '0' && time[i] <= '9';
    good = kForm[i] == 'd' ? digit : time[i] == kForm[i];
  }
  return good ? std::string(time) : name.time;
}

std::string FrameText(Resolver* resolver, size_t index) {
  const FrameList& frames = resolver->report().crash_frames;
  if (index >= frames.size()) return "";
  const Frame& frame = *frames[index];
  const std::string name = resolver->NameOf(frame, index != 0);
  const std::string place = Resolver::PlaceOf(resolver->Resolve(frame, index != 0));
  return place.empty() ? name : name + " at " + std::string(LastPathEntry(place));
}

size_t FirstOf(Resolver* resolver, size_t from, Mark mark) {
  const FrameList& frames = resolver->report().crash_frames;
  // Frame 0 never counts as the SDK's.
  for (size_t i = std::max<size_t>(from, mark == Mark::kSdk ? 1 : 0); i < frames.size(); ++i) {
    if (resolver->Resolve(*frames[i], i != 0).mark == mark) return i;
  }
  return frames.size();
}

}  // namespace

std::string_view ExceptionName(std::string_view exception) {
  constexpr std::string_view kBefore = "uncaught exception '";
  const size_t start = exception.find(kBefore);
  const size_t end = exception.find("', reason: '", start);
  if (start == std::string_view::npos || end == std::string_view::npos) return {};
  return exception.substr(start + kBefore.size(), end - start - kBefore.size());
}

std::string_view ExceptionReason(std::string_view exception) {
  constexpr std::string_view kBefore = "', reason: '";
  const size_t start = exception.find(kBefore);
  if (start == std::string_view::npos) return {};
  std::string_view reason = exception.substr(start + kBefore.size());
  if (EndsWith(reason, "'")) reason.remove_suffix(1);
  return reason;
}

Headline MakeHeadline(std::string_view file_name, std::string_view folder, Resolver* resolver) {
  const Report& report = resolver->report();
  const ReportName name = ParseReportName(file_name);
  Headline headline;
  headline.kind = KindOf(report, name);
  headline.exception_name = ExceptionName(report.exception);
  headline.reason = ExceptionReason(report.exception);
  headline.app = name.app;
  headline.process = report.HeaderValue("Process");
  headline.version = VersionOf(folder);
  headline.session = name.session;
  headline.time = TimeOf(report, name);
  headline.system = SystemOf(report);
  headline.handler_frames = CountHandlerFrames(report);
  headline.first = headline.handler_frames;
  headline.cause = CauseOf(resolver, headline.first);
  headline.sdk = FirstOf(resolver, headline.first, Mark::kSdk);
  headline.app_frame = FirstOf(resolver, headline.first, Mark::kApp);
  headline.first_text = FrameText(resolver, headline.first);
  headline.sdk_text = FrameText(resolver, headline.sdk);
  headline.app_text = FrameText(resolver, headline.app_frame);
  return headline;
}

std::string HeadlineText(const Headline& headline) {
  std::string text = headline.kind;
  if (!headline.exception_name.empty()) text += " '" + headline.exception_name + "'";
  if (!headline.reason.empty()) text += " (" + headline.reason + ")";
  if (!headline.cause.empty()) text += " (" + headline.cause + ")";
  const auto add = [&](const char* before, const std::string& part) {
    if (!part.empty()) text += before + part;
  };
  add(" in ", headline.sdk_text.empty() ? headline.first_text : headline.sdk_text);
  add(", in the app ", headline.app_text);
  add(" | app ", headline.app.empty() ? headline.process : headline.app);
  add(" | SDK ", headline.version);
  add(" | session ", headline.session);
  add(" | ", headline.time);
  add(" | ", headline.system);
  return text;
}

}  // namespace oru_report
