#include "media_core/biz_engine/crash_handler/darwin/call_stack_text.h"

#include <algorithm>
#include <cstdio>
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
// "0x", 16 digits and the terminating zero fit.
constexpr size_t kAddressText = 20;

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

}  // namespace

const char* lastPathEntry(const char* path) {
  if (path == nullptr) return nullptr;
  const char* slash = strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

std::string logBacktraceEntry(uintptr_t address, const SymbolInformation& record) {
  const auto base = reinterpret_cast<uintptr_t>(record.dli_fbase);
  char image_text[kAddressText];
  char symbol_text[kAddressText];
  const char* image = lastPathEntry(record.dli_fname);
  const char* symbol = record.dli_sname;
  uintptr_t offset = address - reinterpret_cast<uintptr_t>(record.dli_saddr);
  if (image == nullptr) {
    snprintf(image_text, sizeof(image_text), "0x%016lx", static_cast<unsigned long>(base));
    image = image_text;
  }
  if (symbol == nullptr) {
    snprintf(symbol_text, sizeof(symbol_text), "0x%lx", static_cast<unsigned long>(base));
    symbol = symbol_text;
    offset = address - base;
  }
  // Names have no bound, so only the numbers go through a buffer.
  std::string line = image;
  if (line.size() < kImageColumn) line.append(kImageColumn - line.size(), ' ');
  char number[32];
  snprintf(number, sizeof(number), "  0x%08lx ", static_cast<unsigned long>(address));
  line += number;
  line += symbol;
  snprintf(number, sizeof(number), " + %lu\n", static_cast<unsigned long>(offset));
  line += number;
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
  for (size_t i = 0; i < chain.length; ++i) text += logBacktraceEntry(chain.entries[i], records[i]);
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
