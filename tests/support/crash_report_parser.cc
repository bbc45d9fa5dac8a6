#include "tests/support/crash_report_parser.h"

#include <algorithm>
#include <regex>

namespace oru_test {
namespace {

// Takes the text apart from the front; the first thing out of place stays as the error.
class Reader {
 public:
  explicit Reader(const std::string& text) : text_(text) {}

  bool AtLine(const std::string& start) const {
    return error_.empty() && text_.compare(position_, start.size(), start) == 0;
  }

  // The next line without its newline.
  std::string Line() {
    const size_t end = text_.find('\n', position_);
    if (!error_.empty() || end == std::string::npos) {
      Fail("text ends too early");
      return "";
    }
    std::string line = text_.substr(position_, end - position_);
    position_ = end + 1;
    ++number_;
    return line;
  }

  void Expect(const std::string& wanted) {
    const std::string line = Line();
    if (line != wanted) Fail("'" + line + "' instead of '" + wanted + "'");
  }

  std::string Labelled(const std::string& label) {
    const std::string line = Line();
    if (line.compare(0, label.size(), label) != 0) {
      Fail("'" + line + "' does not begin with '" + label + "'");
      return "";
    }
    return line.substr(label.size());
  }

  std::string Rest() const { return text_.substr(position_); }

  void Fail(const std::string& what) {
    if (error_.empty()) error_ = "line " + std::to_string(number_) + ": " + what;
  }

  const std::string& error() const { return error_; }

 private:
  const std::string& text_;
  size_t position_ = 0;
  int number_ = 0;
  std::string error_;
};

void ReadHeader(Reader* reader, CrashReportText* report) {
  report->hardware_model = reader->Labelled("Harware Model:     ");
  report->process = reader->Labelled("Process:           ");
  report->path = reader->Labelled("Path:              ");
  report->code_type = reader->Labelled("Code Type:         ");
  report->date_time = reader->Labelled("Date/Time:         ");
  const std::string thread = reader->Labelled("Crash Thread:      ");
  if (!std::regex_match(thread, std::regex("-?[0-9]+"))) {
    reader->Fail("crash thread '" + thread + "'");
    return;
  }
  report->crash_thread = static_cast<int32_t>(std::stoll(thread));
  reader->Expect("");
}

void ReadException(Reader* reader, CrashReportText* report) {
  if (!reader->AtLine("Application Specific Information:\n")) return;
  reader->Line();
  report->exception = reader->Line();
  if (report->exception->rfind("*** Terminating app due to uncaught exception '", 0) != 0) {
    reader->Fail("not the line of an exception: " + *report->exception);
  }
  reader->Expect("");
}

void ReadCrashThread(Reader* reader, CrashReportText* report) {
  reader->Expect("Crash Thread Backtrace:");
  while (reader->error().empty() && !reader->AtLine("\n")) {
    report->crash_frames.push_back(reader->Line());
  }
  reader->Expect("");
}

// Failure texts have no line end: they stand in front of the next block's header.
void TakeFailures(std::string* line, CrashReportText* report) {
  static const auto* const failure = new std::regex(
      "^(Fail to get information about thread: [0-9]+|Fail to get instruction address|"
      "Fail to get frame pointer|Fail to get information of all threads)");
  std::smatch match;
  while (std::regex_search(*line, match, *failure)) {
    report->thread_failures.push_back(match[1]);
    *line = match.suffix();
  }
}

void ReadThread(const std::string& header, Reader* reader, CrashReportText* report) {
  static const auto* const pattern = new std::regex("Thread ([0-9]+) (.*):");
  std::smatch match;
  if (!std::regex_match(header, match, *pattern)) {
    reader->Fail("not a thread's header: '" + header + "'");
    return;
  }
  ReportedThread thread;
  thread.number = static_cast<uint32_t>(std::stoul(match[1]));
  thread.name = match[2];
  while (reader->error().empty() && !reader->AtLine("\n")) thread.frames.push_back(reader->Line());
  reader->Expect("");
  report->threads.push_back(thread);
}

void ReadAllThreads(Reader* reader, CrashReportText* report) {
  reader->Expect("All Thread Backtrace:");
  while (reader->error().empty() && !reader->AtLine("\n")) {
    std::string line = reader->Line();
    TakeFailures(&line, report);
    if (!line.empty()) {
      ReadThread(line, reader, report);
    } else {
      // Failures behind the last block: their line end was the section's.
      return;
    }
  }
  reader->Expect("");
}

void ReadImage(const std::string& line, Reader* reader, CrashReportText* report) {
  static const auto* const pattern =
      new std::regex("( *0x[0-9a-f]+) - ( *0x[0-9a-f]+)  (.*) (arm64|armv7)  <([0-9a-f]*)> (.*)");
  std::smatch match;
  if (!std::regex_match(line, match, *pattern)) {
    reader->Fail("not an image's line: '" + line + "'");
    return;
  }
  ReportedImage image;
  image.start = std::stoull(match[1], nullptr, 16);
  image.end = std::stoull(match[2], nullptr, 16);
  image.name = match[3];
  image.arch = match[4];
  image.uuid = match[5];
  image.path = match[6];
  const long width = image.arch == "arm64" ? 18 : 10;
  if (match[1].length() != width || match[2].length() != width) {
    reader->Fail("addresses are not " + std::to_string(width) + " wide: '" + line + "'");
  }
  report->images.push_back(image);
}

void ReadImages(Reader* reader, CrashReportText* report) {
  reader->Expect("Binary Images:");
  while (reader->error().empty() && !reader->AtLine("\n")) {
    ReadImage(reader->Line(), reader, report);
  }
  reader->Expect("");
}

void ReadCustomInfo(Reader* reader, CrashReportText* report) {
  reader->Expect("UserCustomInfo:");
  report->custom_info = reader->Rest();
  if (report->custom_info.empty() || report->custom_info.back() != '\n') {
    reader->Fail("no line end behind the custom text");
    return;
  }
  report->custom_info.pop_back();
}

}  // namespace

const ReportedThread* CrashReportText::FindThread(uint32_t number) const {
  const auto found = std::find_if(threads.begin(), threads.end(),
                                  [&](const auto& thread) { return thread.number == number; });
  return found == threads.end() ? nullptr : &*found;
}

const ReportedThread* CrashReportText::FindThread(const std::string& name) const {
  const auto found = std::find_if(threads.begin(), threads.end(),
                                  [&](const auto& thread) { return thread.name == name; });
  return found == threads.end() ? nullptr : &*found;
}

bool CrashReportText::AnyContains(const std::vector<std::string>& lines, const std::string& part) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const std::string& line) { return line.find(part) != std::string::npos; });
}

CrashReportText ParseCrashReport(const std::string& text) {
  CrashReportText report;
  Reader reader(text);
  ReadHeader(&reader, &report);
  ReadException(&reader, &report);
  ReadCrashThread(&reader, &report);
  ReadAllThreads(&reader, &report);
  ReadImages(&reader, &report);
  ReadCustomInfo(&reader, &report);
  report.error = reader.error();
  return report;
}

}  // namespace oru_test
