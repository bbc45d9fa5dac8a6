#include "tests/crash_handler/support/log_capture.h"

namespace oru_test {
namespace {

LogCapture* sCapture = nullptr;

}  // namespace

LogCapture::LogCapture() {
  sCapture = this;
  CrashHandler::SetLogSink(Sink);
}

LogCapture::~LogCapture() {
  CrashHandler::SetLogSink(nullptr);
  sCapture = nullptr;
}

void LogCapture::Sink(CrashHandler::CrashHandlerLogLevel level, const char* tag, const char* file,
                      int32_t line, char* message) {
  sCapture->lines_.push_back({level, tag, file, line, message});
}

std::vector<std::string> LogCapture::Texts() const {
  std::vector<std::string> texts;
  texts.reserve(lines_.size());
  for (const LoggedLine& line : lines_) {
    texts.push_back(std::to_string(line.level) + " " + line.message);
  }
  return texts;
}

}  // namespace oru_test
