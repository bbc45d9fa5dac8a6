// An archive of the reference SDK, as its upload makes it, read in place.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "examples/reference_sdk/log_archive.h"
#include "oru_report/input/report_files.h"
#include "tests/oru_report/sample.h"
#include "tests/support/files.h"

namespace oru_report {
namespace {

using oru_test::TempDir;

std::string PackedBySdk(const TempDir& dir, const std::string& folder) {
  reference_sdk::LogFiles files;
  reference_sdk::LeftOutFiles left_out;
  EXPECT_TRUE(files.Collect(folder, &left_out));
  std::string path = dir.Join("logs.zip");
  const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  uint64_t size = 0;
  EXPECT_EQ(reference_sdk::PackLogs(files, 2, descriptor, &size, &left_out),
            reference_sdk::kStored);
  close(descriptor);
  return path;
}

TEST(ReferenceArchive, HasItsReportsWithTheirFolders) {
  const TempDir dir;
  const std::string name = "Crash_A1_S1_Signal_2024-03-05-07-08-09.log";
  oru_test::MakeDirs(dir.Join("in/crashes/6.1.0"));
  oru_test::WriteFile(dir.Join("in/crashes/6.1.0/" + name), oru_report_test::kSignalReport);
  oru_test::WriteFile(dir.Join("in/second.log"), oru_report_test::kExceptionReport);
  oru_test::WriteFile(dir.Join("in/app.log"), "[I] joined\n");
  oru_test::WriteFile(dir.Join("in/trace.json"), "[]");
  // More than one piece of the packer.
  std::string words;
  for (uint64_t i = 0; words.size() < (3U << 20); ++i) {
    words += std::to_string(i * 0x9E3779B97F4A7C15) + "\n";
  }
  oru_test::WriteFile(dir.Join("in/third.log"), oru_report_test::kSignalReport + words);
  const std::string archive = PackedBySdk(dir, dir.Join("in"));
  std::vector<ReportFile> found;
  PassedOver passed;
  VisitReportFiles(
      {archive}, [&](ReportFile file) { found.push_back(std::move(file)); }, &passed);
  ASSERT_EQ(found.size(), 3U);
  for (const ReportFile& file : found) {
    EXPECT_EQ(file.gap, "");
    if (file.name == name) {
      EXPECT_EQ(file.folder, "6.1.0");
      EXPECT_EQ(file.text, oru_report_test::kSignalReport);
    } else if (file.name == "second.log") {
      EXPECT_EQ(file.text, oru_report_test::kExceptionReport);
    } else {
      EXPECT_TRUE(file.text == oru_report_test::kSignalReport + words);
    }
  }
  EXPECT_EQ(passed.Summary(), "passed over: 1 file of another kind, 1 that is no report");
}

}  // namespace
}  // namespace oru_report
