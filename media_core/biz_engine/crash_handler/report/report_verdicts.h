// Rules by which a doctor tells whether a crash would be reported: of a process that asks about
// itself, and of a program's file. Not for a crash.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_VERDICTS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_VERDICTS_H_

#include <string>

namespace CrashHandler {

struct Verdict {
  bool good = false;
  std::string text;
};

struct FunctionFacts {
  // What the one who asks calls it.
  std::string name;
  // The name that a crash sees at its address, mangled; empty for none.
  std::string seen;
  // The image as a frame's line shows it: a path on Linux, the file's name on macOS.
  std::string image;
};

// Whether a crash in the function counts as the SDK's.
Verdict JudgeFunction(const FunctionFacts& facts);

// Whether a report can be written into the folder, which may not exist yet.
Verdict JudgeDumpFolder(const std::string& folder);

// Whether this process, or one that it starts, has descriptors for a report.
Verdict JudgeDescriptors();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_VERDICTS_H_
