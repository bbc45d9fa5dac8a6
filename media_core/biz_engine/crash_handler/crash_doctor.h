// Whether a crash of this process would be reported, and why not: for a host that looks at its own
// set-up once, in its tests or at its start. `oru-report doctor` judges a program's file by the
// same rules.
//
//   for (const CrashHandler::CrashFinding& finding :
//        CrashHandler::ExamineCrashCapture(reinterpret_cast<const void*>(&OruRTCJoin))) {
//     if (!finding.good) puts((finding.subject + ": " + finding.text).c_str());
//   }
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_DOCTOR_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_DOCTOR_H_

#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace CrashHandler {

// One of the things that were looked at.
struct CrashFinding {
  // "handlers", "function", "dump folder", "alternate stack" or "descriptors".
  std::string subject;
  // Nothing there stands in the way of a report.
  bool good = false;
  // A sentence for people.
  std::string text;
};

// Looks at the process as it is now, best after the installation:
// - "handlers": whether signals and hooks are the module's, and who has taken them since;
// - "function": whether a crash in `function` (an address of code; null leaves this out) counts as
//   the SDK's, by the name that a crash sees at it;
// - "dump folder": whether a report can be written there (it is made if it is missing, as
//   CrashHandlerProxy::GetCrashDumpDirPath says);
// - "alternate stack": whether the calling thread could report an overflow of its stack;
// - "descriptors": whether there are free ones.
//
// For an ordinary thread, not for a crash: it allocates. HOME must be set where no dump directory
// was. One call at a time, as for crash_neighbours.h.
std::vector<CrashFinding> ExamineCrashCapture(const void* function);

}  // namespace CrashHandler

#pragma GCC visibility pop

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_CRASH_DOCTOR_H_
