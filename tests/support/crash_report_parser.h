// Reads a crash report back, strictly: anything out of place is an error.
#ifndef TESTS_SUPPORT_CRASH_REPORT_PARSER_H_
#define TESTS_SUPPORT_CRASH_REPORT_PARSER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace oru_test {

struct ReportedThread {
  uint32_t number = 0;
  std::string name;
  // The whole lines, without their newlines.
  std::vector<std::string> frames;
};

struct ReportedImage {
  uint64_t start = 0;
  uint64_t end = 0;
  std::string name;
  std::string arch;
  std::string uuid;
  std::string path;
};

struct CrashReportText {
  // What is wrong with the text, and where; empty for a good report.
  std::string error;

  std::string hardware_model;
  std::string process;
  std::string path;
  std::string code_type;
  std::string date_time;
  int32_t crash_thread = 0;
  // The "*** Terminating app ..." line of an exception report.
  std::optional<std::string> exception;
  std::vector<std::string> crash_frames;
  std::vector<ReportedThread> threads;
  // Texts in the place of a thread's block: "Fail to get ...".
  std::vector<std::string> thread_failures;
  std::vector<ReportedImage> images;
  std::string custom_info;

  // The block of a thread, or null.
  const ReportedThread* FindThread(uint32_t number) const;
  const ReportedThread* FindThread(const std::string& name) const;
  // Whether one of the lines has `part` in it.
  static bool AnyContains(const std::vector<std::string>& lines, const std::string& part);
};

CrashReportText ParseCrashReport(const std::string& text);

}  // namespace oru_test

#endif  // TESTS_SUPPORT_CRASH_REPORT_PARSER_H_
