#include "media_core/biz_engine/crash_handler/darwin/call_stack_text.h"

#include <algorithm>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/memory.h"

namespace CrashHandler {

namespace {

using machine::CallChain;
using machine::ChainStatus;
using machine::kMaxChainEntries;
using machine::Registers;
using machine::ScratchMemory;
using machine::SymbolInformation;
using machine::ThreadNumber;

constexpr size_t kImageColumn = 30;
constexpr size_t kAddressDigits = 8;
constexpr size_t kBaseDigits = 16;
// Room for most lines; names have no bound.
constexpr size_t kUsualLine = 128;

// What the capture fills, one chain per thread.
struct Chains {
  machine::StackWalker* walker;
  CallChain* chains;
};

// Called while the threads may be held: it neither allocates nor locks.
void WalkOne(void* context, size_t index, const Registers* registers) {
  auto* all = static_cast<Chains*>(context);
  CallChain* chain = &all->chains[index];
  if (registers == nullptr) {
    chain->status = ChainStatus::kNoThreadState;
    chain->length = 0;
    return;
  }
  all->walker->Walk(*registers, chain);
}

std::string NamedThreadText(ThreadNumber number, const CallChain& chain,
                            const SymbolInformation* records) {
  char name[machine::kThreadNameSize];
  if (!machine::ThreadName(number, name, sizeof(name))) name[0] = '\0';
  return ThreadText(number, name, chain, records);
}

// The addresses at which a chain's entries are looked up.
void LookupAddresses(const uintptr_t* addresses, size_t count, size_t skipped, uintptr_t* lookups) {
  for (size_t i = 0; i < count; ++i) {
    lookups[i] = i == 0 && skipped == 0 ? addresses[i] : addresses[i] - 1;
  }
}

// Memory for the addresses and records of all threads' chains.
class ChainTable {
 public:
  explicit ChainTable(size_t threads)
      : chain_memory_(threads * sizeof(CallChain)),
        lookup_memory_(threads * kMaxChainEntries * sizeof(uintptr_t)),
        record_memory_(threads * kMaxChainEntries * sizeof(SymbolInformation)) {}

  bool usable() const {
    return chain_memory_.data() != nullptr && lookup_memory_.data() != nullptr &&
           record_memory_.data() != nullptr;
  }
  CallChain* chains() { return static_cast<CallChain*>(chain_memory_.data()); }
  SymbolInformation* records() { return static_cast<SymbolInformation*>(record_memory_.data()); }

  // Resolves all entries in one pass over the symbol tables. The records of the chains follow one
  // another.
  void Resolve(size_t threads, machine::Symbolizer* symbolizer) {
    auto* lookups = static_cast<uintptr_t*>(lookup_memory_.data());
    size_t count = 0;
    for (size_t i = 0; i < threads; ++i) {
      const CallChain& chain = chains()[i];
      LookupAddresses(chain.entries, chain.length, 0, lookups + count);
      count += chain.length;
    }
    symbolizer->Resolve(lookups, records(), count);
  }

