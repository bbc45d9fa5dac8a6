#include "tests/neighbours/neighbour_rows.h"

#include <signal.h>

namespace neighbours {
namespace {

constexpr Order kBefore = Order::kBefore;
constexpr Order kAfter = Order::kAfter;

constexpr char kInFront[] = "it stands in front and calls nobody";

}  // namespace

const std::vector<Row>& Rows() {
  static const std::vector<Row> rows = {
      {"SmallStack", kBefore, "SdkCrash", SIGSEGV, 0, 1, "the dump is whole", nullptr},
      {"SmallStack", kAfter, "SdkCrash", SIGSEGV, 0, 1, "the dump is whole", nullptr},
      {"SmallStack", kBefore, "Overflow", SIGSEGV, 0, 1, "the dump is whole", nullptr},
      {"RaisesAgain", kBefore, "SdkCrash", SIGSEGV, 0, 1, "raised again", nullptr},
      {"RaisesAgain", kBefore, "Abort", SIGABRT, 0, 1, "raised again", nullptr},
      {"SmallStack", kAfter, "HostCrash", SIGSEGV, 0, 0, "the dump is whole", nullptr},
      {"SmallStack", kBefore, "UninstallAndCrash", SIGSEGV, 0, 0, "the dump is whole", nullptr},
      {"RaisesAgain", kAfter, "SdkCrash", SIGSEGV, 0, 0, "raised again", kInFront},
      {"RaisesAgain", kAfter, "Abort", SIGABRT, 0, 0, "raised again", kInFront},
      {"RaisesAgain", kBefore, "UninstallAndCrash", SIGSEGV, 0, 0, "raised again", nullptr},
      {"CallsNobody", kBefore, "SdkCrash", SIGSEGV, 0, 1, "ended alone", nullptr},
      {"CallsNobody", kBefore, "HostCrash", SIGSEGV, 0, 0, "ended alone", nullptr},
      {"CallsNobody", kBefore, "Abort", SIGABRT, 0, 1, "ended alone", nullptr},
      {"CallsNobody", kAfter, "SdkCrash", SIGSEGV, 0, 0, "ended alone", kInFront},
      {"CallsNobody", kBefore, "UninstallAndCrash", SIGSEGV, 0, 0, "ended alone", nullptr},
      {"Forwards", kBefore, "SdkCrash", SIGSEGV, 0, 1, "forwarded", nullptr},
      {"Forwards", kBefore, "Abort", SIGABRT, 0, 1, "forwarded", nullptr},
      {"Forwards", kAfter, "SdkCrash", SIGSEGV, 0, 1, "forwarded", nullptr},
      {"Forwards", kAfter, "Abort", SIGABRT, 0, 1, "forwarded", nullptr},
      {"Forwards", kAfter, "HostCrash", SIGSEGV, 0, 0, "forwarded", nullptr},
      {"BenignFaults", kAfter, "BenignFaults", 0, 1, 0, "10000 faults were benign", nullptr},
      {"BenignFaults", kAfter, "BenignFaultsAndACrash", SIGSEGV, 0, 1, "10000 faults were benign",
       nullptr},
      {"BenignFaults", kAfter, "HostCrash", SIGSEGV, 0, 0, nullptr, nullptr},
      {"BenignFaults", kBefore, "BenignFaults", SIGSEGV, 0, 1, nullptr,
       "whoever is in front of a runtime takes its faults for crashes"},
      {"BenignFaults", kBefore, "InFrontOfBenignFaults", 0, 1, 0, "10000 faults were benign",
       nullptr},
      {"BenignFaults", kAfter, "InFrontOfBenignFaults", 0, 1, 0, "10000 faults were benign",
       nullptr},
      {"BenignFaults", kBefore, "InFrontOfBenignFaultsAndACrash", SIGSEGV, 0, 1,
       "10000 faults were benign", nullptr},
      {"BenignFaults", kAfter, "InFrontOfBenignFaultsAndACrash", SIGSEGV, 0, 1,
       "10000 faults were benign", nullptr},
      {"BenignFaults", kBefore, "InFrontOfAHostCrash", SIGSEGV, 0, 0, nullptr, nullptr},
      {"CallsNobody", kAfter, "InFrontOfACrash", SIGSEGV, 0, 1, "ended alone", nullptr},
      {"CallsNobody", kAfter, "RearmAndAbort", SIGABRT, 0, 1, "ended alone", nullptr},
      {"RaisesAgain", kAfter, "InFrontOfACrash", SIGSEGV, 0, 1, "raised again", nullptr},
      {"RaisesAgain", kAfter, "RearmAndAbort", SIGABRT, 0, 1, "raised again", nullptr},
      {"CallsNobody", kBefore, "LeaveAndCrash", SIGSEGV, 0, 0, "ended alone", nullptr},
      {"CallsNobody", kAfter, "LeaveAndCrash", SIGSEGV, 0, 0, "ended alone", nullptr},
      {"RealTimeSignals", kBefore, "SdkCrash", SIGSEGV, 0, 1, nullptr, nullptr},
      {"RealTimeSignals", kAfter, "SdkCrash", SIGSEGV, 0, 1, nullptr, nullptr},
      {"RealTimeSignals", kAfter, "Abort", SIGABRT, 0, 1, nullptr, nullptr},
  };
  return rows;
}

const std::vector<Row>& RealRows() {
  static const std::vector<Row> rows = {
      {"Glog", kBefore, "SdkCrash", SIGSEGV, 0, 1, nullptr, nullptr},
      {"Glog", kBefore, "HostCrash", SIGSEGV, 0, 0, nullptr, nullptr},
      {"Glog", kBefore, "Abort", SIGABRT, 0, 1, nullptr, nullptr},
      {"Glog", kBefore, "UninstallAndCrash", SIGSEGV, 0, 0, nullptr, nullptr},
      {"Glog", kAfter, "SdkCrash", SIGSEGV, 0, 0, nullptr, kInFront},
      {"Glog", kAfter, "Abort", SIGABRT, 0, 0, nullptr, kInFront},
      {"Glog", kAfter, "RearmAndAbort", SIGABRT, 0, 1, nullptr, nullptr},
      {"Glog", kAfter, "InFrontOfACrash", SIGSEGV, 0, 1, nullptr, nullptr},
      {"Glog", kAfter, "LeaveAndCrash", SIGSEGV, 0, 0, nullptr, nullptr},
      {"Absl", kAfter, "RearmAndAbort", SIGABRT, 0, 1, nullptr, nullptr},
      {"Absl", kAfter, "InFrontOfACrash", SIGSEGV, 0, 1, nullptr, nullptr},
      {"Absl", kBefore, "SdkCrash", SIGSEGV, 0, 1, nullptr, nullptr},
      {"Absl", kBefore, "HostCrash", SIGSEGV, 0, 0, nullptr, nullptr},
      {"Absl", kBefore, "Abort", SIGABRT, 0, 1, nullptr, nullptr},
      {"Absl", kBefore, "UninstallAndCrash", SIGSEGV, 0, 0, nullptr, nullptr},
      {"Absl", kAfter, "SdkCrash", SIGSEGV, 0, 0, nullptr, kInFront},
      {"AbslCallingThePrevious", kAfter, "SdkCrash", SIGSEGV, 0, 1, nullptr, nullptr},
      {"AbslCallingThePrevious", kAfter, "Abort", SIGABRT, 0, 1, nullptr, nullptr},
      {"Backward", kBefore, "SdkCrash", SIGSEGV, 0, 1, nullptr, nullptr},
      {"Backward", kBefore, "HostCrash", SIGSEGV, 0, 0, nullptr, nullptr},
      {"Backward", kBefore, "Abort", SIGABRT, 0, 1, nullptr, nullptr},
      {"Backward", kAfter, "RearmAndAbort", SIGABRT, 0, 1, nullptr, nullptr},
      {"Backward", kAfter, "SdkCrash", SIGSEGV, 0, 0, nullptr, kInFront},
      {"Backward", kAfter, "Abort", SIGABRT, 0, 0, nullptr, kInFront},
      {"Backward", kBefore, "UninstallAndCrash", SIGSEGV, 0, 0, nullptr, nullptr},
  };
  return rows;
}

std::string NameOf(const Row& row) {
  return std::string(row.deed) + "With" + row.neighbour +
         (row.order == Order::kBefore ? "Before" : "After");
}

}  // namespace neighbours
