#include "tests/neighbours/runtime_rows.h"

#include <signal.h>

#include <algorithm>
#include <cctype>
#include <iterator>

namespace neighbours {
namespace {

constexpr Order kBefore = Order::kBefore;
constexpr Order kAfter = Order::kAfter;

// What every program does, and the reports that there should be.
struct Deed {
  const char* steps;
  int reports;
};

constexpr Deed kDeeds[] = {
    {"install crash", 1},           {"install host-crash", 0},  {"install abort", 1},
    {"install throw", 1},           {"install overflow", 1},    {"stack install overflow", 1},
    {"install uninstall crash", 0}, {"install leave crash", 0},
};

// Where somebody came later.
constexpr Deed kDeedsBehind[] = {
    {"install rearm crash", 1},
    {"install rearm abort", 1},
};

// Where the runtime has benign faults.
constexpr Deed kBenignDeeds[] = {
    {"install benign", 0},
    {"benign install front benign", 0},
    {"benign install front benign crash", 1},
    {"benign install front benign host-crash", 0},
    {"install front abort", 1},
    {"stack install front overflow", 1},
    {"install uninstall benign", 0},
    {"install front uninstall benign", 0},
    {"install leave benign", 0},
    {"install front leave benign", 0},
};

// Both.
constexpr Deed kBenignDeedsBehind[] = {
    {"install rearm front benign crash", 1},
    {"install rearm front benign abort", 1},
};

constexpr const char* kRuntimes[] = {
    "Jvm",
    "JvmWithLibjsig",
    "Node",
    "Go",
    "Mono",
    "Ruby",
    "Python",
    "Faulthandler",
    "Rust",
    "AddressSanitizer",
    "ThreadSanitizer",
    "Gdb",
};
constexpr const char* kWithBenignFaults[] = {
    "Jvm", "JvmInterpreting", "JvmWithLibjsig", "Node", "Go", "Mono",
};

constexpr char kDefaults[] = "after a crash each of the eight signals has its default action";
constexpr char kInFront[] = "it stands in front and calls nobody";
constexpr char kTaken[] = "whoever is in front of a runtime takes its faults for crashes";
constexpr char kPutBack[] = "uninstalling puts back what was there before, over what came after";
constexpr char kStillCalled[] = "left behind it, the module is still called by it";
constexpr char kNoStack[] = "the thread has no alternate stack";
constexpr char kItsStack[] = "in front of it the handler is on the stack that it asks for";
constexpr char kOwnOverflow[] = "it takes the overflow of its thread's stack for its own";
constexpr char kOverrun[] = "its handler overruns its own 16 KiB; what lies below decides";
constexpr char kNoRoom[] = "on its 8 KiB the signal of its abort has no room behind the first one";
constexpr char kLeavesSignal[] = "it leaves the signal to whom it finds there";
constexpr char kCaught[] = "it catches what is thrown, and the frames are gone";

// What is not as one would wish, each with its reason.
constexpr RuntimeRow kMarked[] = {
    {"Jvm", kBefore, "install overflow", kAsAlone, 0, kNoStack},
    {"Jvm", kBefore, "install benign", SIGSEGV, 0, kTaken},
    {"Jvm", kBefore, "stack install front overflow", kAsAlone, 0, kItsStack},
    {"Jvm", kAfter, "install crash", SIGSEGV, 1, kDefaults},
    {"Jvm", kAfter, "install host-crash", SIGSEGV, 0, kDefaults},
    {"Jvm", kAfter, "install overflow", kAsAlone, 0, kNoStack},
    {"Jvm", kAfter, "stack install overflow", kAsAlone, 0, kOwnOverflow},
    {"Jvm", kAfter, "install rearm crash", SIGSEGV, 1, kDefaults},
    {"Jvm", kAfter, "benign install front benign crash", SIGSEGV, 1, kDefaults},
    {"Jvm", kAfter, "benign install front benign host-crash", SIGSEGV, 0, kDefaults},
    {"Jvm", kAfter, "install rearm front benign crash", SIGSEGV, 1, kDefaults},
    {"Jvm", kAfter, "install uninstall benign", SIGSEGV, 0, kPutBack},
    {"Jvm", kAfter, "stack install front overflow", kAsAlone, 0, kItsStack},
    {"Jvm", kAfter, "install uninstall crash", SIGSEGV, 0, kPutBack},
    {"Jvm", kAfter, "install leave crash", SIGSEGV, 1, kStillCalled},
    {"JvmInterpreting", kBefore, "install benign", SIGSEGV, 0, kTaken},
    {"JvmInterpreting", kBefore, "stack install front overflow", kAsAlone, 0, kItsStack},
    {"JvmInterpreting", kAfter, "benign install front benign crash", SIGSEGV, 1, kDefaults},
    {"JvmInterpreting", kAfter, "benign install front benign host-crash", SIGSEGV, 0, kDefaults},
    {"JvmInterpreting", kAfter, "install rearm front benign crash", SIGSEGV, 1, kDefaults},
    {"JvmInterpreting", kAfter, "install uninstall benign", SIGSEGV, 0, kPutBack},
    {"JvmInterpreting", kAfter, "stack install front overflow", kAsAlone, 0, kItsStack},
    {"JvmWithLibjsig", kBefore, "install overflow", kAsAlone, 0, kNoStack},
    {"JvmWithLibjsig", kBefore, "stack install overflow", kAsAlone, 0, kOwnOverflow},
    {"JvmWithLibjsig", kBefore, "stack install front overflow", kAsAlone, 0, kItsStack},
    {"JvmWithLibjsig", kAfter, "install overflow", kAsAlone, 0, kNoStack},
    {"JvmWithLibjsig", kAfter, "stack install overflow", kAsAlone, 0, kOwnOverflow},
    {"JvmWithLibjsig", kAfter, "stack install front overflow", kAsAlone, 0, kItsStack},
    {"Node", kBefore, "install overflow", kAsAlone, 0, kNoStack},
    {"Node", kBefore, "install benign", SIGSEGV, 0, kTaken},
    {"Node", kBefore, "stack install front overflow", kAsAlone, 0, kItsStack},
    {"Node", kAfter, "install crash", kAsAlone, 0, kInFront},
    {"Node", kAfter, "install overflow", kAsAlone, 0, kNoStack},
    {"Node", kAfter, "stack install overflow", kAsAlone, 0, kInFront},
    {"Node", kAfter, "install uninstall benign", SIGSEGV, 0, kPutBack},
    {"Node", kAfter, "stack install front overflow", kAsAlone, 0, kItsStack},
    {"Go", kBefore, "install benign", SIGSEGV, 0, kTaken},
    {"Go", kAfter, "install crash", SIGSEGV, 1, kDefaults},
    {"Go", kAfter, "install host-crash", SIGSEGV, 0, kDefaults},
    {"Go", kAfter, "install abort", kAsAlone, 0, kInFront},
    {"Go", kAfter, "install throw", kAsAlone, 0, kInFront},
    {"Go", kAfter, "install rearm crash", SIGSEGV, 1, kDefaults},
    {"Go", kAfter, "benign install front benign crash", SIGSEGV, 1, kDefaults},
    {"Go", kAfter, "benign install front benign host-crash", SIGSEGV, 0, kDefaults},
    {"Go", kAfter, "install rearm front benign crash", SIGSEGV, 1, kDefaults},
    {"Go", kAfter, "install front abort", kAsAlone, 0, kInFront},
    {"Go", kAfter, "install uninstall benign", SIGSEGV, 0, kPutBack},
    {"Go", kAfter, "install uninstall crash", SIGSEGV, 0, kPutBack},
    {"Go", kAfter, "install leave crash", SIGSEGV, 1, kStillCalled},
    {"Mono", kBefore, "install overflow", SIGSEGV, 1, kDefaults},
    {"Mono", kBefore, "stack install overflow", SIGSEGV, 1, kDefaults},
    {"Mono", kBefore, "install benign", SIGSEGV, 0, kTaken},
    {"Mono", kAfter, "install crash", kAsAlone, 0, kInFront},
    {"Mono", kAfter, "install abort", kAsAlone, 0, kInFront},
    {"Mono", kAfter, "install throw", kAsAlone, 0, kInFront},
    {"Mono", kAfter, "install overflow", kAnyhow, 0, kOverrun},
    {"Mono", kAfter, "stack install overflow", kAsAlone, 0, kOwnOverflow},
    {"Mono", kAfter, "install front abort", kAsAlone, 0, kInFront},
    {"Mono", kAfter, "install uninstall benign", SIGSEGV, 0, kPutBack},
    {"Mono", kAfter, "install uninstall crash", SIGSEGV, 0, kPutBack},
    {"Mono", kBefore, "stack install front overflow", SIGSEGV, 1, kDefaults},
    {"Mono", kAfter, "stack install front overflow", SIGSEGV, 1, kDefaults},
    {"Ruby", kAfter, "install overflow", kAsAlone, 0, kOwnOverflow},
    {"Ruby", kAfter, "stack install overflow", kAsAlone, 0, kOwnOverflow},
    {"Ruby", kAfter, "install uninstall crash", SIGSEGV, 0, kPutBack},
    {"Python", kBefore, "install overflow", kAsAlone, 0, kNoStack},
    {"Python", kAfter, "install overflow", kAsAlone, 0, kNoStack},
    {"Faulthandler", kAfter, "install leave crash", kAsAlone, 1, kStillCalled},
    {"Rust", kBefore, "install throw", kAsAlone, 0, kCaught},
    {"Rust", kBefore, "install overflow", SIGSEGV, 1, kNoRoom},
    {"Rust", kAfter, "install throw", kAsAlone, 0, kCaught},
    {"Rust", kAfter, "install overflow", SIGSEGV, 0, kLeavesSignal},
    {"Rust", kAfter, "stack install overflow", SIGSEGV, 1, kLeavesSignal},
    {"Gdb", kBefore, "install overflow", kAsAlone, 0, kNoStack},
    {"Gdb", kAfter, "install overflow", kAsAlone, 0, kNoStack},
};

bool IsRow(const RuntimeRow& marked, const RuntimeRow& row) {
  return std::string(marked.runtime) == row.runtime && marked.order == row.order &&
         std::string(marked.steps) == row.steps;
}

void Add(const char* runtime, Order order, const Deed& deed, std::vector<RuntimeRow>* rows) {
  const RuntimeRow wished = {runtime, order, deed.steps, kAsAlone, deed.reports, nullptr};
  const auto* const marked =
      std::find_if(std::begin(kMarked), std::end(kMarked),
                   [&](const RuntimeRow& row) { return IsRow(row, wished); });
  rows->push_back(marked != std::end(kMarked) ? *marked : wished);
}

template <size_t kCount>
void AddAll(const char* runtime, Order order, const Deed (&deeds)[kCount],
            std::vector<RuntimeRow>* rows) {
  for (const Deed& deed : deeds) Add(runtime, order, deed, rows);
}

void AddDeeds(const char* runtime, Order order, std::vector<RuntimeRow>* rows) {
  AddAll(runtime, order, kDeeds, rows);
  if (order == kAfter) AddAll(runtime, order, kDeedsBehind, rows);
}

std::vector<RuntimeRow> MakeRows() {
  std::vector<RuntimeRow> rows;
  for (const Order order : {kBefore, kAfter}) {
    for (const char* const runtime : kRuntimes) AddDeeds(runtime, order, &rows);
    for (const char* const runtime : kWithBenignFaults) {
      AddAll(runtime, order, kBenignDeeds, &rows);
      if (order == kAfter) AddAll(runtime, order, kBenignDeedsBehind, &rows);
    }
  }
  return rows;
}

}  // namespace

const std::vector<RuntimeRow>& RuntimeRows() {
  static const std::vector<RuntimeRow> rows = MakeRows();
  return rows;
}

size_t MarkedRuntimeRows() { return std::size(kMarked); }

std::string NameOf(const RuntimeRow& row) {
  std::string name = std::string(row.runtime) + (row.order == Order::kBefore ? "Before" : "After");
  bool begins = true;
  for (const char* at = row.steps; *at != '\0'; ++at) {
    const bool letter = isalpha(static_cast<unsigned char>(*at)) != 0;
    if (letter) name += static_cast<char>(begins ? toupper(*at) : *at);
    begins = !letter;
  }
  return name;
}

}  // namespace neighbours
