// One crash and its state: who handles it, how far its report has come, and what a second way to
// the report needs.
//
// A crash is taken by one thread, which gets a deadline with it (crash_deadline.h). Crashes that
// come while it is taken, or after one was handled, are only logged by their hooks
// (later_crashes.h). A child that was forked meanwhile has no thread that handles the crash:
// nothing there waits for it.
//
// The stages:
//
//   kNone         no crash is taken
//   kReporting    the ordinary report is being made; it may still be rescued
//   kDrafting     and its draft is being written
//   kRescuing     a rescue writes the report, for good when it is the helper thread's
//   kRescued      it has, and the ordinary way may still replace its report
//   kFileUnderWay the ordinary report's file is being written: nothing is rescued any more
//   kReported     no report is due: written, or not to be written
//   kHosts        what follows is the host's (its older handlers may take their time or jump out):
//                 no deadline
//
// A rescue is the second way to a report. While the ordinary one is made, the crash may show that
// it has broken what that needs: it faults, aborts, raises an exception, or waits for ever for a
// lock. Then the crashed thread, interrupted at that point, or the helper thread when time runs out
// streams a report that needs none of it (report/streamed_report.h).
//
// A draft is a report without other threads' stacks: looking at those may end the process. It is
// streamed in the same way, and replaced by the report.
//
// Everything here may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_STATE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_STATE_H_

#include <signal.h>

#include "media_core/biz_engine/crash_handler/report/report_file.h"
#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

namespace CrashHandler {

enum class CrashStage : int {
  kNone,
  kReporting,
  kDrafting,
  kRescuing,
  kRescued,
  kFileUnderWay,
  kReported,
  kHosts,
};

// Takes the crash for the calling thread. False when a thread (this one too) has one.
bool TakeCrash();
// Starts the report of the crash just taken, and its deadline (see CrashDeadline): when that is
// over the process ends by `signo`.
void BeginCrashReport(int signo, CrashType kind, bool may_be_survived = false);
// Gives the crash back, with or without a report begun.
void GiveCrashBack();
// No report is due any more, and no deadline runs; the crash stays taken.
void LeaveCrashToHost();

CrashStage CurrentCrashStage();
CrashType CurrentCrashKind();
// Whether a crash is taken by a thread of this process: any, the calling one, another one.
bool IsCrashTaken();
bool IsOwnCrash();
bool IsCrashOfAnotherThread();
// Whether another thread of this process makes a report.
bool AnotherThreadReports();

// For the thread whose crash it is. What a rescued report tells besides; the texts are the
// caller's.
//
// The frames at the hook's entry, and the instruction that a signal interrupted (null without one).
void RememberEntry(void* const* frames, int count, const void* interrupted = nullptr);
// From here on the crash is told by those frames. Before that, while the host is called, a rescue
// by the crashed thread tells the stack at that point; the helper thread has only those of the
// entry.
void ReportIsDue();
void RememberException(const char* name, const char* reason);
// What the crash's signal came with; a signal handler's arguments. For companions (companion.h).
void RememberCause(int signo, const siginfo_t* info, const void* context);
// The C++ exception that the thread handles, where companions are asked for. Calls the host's
// functions.
void RememberThrown();
// The ordinary way has found that no report is due.
void ForgetReport();
// Where the ordinary report will be, and so its draft.
void ReportGoesTo(const char* path);
// Writes that. Does nothing for another thread, nor where a report is rescued already.
void DraftReport();
// The ordinary report's file is under way from the one to the other; `path` is where it is now,
// null when it is nowhere. Outside a crash they do nothing.
void BeginReportFile();
// Between the two: gives the whole file its name, with its companion. False when that failed.
bool CommitReportFile(ReportFile* file, const char* path);
// Between the two, where that failed: removes the draft, which may take the room. False without
// one.
bool RemoveDraft();
void EndReportFile(const char* path);
// For a crash that has no report, whose path would have been this: its companion, if asked for.
void TellOfHostCrash(const char* path);

// Whether the ordinary way is to be gone at all: yes, until installation has found that what it
// needs does not work in this process. The rescue is the report then.
bool IsOrdinaryReportPossible();
void SetOrdinaryReportPossible(bool possible);

// Writes the report in the other way, if one is due and none is written or being written, and the
// crash concerns the SDK. Where one is whole, and only its companion not, that one gets its name.
// False when none was due any more.
// `context` is a signal handler's, where that is why: of a fault in the report.
bool RescueReport(const void* context = nullptr);

// Ends the process by the signal of the crash, if it is this thread's and its report is under way.
void EndByOwnCrash();
// Ends the process as the signal would without a handler. Where its default action does nothing
// (the first process of a container has none) the process exits with the status that shells show
// for such an end, 128 and the signal's number.
void EndBy(int signo);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_STATE_H_
