#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"

#include <algorithm>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/report/last_path_entry.h"

namespace CrashHandler {

namespace {

using machine::CallChain;
using machine::ChainStatus;
using machine::kMaxThreadFrames;
using machine::ScratchMemory;
using machine::SymbolInformation;
using machine::TextBuffer;
using machine::ThreadLook;
using machine::ThreadNumber;

constexpr size_t kImageColumn = 30;
constexpr size_t kAddressDigits = 8;
constexpr size_t kBaseDigits = 16;
constexpr char kNoThreads[] = "Fail to get information of all threads";

// What the capture fills, one chain per thread.
struct Chains {
  machine::StackWalker* walker;
  CallChain* chains;
};

// Called while the threads may be held: it neither allocates nor locks.
bool WalkOne(void* context, const ThreadLook& look) {
  auto* all = static_cast<Chains*>(context);
  CallChain* chain = &all->chains[look.index];
  if (look.registers != nullptr) return all->walker->Walk(*look.registers, look.known, chain);
  chain->status = ChainStatus::kNoThreadState;
  chain->length = 0;
  return true;
}

// The addresses at which a chain's entries are looked up.
void LookupAddresses(const uintptr_t* addresses, size_t count, size_t skipped, uintptr_t* lookups) {
  for (size_t i = 0; i < count; ++i) {
    lookups[i] = i == 0 && skipped == 0 ? addresses[i] : addresses[i] - 1;
  }
}

// Threads are looked at, and written, in batches: the memory for them does not grow with their
// number. A batch costs a pass over the symbol tables that its frames lie in.
constexpr size_t kBatch = 128;

// Memory for the addresses and records of a batch's chains.
class ChainTable {
 public:
  explicit ChainTable(size_t threads)
      : chain_memory_(threads * sizeof(CallChain)),
        lookup_memory_(threads * kMaxThreadFrames * sizeof(uintptr_t)),
        record_memory_(threads * kMaxThreadFrames * sizeof(SymbolInformation)) {}

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

void AppendBacktraceEntry(uintptr_t address, const SymbolInformation& record, TextBuffer* text) {
  const auto base = reinterpret_cast<uintptr_t>(record.dli_fbase);
  const size_t start = text->size();
  const char* image = lastPathEntry(record.dli_fname);
  if (image != nullptr) {
    text->Append(image);
  } else {
    text->AppendHex(base, kBaseDigits);
  }
  const size_t width = text->size() - start;
  if (width < kImageColumn) text->AppendBlanks(kImageColumn - width);
  text->Append("  ");
  text->AppendHex(address, kAddressDigits);
  text->Append(' ');
  const char* symbol = record.dli_sname;
  if (symbol != nullptr) {
    text->Append(symbol);
  } else {
    text->AppendHex(base);
  }
  text->Append(" + ");
  const auto from = symbol != nullptr ? reinterpret_cast<uintptr_t>(record.dli_saddr) : base;
  text->AppendNumber(address - from);
  text->Append('\n');
}

void AppendNamedThread(ThreadNumber number, const CallChain& chain,
                       const SymbolInformation* records, TextBuffer* text) {
  char name[machine::kThreadNameSize];
  if (!machine::ThreadName(number, name, sizeof(name))) name[0] = '\0';
  AppendThreadText(number, name, chain, records, text);
}

// Whether the chain comes by the code that called the hook.
bool LeadsTo(const KnownFrames& known, const CallChain& chain) {
  const auto caller = reinterpret_cast<uintptr_t>(known.frames[1]);
  const uintptr_t* const end = chain.entries + chain.length;
  return std::find(chain.entries, end, caller) != end;
}

void FillChain(const KnownFrames& known, CallChain* chain) {
  chain->status = ChainStatus::kComplete;
  chain->length = std::min(known.count, machine::kMaxThreadFrames);
  for (size_t i = 0; i < chain->length; ++i) {
    chain->entries[i] = reinterpret_cast<uintptr_t>(known.frames[i]);
  }
}

void UseKnownFrames(const KnownFrames& known, const ThreadNumber* numbers, size_t count,
                    CallChain* chains) {
  const ThreadNumber* const found = std::find(numbers, numbers + count, known.thread);
  if (known.count < 2 || found == numbers + count) return;
  CallChain* const chain = &chains[found - numbers];
  if (chain->status == ChainStatus::kComplete && LeadsTo(known, *chain)) return;
  FillChain(known, chain);
}

void AppendChain(ThreadNumber number, const CallChain& chain, TextBuffer* text) {
  machine::Symbolizer symbolizer;
  SymbolInformation records[kMaxThreadFrames];
  symbolicate(&symbolizer, chain.entries, records, chain.length, 0);
  AppendNamedThread(number, chain, records, text);
}

// False when there is no room for the next thread and `kept` bytes.
bool AppendBatch(const ThreadNumber* numbers, size_t count, ChainTable* table, size_t kept,
                 TextBuffer* text) {
  const SymbolInformation* records = table->records();
  for (size_t i = 0; i < count; ++i) {
    const CallChain& chain = table->chains()[i];
    const size_t start = text->size();
    AppendNamedThread(numbers[i], chain, records, text);
    if (!text->Reserve(kept)) {
      text->CutTo(start);
      return false;
    }
    records += chain.length;
  }
  return true;
}

}  // namespace

std::string logBacktraceEntry(uintptr_t address, const SymbolInformation& record) {
  TextBuffer line;
  AppendBacktraceEntry(address, record, &line);
  return StringOf(line);
}

void AppendThreadText(ThreadNumber number, const char* name, const CallChain& chain,
                      const SymbolInformation* records, TextBuffer* text) {
  switch (chain.status) {
    case ChainStatus::kNoThreadState:
      text->Append("Fail to get information about thread: ");
      text->AppendNumber(number);
      return;
    case ChainStatus::kNoInstruction:
      text->Append("Fail to get instruction address");
      return;
    case ChainStatus::kNoFrame:
      text->Append("Fail to get frame pointer");
      return;
    case ChainStatus::kComplete:
      break;
  }
  text->Append("Thread ");
  text->AppendNumber(number);
  text->Append(' ');
  text->Append(name);
  text->Append(":\n");
  for (size_t i = 0; i < chain.length; ++i) {
    AppendBacktraceEntry(chain.entries[i], records[i], text);
  }
  text->Append('\n');
}

void symbolicate(machine::Symbolizer* symbolizer, const uintptr_t* addresses,
                 SymbolInformation* records, size_t count, size_t skipped) {
  uintptr_t lookups[kMaxThreadFrames];
  for (size_t done = 0; done < count;) {
    const size_t piece = std::min(kMaxThreadFrames, count - done);
    LookupAddresses(addresses + done, piece, done + skipped, lookups);
    symbolizer->Resolve(lookups, records + done, piece);
    done += piece;
  }
}

std::string TextOfThread(ThreadNumber number) {
  machine::StackWalker walker;
  CallChain chain;
  Chains all = {&walker, &chain};
  machine::ThreadCapture().Visit(&number, 1, &WalkOne, &all);
  TextBuffer text;
  AppendChain(number, chain, &text);
  return StringOf(text);
}

void AppendAllThreads(TextBuffer* text, const KnownFrames& known,
                      const machine::Precaution& precaution) {
  // Room for the sentence comes first.
  constexpr size_t kKept = sizeof(kNoThreads);
  machine::ThreadList list;
  const bool listed = list.Read();
  ChainTable table(std::min(list.size(), kBatch));
  if (!listed || !table.usable() || !text->Reserve(kKept)) return text->Append(kNoThreads);
  machine::StackWalker walker;
  machine::ThreadCapture capture(precaution);
  machine::Symbolizer symbolizer;
  for (size_t done = 0; done < list.size(); done += kBatch) {
    const ThreadNumber* const numbers = list.numbers() + done;
    const size_t count = std::min(kBatch, list.size() - done);
    Chains batch = {&walker, table.chains()};
    capture.Visit(numbers, count, &WalkOne, &batch);
    UseKnownFrames(known, numbers, count, table.chains());
    table.Resolve(count, &symbolizer);
    if (!AppendBatch(numbers, count, &table, kKept, text)) return text->Append(kNoThreads);
  }
}

void AppendKnownThread(TextBuffer* text, const KnownFrames& known) {
  CallChain chain;
  FillChain(known, &chain);
  AppendChain(known.thread, chain, text);
  text->Append(kNoThreads);
}

std::string TextOfAllThreads(const machine::Precaution& precaution) {
  TextBuffer text;
  AppendAllThreads(&text, {}, precaution);
  return StringOf(text);
}

void PrepareCallStacks() {
  machine::ChooseMemoryWay();
  machine::PrepareImages();
  machine::PrepareStackWalk();
  // One whole stack brings in the code and the memory that a crash will use.
  TextOfThread(machine::CurrentThreadNumber());
}

}  // namespace CrashHandler
