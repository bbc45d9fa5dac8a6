// Stacks that are not as they should be: the walk over frame pointers, and the walk by the unwind
// tables of this program's own images.
//
// An input is words of eight bytes, low one first: the instruction pointer, the frame pointer, the
// stack pointer, thirteen other registers, and a stack. The highest byte of a word gives it a
// meaning: 0xc0 and the image's number, a place in an image's code; 0xd0, one in the stack.
// Others are what they are, but never an address that something lies at.
#include <link.h>

#include <algorithm>
#include <vector>

#include "fuzz/fuzz_source.h"
#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

using oru_fuzz::CountedSource;
using oru_fuzz::Require;

namespace machine = CrashHandler::machine;

namespace {

constexpr size_t kStackSize = 16 * 1024;
// On both sides, so that no walk comes upon memory that changes.
constexpr size_t kMargin = 1 << 20;

struct Code {
  uint64_t address;
  uint64_t size;
};

std::vector<Code> LoadedCode() {
  std::vector<Code> code;
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* context) {
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          const auto& header = info->dlpi_phdr[i];
          if (header.p_type != PT_LOAD || (header.p_flags & PF_X) == 0) continue;
          static_cast<std::vector<Code>*>(context)->push_back(
              {info->dlpi_addr + header.p_vaddr, header.p_memsz});
        }
        return 0;
      },
      &code);
  return code;
}

const std::vector<Code>& Images() {
  static const std::vector<Code> images = LoadedCode();
  return images;
}

char* Stack() {
  static machine::ScratchMemory memory(kStackSize + 2 * kMargin);
  return static_cast<char*>(memory.data()) + kMargin;
}

uint64_t Meaning(uint64_t word) {
  const uint8_t kind = word >> 56;
  const uint64_t place = word & 0xffffffff;
  if (kind >= 0xc0 && kind < 0xd0) {
    const Code& code = Images()[(kind & 15) % Images().size()];
    return code.address + place % code.size;
  }
  if (kind == 0xd0) return reinterpret_cast<uint64_t>(Stack()) + place % kStackSize;
  // Nothing lies so low, and none of what changes between two walks is ever met.
  return word >> 47 == 0 ? word % (1 << 30) : word;
}

uint64_t TakeWord(oru_fuzz::Input* input) {
  uint64_t word = 0;
  for (int i = 0; i < 64; i += 8) word |= uint64_t{input->Byte()} << i;
  return Meaning(word);
}

machine::Registers TakeRegisters(oru_fuzz::Input* input) {
  machine::Registers registers = {};
  for (uint64_t* one :
       {&registers.rip, &registers.rbp, &registers.rsp, &registers.rax, &registers.rbx,
        &registers.rcx, &registers.rdx, &registers.rdi, &registers.rsi, &registers.r8,
        &registers.r9, &registers.r10, &registers.r11, &registers.r12, &registers.r13,
        &registers.r14, &registers.r15}) {
    *one = TakeWord(input);
  }
  return registers;
}

bool Same(const machine::CallChain& a, const machine::CallChain& b) {
  return a.status == b.status && a.length == b.length &&
         std::equal(a.entries, a.entries + a.length, b.entries);
}

CountedSource* sStack = nullptr;

int ReadStack(const void* source, void* destination, size_t count) {
  const machine::ByteSource bytes = sStack->source();
  return bytes.Read(reinterpret_cast<uint64_t>(source), destination, count) ? 0 : 1;
}

// The chain that the saved frame pointers make, entry by entry.
std::vector<uint64_t> FramesReference(const machine::Registers& registers) {
  std::vector<uint64_t> entries = {registers.rip};
  uint64_t frame[2] = {registers.rbp, 1};
  while (frame[0] != 0 && frame[1] != 0 && entries.size() <= machine::kMaxThreadFrames &&
         sStack->ReadValue(frame[0], &frame)) {
    entries.push_back(frame[1]);
  }
  // The outermost frame, whatever ended the chain.
  if (entries.size() > 1) entries.pop_back();
  return entries;
}

void CheckFrames(const machine::Registers& registers, const std::string& bytes) {
  CountedSource stack(bytes, reinterpret_cast<uint64_t>(Stack()));
  sStack = &stack;
  machine::CallChain chain;
  machine::WalkFramePointers(machine::WalkStartOf(registers), &ReadStack, &chain);
  stack.RequireReads(machine::kMaxThreadFrames, "reads of frames");
  if (registers.rip == 0) {
    Require(chain.status == machine::ChainStatus::kNoInstruction, "no instruction");
    return;
  }
  uint64_t first[2];
  if (registers.rbp == 0 || !stack.ReadValue(registers.rbp, &first)) {
    Require(chain.status == machine::ChainStatus::kNoFrame, "no frame");
    return;
  }
  Require(chain.status == machine::ChainStatus::kComplete, "a chain");
  const std::vector<uint64_t> expected = FramesReference(registers);
  Require(chain.length == std::min(expected.size(), machine::kMaxThreadFrames), "a chain's length");
  Require(std::equal(chain.entries, chain.entries + chain.length, expected.begin()),
          "a chain's entries");
}

void CheckWalk(const machine::Registers& registers, const std::string& bytes) {
  memset(Stack(), 0, kStackSize);
  memcpy(Stack(), bytes.data(), bytes.size());
  machine::CallChain chain;
  machine::StackWalker walker;
  walker.Walk(registers, machine::KnownRegisters::kAll, &chain);
  machine::CallChain again;
  walker.Walk(registers, machine::KnownRegisters::kAll, &again);
  Require(Same(chain, again), "a walk with what the walk before it found");
  machine::StackWalker other;
  other.Walk(registers, machine::KnownRegisters::kAll, &again);
  Require(Same(chain, again), "a walk without what another one found");
  if (chain.status != machine::ChainStatus::kComplete) {
    machine::WalkFramePointers(machine::WalkStartOf(registers), &machine::mach_copyMem, &again);
    Require(Same(chain, again), "a failure is that of the frame pointers");
    return;
  }
  Require(chain.length >= 1 && chain.length <= machine::kMaxThreadFrames, "a walk's length");
  Require(chain.entries[0] == registers.rip, "a walk's first entry");
  for (size_t i = 1; i < chain.length; ++i) Require(chain.entries[i] != 0, "a walk's entry");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  machine::PrepareStackWalk();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const machine::Registers registers = TakeRegisters(&input);
  std::string stack;
  while (!input.Empty() && stack.size() < kStackSize) {
    const uint64_t word = TakeWord(&input);
    stack.append(reinterpret_cast<const char*>(&word), sizeof(word));
  }
  CheckFrames(registers, stack);
  CheckWalk(registers, stack);
  return 0;
}
