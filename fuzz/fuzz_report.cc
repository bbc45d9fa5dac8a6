// Crash reports of any bytes: read, compared with a strict reader, shown as text and as a page.
#include <algorithm>
#include <stdexcept>

#include "fuzz/fuzz_support.h"
#include "fuzz/markup_check.h"
#include "oru_report/model/report_parser.h"
#include "oru_report/render/render.h"
#include "oru_report/text/escape.h"
#include "tests/support/crash_report_parser.h"

using oru_fuzz::Require;
using oru_report::Report;
using oru_test::CrashReportText;
using Strings = std::vector<std::string>;

namespace {

const char* const kTitles[] = {"Application Specific Information:", "Crash Thread Backtrace:",
                               "All Thread Backtrace:", "Binary Images:", "UserCustomInfo:"};

// A report whose parts are the input's pieces between zeros, so that every section is reached.
std::string Assembled(const std::string& input) {
  Strings parts = oru_test::PiecesOf(input, '\0', true);
  parts.resize(std::max<size_t>(parts.size(), 6));
  std::string text = "Harware Model:     x86_64\nProcess:           " + parts[0] +
                     "\nPath:              /tmp\nCode Type:         x86_64\n" +
                     "Date/Time:         2024-03-05 07:08:09 123\n" +
                     "Crash Thread:      " + parts[1] + "\n\n";
  text += std::string(kTitles[1]) + "\n" + parts[2] + "\n\n";
  text += std::string(kTitles[2]) + "\n" + parts[3] + "\n\n\n";
  text += std::string(kTitles[3]) + "\n" + parts[4] + "\n\n";
  return text + kTitles[4] + "\n" + parts[5] + "\n";
}

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

Strings TextsOf(const oru_report::FrameList& frames) {
  Strings lines;
  for (const oru_report::Frame* frame : frames) lines.emplace_back(frame->text);
  return lines;
}

// Whether the lines can be told from the sections' titles and the blocks' headers around them.
bool IsPlain(const Strings& lines) {
  return std::all_of(lines.begin(), lines.end(), [](const std::string& line) {
    const bool title = std::find(std::begin(kTitles), std::end(kTitles), line) != std::end(kTitles);
    return !title && line.rfind("Thread ", 0) != 0 && line.rfind("Fail to get ", 0) != 0;
  });
}

// False when the text is no report to the strict reader, or one whose parts can be mistaken.
bool ReadStrictly(const std::string& text, CrashReportText* strict) {
  try {
    *strict = oru_test::ParseCrashReport(text);
  } catch (const std::logic_error&) {
    // A number that the reader's own type does not hold.
    return false;
  }
  if (!strict->error.empty() || !IsPlain(strict->crash_frames)) return false;
  for (const oru_test::ReportedThread& thread : strict->threads) {
    if (!IsPlain(thread.frames) || thread.name.find('\0') != std::string::npos) return false;
  }
  for (const oru_test::ReportedImage& image : strict->images) {
    if ((image.name + image.path).find("  <") != std::string::npos) return false;
  }
  return true;
}

void CheckThreads(const Report& report, const CrashReportText& strict) {
  Require(report.threads.size() == strict.threads.size(), "number of threads");
  for (size_t i = 0; i < strict.threads.size(); ++i) {
    Require(report.threads[i].number == strict.threads[i].number, "thread's number");
    Require(report.threads[i].name == strict.threads[i].name, "thread's name");
    Require(TextsOf(report.threads[i].frames) == strict.threads[i].frames, "thread's frames");
  }
  Require(Strings(report.thread_notes.begin(), report.thread_notes.end()) == strict.thread_failures,
          "failures");
  const oru_report::Thread* crashed = report.CrashThread();
  const auto* found = strict.FindThread(static_cast<uint32_t>(strict.crash_thread));
  Require((crashed == nullptr) == (found == nullptr), "crash thread is there");
  if (crashed != nullptr) Require(crashed->number == found->number, "crash thread");
}

void CheckImages(const Report& report, const CrashReportText& strict) {
  Require(report.images.size() == strict.images.size(), "number of images");
  for (size_t i = 0; i < strict.images.size(); ++i) {
    const oru_report::Image& image = report.images[i];
    const oru_test::ReportedImage& wanted = strict.images[i];
    Require(image.start == wanted.start && image.end == wanted.end, "image's addresses");
    Require(Trimmed(std::string(image.name)) == Trimmed(wanted.name), "image's name");
    Require(image.uuid == wanted.uuid && image.path == wanted.path, "image's uuid and path");
  }
}

void CheckAgainstStrict(const std::string& text, bool good, const Report& report) {
  CrashReportText strict;
  if (!ReadStrictly(text, &strict)) return;
  Require(good, "a report by the strict rules is a report");
  Require(report.HeaderValue("Process") == Trimmed(strict.process), "process");
  Require(report.HeaderValue("Date/Time") == Trimmed(strict.date_time), "time");
  Require(report.exception == strict.exception.value_or(""), "exception");
  Require(report.gaps.empty(), "a whole report has no gaps");
  Require(TextsOf(report.crash_frames) == strict.crash_frames, "crash frames");
  Require(report.custom_info == strict.custom_info, "custom text");
  CheckThreads(report, strict);
  CheckImages(report, strict);
}

// All that was read stands in the text.
void CheckParts(const std::string& text, const Report& report) {
  const auto has = [&](std::string_view part) { return text.find(part) != std::string::npos; };
  for (const auto& [label, value] : report.header) Require(has(label) && has(value), "header");
  for (const std::string& line : TextsOf(report.crash_frames)) Require(has(line), "crash frame");
  for (const oru_report::Thread& thread : report.threads) {
    Require(has(thread.name), "thread's name");
    for (const oru_report::Frame* frame : thread.frames) {
      Require(has(frame->text) && has(frame->image()) && has(frame->symbol()), "frame");
    }
  }
  for (const oru_report::Image& image : report.images) {
    Require(has(image.name) && has(image.uuid) && has(image.path), "image");
  }
  Require(has(report.custom_info), "custom text");
}

void CheckShown(const Report& report, const std::string& title) {
  oru_report::Resolver resolver(report, nullptr);
  const oru_report::Headline headline = oru_report::MakeHeadline(title, "6.1.0", &resolver);
  for (const bool color : {false, true}) {
    oru_report::StringOutput text;
    oru_report::RenderText(headline, &resolver, nullptr, color, &text);
    oru_fuzz::CheckTerminalText(text.text(), color);
    // A made-up report is not many times as long when it is shown.
    Require(text.text().size() <= 65536 + report.text->size() * 400, "a text in proportion");
  }
  oru_report::StringOutput html;
  oru_report::RenderHtml(headline, &resolver, {}, title, &html);
  const std::string page = oru_fuzz::TextOfPage(html.text());
  const auto shows = [&](std::string_view part) {
    return page.find(oru_report::Visible(part, true)) != std::string::npos;
  };
  Require(shows(title) && shows(report.exception) && shows(report.custom_info), "page");
  for (const auto& [label, value] : report.header) Require(shows(label) && shows(value), "header");
  for (const std::string_view note : report.thread_notes) Require(shows(note), "note");
  for (const oru_report::Image& image : report.images) Require(shows(image.path), "image");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const bool assembled = input.Byte() % 2 == 0;
  const std::string title = input.Text(input.Byte() % 8);
  const std::string rest = input.Rest();
  const std::string text = assembled ? Assembled(rest) : rest;
  Report report;
  std::string error;
  const bool good = oru_report::ParseReport(text, &report, &error);
  Require(good == error.empty(), "a refusal says why");
  CheckAgainstStrict(text, good, report);
  CheckParts(text, report);
  // What was read before a refusal can be shown, too.
  CheckShown(report, title);
  return 0;
}
