#include "media_core/biz_engine/crash_handler/dying/crash_state.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>

#include "media_core/biz_engine/crash_handler/crash_settings.h"
#include "media_core/biz_engine/crash_handler/dying/crash_deadline.h"
#include "media_core/biz_engine/crash_handler/dying/crash_flush.h"
#include "media_core/biz_engine/crash_handler/dying/crash_stack.h"
#include "media_core/biz_engine/crash_handler/dying/thrown_exception.h"
#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/threads/bounded_wait.h"
#include "media_core/biz_engine/crash_handler/machine/threads/context_registers.h"
#include "media_core/biz_engine/crash_handler/machine/threads/fault.h"
#include "media_core/biz_engine/crash_handler/machine/threads/helper_thread.h"
#include "media_core/biz_engine/crash_handler/machine/threads/own_signal.h"
#include "media_core/biz_engine/crash_handler/machine/threads/signal_action.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/crash_frames.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_limits.h"
#include "media_core/biz_engine/crash_handler/report/companion.h"
#include "media_core/biz_engine/crash_handler/report/companion_settings.h"
#include "media_core/biz_engine/crash_handler/report/streamed_report.h"

namespace CrashHandler {
namespace {

struct CrashState {
  // The process and the number of the thread whose crash it is; 0 when it is nobody's. A forked
  // child gets a copy that names a thread it does not have.
  std::atomic<uint64_t> owner{0};
  std::atomic<CrashStage> stage{CrashStage::kNone};
  std::atomic<int> signo{0};
  // Written by the owner before the stage that lets others read them.
  CrashFacts facts;
  void* frames[machine::kMaxCrashFrames];
  char thrown_words[1024];
  bool report_is_due;
  // Where the ordinary report will be, and where a draft or a rescued report is; empty when that is
  // nowhere.
  ReportPath ordinary;
  ReportPath earlier;
  bool has_draft;
  bool draft_is_removed;
};
static_assert(sizeof(machine::ThreadNumber) == 4 && sizeof(pid_t) == 4, "both fit into one word");

CrashState sCrash;
std::atomic<bool> sOrdinaryReportPossible{true};

uint64_t OwnerOf(machine::ThreadNumber thread) {
  return static_cast<uint64_t>(static_cast<uint32_t>(getpid())) << 32 | thread;
}

bool IsHelper() { return machine::CurrentThreadNumber() == machine::HelperThreadNumber(); }

// The helper thread's rescue ends the process.
[[noreturn]] void AwaitEnd() {
  for (;;) machine::PauseMs(1000);
}

// The owner's step to a later stage of the report; false when there is no report. Never in the way
// of a rescue: one of its own is over when the owner gets here, the helper's is the end.
bool Advance(CrashStage next) {
  CrashStage stage = sCrash.stage.load();
  do {
    if (stage == CrashStage::kRescuing) AwaitEnd();
    if (stage == CrashStage::kNone || stage >= CrashStage::kReported) return false;
  } while (!sCrash.stage.compare_exchange_weak(stage, next));
  return true;
}

// Of the frames at the hook's entry, one that every stack above the crash leads to: the interrupted
// instruction, or one behind the hook, which itself goes on meanwhile. Null when none is known.
const void* FrameOfCrash() {
  if (sCrash.facts.interrupted != nullptr) return sCrash.facts.interrupted;
  return sCrash.facts.frame_count >= 3 ? sCrash.frames[2] : nullptr;
}

// The stack from the point at which the report was interrupted, which lies above the crash: unless
// it is too deep, or too broken, to lead there.
void CaptureHere(const void* context) {
  constexpr size_t kRoom = machine::kMaxCrashFrames;
  void* here[kRoom];
  const auto captured = static_cast<size_t>(CaptureCrashFrames(here, static_cast<int>(kRoom)));
  const size_t count = machine::CompleteCrashFrames(context, here, captured, kRoom);
  const void* const crash = FrameOfCrash();
  if (crash != nullptr && std::find(here, here + count, crash) == here + count) return;
  memcpy(sCrash.frames, here, count * sizeof *here);
  sCrash.facts.frame_count = count;
  sCrash.facts.interrupted_later = machine::InterruptedAt(context);
}

void CopyPath(const char* from, ReportPath to) {
  const size_t size = strlen(from) + 1;
  if (size <= sizeof(ReportPath)) {
    memcpy(to, from, size);
  } else {
    to[0] = '\0';
  }
}

// A report is there now, and nothing beside it.
void ReplaceEarlier(const char* path) {
  if (sCrash.earlier[0] != '\0' && strcmp(sCrash.earlier, path) != 0) {
    RemoveWithCompanion(sCrash.earlier);
  }
  CopyPath(path, sCrash.earlier);
  sCrash.has_draft = false;
}

void WriteOwnDraft() {
  const PublishedSettings* const settings = LiveSettings();
  if (settings == nullptr || sCrash.ordinary[0] == '\0') return;
  sCrash.facts.frames = sCrash.frames;
  const PublishedSettings::Reader reader(*settings);
  if (!WriteDraft(sCrash.facts, *reader, sCrash.ordinary)) return;
  ReplaceEarlier(sCrash.ordinary);
  sCrash.has_draft = true;
}

// A draft that its own thread interrupts goes no further.
bool BeginRescue() {
  CrashStage stage = CrashStage::kReporting;
  if (sCrash.stage.compare_exchange_strong(stage, CrashStage::kRescuing)) return true;
  if (stage != CrashStage::kDrafting || !IsOwnCrash()) return false;
  CommitWithoutCompanion();
  return sCrash.stage.compare_exchange_strong(stage, CrashStage::kRescuing);
}

bool WriteRescuedReport(const void* context, ReportPath path) {
  const PublishedSettings* const settings = LiveSettings();
  if (settings == nullptr) return false;
  if (!sCrash.report_is_due && !IsHelper()) CaptureHere(context);
  sCrash.facts.frames = sCrash.frames;
  return WriteStreamedReport(sCrash.facts, *PublishedSettings::Reader(*settings), path);
}

void EndByCrash() {
  FlushBeforeTheEnd();
  EndBy(sCrash.signo.load());
}

}  // namespace

bool TakeCrash() {
  uint64_t nobody = 0;
  return sCrash.owner.compare_exchange_strong(nobody, OwnerOf(machine::CurrentThreadNumber()));
}

void BeginCrashReport(int signo, CrashType kind, bool may_be_survived) {
  sCrash.facts = {};
  sCrash.facts.kind = kind;
  sCrash.facts.thread = machine::CurrentThreadNumber();
  clock_gettime(CLOCK_REALTIME, &sCrash.facts.time);
  sCrash.report_is_due = false;
  sCrash.ordinary[0] = '\0';
  sCrash.earlier[0] = '\0';
  sCrash.has_draft = false;
  sCrash.draft_is_removed = false;
  sCrash.signo.store(signo);
  machine::ChooseMemoryWay();
  machine::KeepMemoryOpen();
  sCrash.stage.store(CrashStage::kReporting);
  StartCrashDeadline({[] { return RescueReport(); }, &EndByCrash, may_be_survived});
}

void LeaveCrashToHost() {
  Advance(CrashStage::kReported);
  StopCrashDeadline();
  machine::CloseMemory();
  sCrash.stage.store(CrashStage::kHosts);
}

void GiveCrashBack() {
  if (sCrash.stage.load() != CrashStage::kNone) LeaveCrashToHost();
  sCrash.stage.store(CrashStage::kNone);
  sCrash.owner.store(0);
}

CrashStage CurrentCrashStage() { return sCrash.stage.load(); }

CrashType CurrentCrashKind() { return sCrash.facts.kind; }

bool IsCrashTaken() { return sCrash.owner.load() >> 32 == static_cast<uint32_t>(getpid()); }

bool IsOwnCrash() { return sCrash.owner.load() == OwnerOf(machine::CurrentThreadNumber()); }

bool IsCrashOfAnotherThread() { return IsCrashTaken() && !IsOwnCrash(); }

bool AnotherThreadReports() {
  const CrashStage stage = sCrash.stage.load();
  return IsCrashOfAnotherThread() && stage != CrashStage::kNone && stage != CrashStage::kHosts;
}

void RememberEntry(void* const* frames, int count, const void* interrupted) {
  const auto most = static_cast<int>(machine::kMaxCrashFrames);
  const auto kept = static_cast<size_t>(std::clamp(count, 0, most));
  memcpy(sCrash.frames, frames, kept * sizeof *frames);
  sCrash.facts.frame_count = kept;
  sCrash.facts.interrupted = interrupted;
}

void ReportIsDue() { sCrash.report_is_due = true; }

void RememberException(const char* name, const char* reason) {
  sCrash.facts.exception_name = name;
  sCrash.facts.exception_reason = reason;
}

void RememberCause(int signo, const siginfo_t* info, const void* context) {
  CrashCause& cause = sCrash.facts.cause;
  cause.signo = signo;
  cause.has_code = info != nullptr;
  if (cause.has_code) cause.code = info->si_code;
  cause.has_address = machine::AddressOfFault(signo, info, context, &cause.address);
  cause.access = machine::AccessOfFault(signo, info, context);
  cause.has_registers = context != nullptr;
  if (cause.has_registers) cause.registers = machine::RegistersOfContext(context);
}

void RememberThrown() {
  if (!WantsCompanions()) return;
  CrashCause& cause = sCrash.facts.cause;
  cause.thrown_type = TypeOfThrown();
  if (cause.thrown_type == nullptr) return;
  CopyWordsOfThrown(sCrash.thrown_words, sizeof sCrash.thrown_words);
  cause.thrown_words = sCrash.thrown_words;
}

void ForgetReport() { Advance(CrashStage::kReported); }

void ReportGoesTo(const char* path) {
  if (IsOwnCrash()) CopyPath(path, sCrash.ordinary);
}

void DraftReport() {
  CrashStage stage = CrashStage::kReporting;
  if (!IsOwnCrash()) return;
  if (!sCrash.stage.compare_exchange_strong(stage, CrashStage::kDrafting)) return;
  WriteOwnDraft();
  stage = CrashStage::kDrafting;
  sCrash.stage.compare_exchange_strong(stage, CrashStage::kReporting);
}

bool RemoveDraft() {
  if (!IsOwnCrash() || !sCrash.has_draft) return false;
  RemoveWithCompanion(sCrash.earlier);
  sCrash.earlier[0] = '\0';
  sCrash.has_draft = false;
  sCrash.draft_is_removed = true;
  return true;
}

void BeginReportFile() { Advance(CrashStage::kFileUnderWay); }

bool CommitReportFile(ReportFile* file, const char* path) {
  const PublishedSettings* const settings = LiveSettings();
  const bool of_crash = sCrash.stage.load() == CrashStage::kFileUnderWay && settings != nullptr;
  if (!of_crash) return file->Commit();
  return CommitWithCompanion(file, path, sCrash.facts, *PublishedSettings::Reader(*settings),
                             ReportWay::kOrdinary);
}

void EndReportFile(const char* path) {
  // It was not the draft that took the room.
  const bool lost = path == nullptr && IsOwnCrash() && sCrash.draft_is_removed;
  if (lost) WriteOwnDraft();
  // What went wrong before a report was rescued was survived after all.
  if (Advance(CrashStage::kReported) && path != nullptr) ReplaceEarlier(path);
}

void TellOfHostCrash(const char* path) {
  const PublishedSettings* const settings = LiveSettings();
  if (*path == '\0' || !IsOwnCrash() || settings == nullptr) return;
  WriteHostCompanion(path, sCrash.facts, *PublishedSettings::Reader(*settings));
}

bool IsOrdinaryReportPossible() { return sOrdinaryReportPossible.load(); }

void SetOrdinaryReportPossible(bool possible) { sOrdinaryReportPossible.store(possible); }

bool RescueReport(const void* context) {
  // The report may be whole, and its companion what went wrong.
  if (!BeginRescue()) return CommitWithoutCompanion();
  ReportPath path = "";
  if (WriteRescuedReport(context, path)) ReplaceEarlier(path);
  if (!IsHelper()) sCrash.stage.store(CrashStage::kRescued);
  return true;
}

void EndByOwnCrash() {
  const CrashStage stage = sCrash.stage.load();
  if (!IsOwnCrash() || stage == CrashStage::kNone || stage == CrashStage::kHosts) return;
  EndByCrash();
}

void EndBy(int signo) {
  machine::SetDefaultAction(signo);
  const sigset_t only = machine::MaskOf(signo);
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  machine::SignalOwnThread(signo);
  _exit(128 + signo);
}

}  // namespace CrashHandler