 private:
  ScratchMemory chain_memory_;
  ScratchMemory lookup_memory_;
  ScratchMemory record_memory_;
};

// At least `digits` digits. By hand: a report has several numbers a line, and printf would take a
// good part of the whole report's time.
void AppendNumber(uintptr_t value, unsigned base, size_t digits, std::string* text) {
  char number[20];  // of 64 bits, in ten
  char* const end = number + sizeof(number);
  char* start = end;
  for (; value != 0 || static_cast<size_t>(end - start) < digits; value /= base) {
    *--start = "0123456789abcdef"[value % base];
  }
  text->append(start, end);
}

void AppendHex(uintptr_t value, size_t digits, std::string* text) {
  *text += "0x";
  AppendNumber(value, 16, digits, text);
}

void AppendDecimal(uintptr_t value, std::string* text) { AppendNumber(value, 10, 1, text); }

void AppendBacktraceEntry(uintptr_t address, const SymbolInformation& record, std::string* text) {
  const auto base = reinterpret_cast<uintptr_t>(record.dli_fbase);
  const size_t start = text->size();
  const char* image = lastPathEntry(record.dli_fname);
  if (image != nullptr) {
    *text += image;
  } else {
    AppendHex(base, kBaseDigits, text);
  }
  const size_t width = text->size() - start;
  if (width < kImageColumn) text->append(kImageColumn - width, ' ');
  *text += "  ";
  AppendHex(address, kAddressDigits, text);
  *text += ' ';
  const char* symbol = record.dli_sname;
  if (symbol != nullptr) {
    *text += symbol;
  } else {
    AppendHex(base, 1, text);
  }
  *text += " + ";
  const auto from = symbol != nullptr ? reinterpret_cast<uintptr_t>(record.dli_saddr) : base;
  AppendDecimal(address - from, text);
  *text += '\n';
}

}  // namespace

const char* lastPathEntry(const char* path) {
  if (path == nullptr) return nullptr;
  const char* slash = strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

std::string logBacktraceEntry(uintptr_t address, const SymbolInformation& record) {
  std::string line;
  AppendBacktraceEntry(address, record, &line);
  return line;
}

std::string ThreadText(ThreadNumber number, const char* name, const CallChain& chain,
                       const SymbolInformation* records) {
  switch (chain.status) {
    case ChainStatus::kNoThreadState:
      return "Fail to get information about thread: " + std::to_string(number);
    case ChainStatus::kNoInstruction:
      return "Fail to get instruction address";
    case ChainStatus::kNoFrame:
      return "Fail to get frame pointer";
    case ChainStatus::kComplete:
      break;
  }
  std::string text = "Thread " + std::to_string(number) + " " + name + ":\n";
  text.reserve(text.size() + chain.length * kUsualLine);
  for (size_t i = 0; i < chain.length; ++i) {
    AppendBacktraceEntry(chain.entries[i], records[i], &text);
  }
  text += '\n';
  return text;
}

void symbolicate(machine::Symbolizer* symbolizer, const uintptr_t* addresses,
                 SymbolInformation* records, size_t count, size_t skipped) {
  uintptr_t lookups[kMaxChainEntries];
  for (size_t done = 0; done < count;) {
    const size_t piece = std::min(kMaxChainEntries, count - done);
    LookupAddresses(addresses + done, piece, done + skipped, lookups);
    symbolizer->Resolve(lookups, records + done, piece);
    done += piece;
  }
}

std::string TextOfThread(ThreadNumber number) {
  machine::StackWalker walker;
  CallChain chain;
  Chains all = {&walker, &chain};
  machine::CaptureThreads(&number, 1, &WalkOne, &all);
  machine::Symbolizer symbolizer;
  SymbolInformation records[kMaxChainEntries];
  symbolicate(&symbolizer, chain.entries, records, chain.length, 0);
  return NamedThreadText(number, chain, records);
}

std::string TextOfAllThreads() {
  machine::ThreadList list;
  if (!list.Read()) return "Fail to get information of all threads";
  ChainTable table(list.size());
  if (!table.usable()) return "Fail to get information of all threads";
  machine::StackWalker walker;
  Chains all = {&walker, table.chains()};
  machine::CaptureThreads(list.numbers(), list.size(), &WalkOne, &all);
  machine::Symbolizer symbolizer;
  table.Resolve(list.size(), &symbolizer);
  std::string text;
  const SymbolInformation* records = table.records();
  for (size_t i = 0; i < list.size(); ++i) {
    const CallChain& chain = table.chains()[i];
    text += NamedThreadText(list.numbers()[i], chain, records);
    records += chain.length;
  }
  return text;
}

void PrepareCallStacks() {
  machine::PrepareThreads();
  machine::PrepareImages();
  machine::PrepareStackWalk();
  // One whole stack brings in the code and the memory that a crash will use.
  TextOfThread(machine::CurrentThreadNumber());
}

}  // namespace CrashHandler
