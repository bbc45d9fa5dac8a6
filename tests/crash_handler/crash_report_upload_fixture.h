// Sends a report by a script that stands for the command.
#ifndef TESTS_CRASH_HANDLER_CRASH_REPORT_UPLOAD_FIXTURE_H_
#define TESTS_CRASH_HANDLER_CRASH_REPORT_UPLOAD_FIXTURE_H_

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "media_core/biz_engine/crash_handler/tools/crash_report_upload.h"
#include "media_core/biz_engine/crash_handler/tools/crash_session.h"
#include "tests/support/files.h"

namespace CrashHandler {

// The script does what the test says, and writes the command's log lines.
class CrashReportUploadTest : public testing::Test {
 protected:
  CrashReportUploadTest() {
    oru_test::MakeDirs(dir_.Join("dumps/6.1.0"));
    oru_test::WriteFile(report_path_, "report");
    oru_test::WriteFile(dir_.Join("app.log"), "line\n");
    { const CrashSession session(dir_.Join("dumps"), "app", "s", dir_.Join("app.log"), ""); }
    command_.program = dir_.Join("varnook");
    command_.library_path = "/lib path";
    command_.access_key_id = "id";
    command_.access_key_secret = "se\ncret; touch $HOME '\"";
    command_.endpoint = "https://store.example";
    command_.bucket = "logs";
    command_.time_limit_s = 60;
    WillReturn("0");
  }

  void Script(const std::string& body) {
    oru_test::WriteFile(command_.program, "#!/bin/bash\n" + body);
    chmod(command_.program.c_str(), 0700);
  }

  // The line of the upload function's status behind those that come before it.
  void WillReturn(const std::string& status, const std::string& before = "") {
    Script("printf '%s\\0' \"$@\" >" + dir_.Join("arguments") +
           "\n"
           "echo \"x varnook[1:1] SAT:Arg 1: -akscrt - ${10}\" >&2\n"
           "echo \"varnook uploadLogPrivate return: 77 and the secret $SECRET\" >&2\n" +
           before + "\ncp -r \"${@: -1}\" " + dir_.Join("sent") +
           "\necho 'varnook HandleActionUploadLog delay 0 sec. ' >&2\n"
           "echo 'd varnook[1:1] varnook uploadLogPrivate return: " +
           status + "' >&2\nexit " + status + "\n");
  }

  CrashUploadOutcome Upload() {
    const auto pending = store_.Pending();
    EXPECT_EQ(pending.size(), 1U);
    return UploadCrashReport(store_, pending.at(0), command_);
  }

  // Nothing of a copy is left, whatever came of it.
  void TearDown() override {
    for (const std::string& name : oru_test::ListDir(dir_.Join("dumps"))) {
      EXPECT_NE(name.compare(0, 9, "outgoing."), 0) << name;
    }
  }

  oru_test::TempDir dir_;
  const std::string report_path_ =
      dir_.Join("dumps/6.1.0/Crash_app_s_Signal_2026-01-02-03-04-05.log");
  const CrashReportStore store_{dir_.Join("dumps")};
  CrashUploadCommand command_;
};

}  // namespace CrashHandler

#endif  // TESTS_CRASH_HANDLER_CRASH_REPORT_UPLOAD_FIXTURE_H_
