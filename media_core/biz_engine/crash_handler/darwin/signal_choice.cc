#include "media_core/biz_engine/crash_handler/darwin/signal_choice.h"

#include <signal.h>

#include <algorithm>
#include <vector>

#include "media_core/biz_engine/crash_handler/crash_neighbours.h"

namespace CrashHandler {
namespace {

struct Choice {
  bool all = true;
  bool keep_ignored = false;
  std::vector<int> signals;
};

Choice& HostsChoice() {
  static auto* const choice = new Choice;
  return *choice;
}

// Zero as a whole: every signal is taken.
bool sLeftAlone[NSIG];

bool IsIgnored(int signo) {
  struct sigaction now = {};
  return sigaction(signo, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}

bool IsChosen(const Choice& choice, int signo) {
  return choice.all ||
         std::find(choice.signals.begin(), choice.signals.end(), signo) != choice.signals.end();
}

}  // namespace

void ApplySignalChoice() {
  const Choice& choice = HostsChoice();
  for (int signo = 1; signo < NSIG; ++signo) {
    sLeftAlone[signo] = !IsChosen(choice, signo) || (choice.keep_ignored && IsIgnored(signo));
  }
}

bool IsSignalLeftAlone(int signo) { return sLeftAlone[signo]; }

void ChooseSignals(const int* signals, size_t count) {
  HostsChoice().all = false;
  HostsChoice().signals.assign(signals, signals + count);
}

void ChooseAllSignals() { HostsChoice().all = true; }

void KeepIgnoredSignals(bool keep) { HostsChoice().keep_ignored = keep; }

}  // namespace CrashHandler
