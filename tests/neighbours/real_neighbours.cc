// Reporters from the distribution's packages, installed as their manuals say.
#include <absl/debugging/failure_signal_handler.h>
#include <absl/debugging/symbolize.h>
#include <glog/logging.h>

#include <backward.hpp>

#include "tests/neighbours/neighbours.h"

namespace neighbours {
namespace {

void InstallGlog() {
  google::InitGoogleLogging("neighbour_child");
  google::InstallFailureSignalHandler();
}

void InstallAbsl(bool call_previous) {
  absl::InitializeSymbolizer("neighbour_child");
  absl::FailureSignalHandlerOptions options;
  options.call_previous_handler = call_previous;
  absl::InstallFailureSignalHandler(options);
}

void InstallBackward() { static const backward::SignalHandling handling; }

}  // namespace

std::vector<Neighbour> RealNeighbours() {
  return {{"Glog", InstallGlog},
          {"Absl", [] { InstallAbsl(false); }},
          {"AbslCallingThePrevious", [] { InstallAbsl(true); }},
          {"Backward", InstallBackward}};
}

}  // namespace neighbours
