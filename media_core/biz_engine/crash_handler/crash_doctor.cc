#include "media_core/biz_engine/crash_handler/crash_doctor.h"

#include <signal.h>

#include "media_core/biz_engine/crash_handler/crash_handler_proxy.h"
#include "media_core/biz_engine/crash_handler/crash_neighbours.h"
#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/report/frame_line.h"
#include "media_core/biz_engine/crash_handler/report/report_verdicts.h"

namespace CrashHandler {
namespace {

CrashFinding Finding(const char* subject, const Verdict& verdict) {
  return {subject, verdict.good, verdict.text};
}

// The image as a frame's line shows it: the platform's line of a nameless frame, up to its address.
std::string ShownImage(uintptr_t address, machine::SymbolInformation record) {
  record.dli_sname = nullptr;
  machine::TextBuffer line;
  machine::AppendFrameLine(0, address, record, &line);
  const std::string text(line.data(), line.size());
  std::string path = record.dli_fname == nullptr ? "" : record.dli_fname;
  if (text.find(path) != std::string::npos) return path;
  return path.substr(path.rfind('/') + 1);
}

Verdict OfFunction(const void* function) {
  const auto address = reinterpret_cast<uintptr_t>(function);
  machine::Symbolizer symbolizer;
  machine::SymbolInformation record = {};
  FunctionFacts facts = {"this function", "", ""};
  if (!symbolizer.ResolveOne(address, &record) && record.dli_fname == nullptr) {
    return {false, "the address is in no image: it is no function's"};
  }
  // The nearest name before the address may be another function's.
  if (record.dli_sname != nullptr) facts.name = facts.seen = record.dli_sname;
  facts.image = ShownImage(address, record);
  return JudgeFunction(facts);
}

std::string WhoHas(const HookState& state) {
  if (state.holder == Holder::kIgnored) return state.name + " is ignored";
  if (state.holder == Holder::kDefault) return state.name + " has no handler";
  return state.name + " is " + (state.symbol.empty() ? "somebody's" : state.symbol + "()'s") +
         (state.image.empty() ? "" : " in " + state.image);
}

Verdict OfHandlers() {
  std::string others;
  size_t ours = 0;
  size_t count = 0;
  for (const HookState& state : WhoHoldsWhat()) {
    ++count;
    if (state.holder == Holder::kOurs) ++ours;
    if (state.taken_after_us) others += (others.empty() ? "" : ", ") + WhoHas(state);
  }
  if (ours == 0) return {false, "crash capture is not installed"};
  if (!others.empty()) {
    return {false, others + ": taken since the installation (Rearm takes them back)"};
  }
  return {true, std::to_string(ours) + " of " + std::to_string(count) +
                    " signals and hooks are the module's, the others were left out"};
}

Verdict OfAlternateStack() {
  stack_t stack = {};
  if (sigaltstack(nullptr, &stack) == 0 && (stack.ss_flags & SS_DISABLE) == 0) {
    return {true, "this thread has an alternate stack of " + std::to_string(stack.ss_size) +
                      " bytes for overflows of its stack"};
  }
  return {false,
          "this thread has no alternate stack: an overflow of its stack is not reported, "
          "other crashes are"};
}

}  // namespace

std::vector<CrashFinding> ExamineCrashCapture(const void* function) {
  std::vector<CrashFinding> findings = {Finding("handlers", OfHandlers())};
  if (function != nullptr) findings.push_back(Finding("function", OfFunction(function)));
  const char* folder = CrashHandlerProxy::CreateCrashHandler()->GetCrashDumpDirPath();
  findings.push_back(Finding("dump folder", JudgeDumpFolder(folder)));
  findings.push_back(Finding("alternate stack", OfAlternateStack()));
  findings.push_back(Finding("descriptors", JudgeDescriptors()));
  return findings;
}

}  // namespace CrashHandler
