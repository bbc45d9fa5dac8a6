// Texts that the terminal and the page share.
#include <algorithm>

#include "oru_report/model/line_text.h"
#include "oru_report/render/render.h"

namespace oru_report {
namespace {

// Functions in which threads wait; part of their names is enough, for they come in many variants.
bool IsWait(std::string_view symbol) {
  constexpr std::string_view kWords[] = {"wait",   "poll",     "select", "sleep", "recv", "accept",
                                         "kevent", "mach_msg", "futex",  "_lock", "join", "read"};
  return std::any_of(std::begin(kWords), std::end(kWords),
                     [&](std::string_view word) { return Contains(symbol, word); });
}

// The first frames are the system's inner ones: what was called is behind them.
std::string WhereThreadsAre(const Thread& thread, Resolver* resolver) {
  constexpr size_t kDepth = 4;
  std::string wait;
  for (size_t i = 0; i < std::min(kDepth, thread.frames.size()); ++i) {
    const ResolvedFrame& frame = resolver->Resolve(*thread.frames[i], i != 0);
    if (frame.mark == Mark::kSystem && IsWait(frame.symbol)) wait = frame.function;
  }
  if (!wait.empty()) return " waiting in " + wait;
  return thread.frames.empty() ? "" : " in " + resolver->NameOf(*thread.frames[0], false);
}

}  // namespace

std::string FoldText(size_t first, size_t size, size_t times) {
  return "frames " + std::to_string(first) + " to " + std::to_string(first + size * times - 1) +
         ": the same " + std::to_string(size) + ", " + std::to_string(times) + " times";
}

std::string ThreadGroupTitle(const std::vector<const Thread*>& group, Resolver* resolver) {
  const Thread& thread = *group.front();
  if (group.size() > 1) {
    return std::to_string(group.size()) + " threads" + WhereThreadsAre(thread, resolver);
  }
  return "Thread " + std::to_string(thread.number) +
         (thread.name.empty() ? "" : "  " + std::string(thread.name));
}

std::string SymbolsText(const Image& image, Resolver* resolver) {
  if (resolver->symbols() == nullptr) return "";
  const ImageSymbols& symbols = resolver->symbols()->Of(image);
  switch (symbols.state) {
    case SymbolState::kLines:
      return "lines from " + symbols.path;
    case SymbolState::kNames:
      return (symbols.names->empty() ? "nothing in " : "names from ") + symbols.path;
    case SymbolState::kOtherBuild:
      return "other build: " + symbols.path + " is " + symbols.other_id;
    case SymbolState::kMissing:
      break;
  }
  return "missing";
}

}  // namespace oru_report
