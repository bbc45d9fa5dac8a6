#include <cstring>
#include <new>

#include "media_core/biz_engine/crash_handler/machine/image_table_linux.h"
#include "media_core/biz_engine/crash_handler/machine/stack_walk.h"
#include "media_core/biz_engine/crash_handler/machine/unwind_tables.h"

// The chain comes from the unwind tables of the loaded images: Debian's libraries keep no frame
// pointers. An unwinding library is not used. The common one brings its own set of the functions
// that throw C++ exceptions, which would replace the host program's; it keeps pools behind locks;
// and it reads the tables directly, where an unloaded library would make it fault.
namespace CrashHandler::machine {

namespace {

constexpr uint64_t kPageSize = 4096;
constexpr size_t kTablePages = 256;
constexpr size_t kStackPages = 16;
constexpr size_t kRows = 128;

// Pages of this process, copied when first asked for. Direct-mapped.
template <size_t kPages>
class PageCache {
 public:
  PageCache() { Forget(); }

  bool Read(uint64_t position, void* destination, size_t count) {
    auto* to = static_cast<char*>(destination);
    while (count != 0) {
      const uint64_t in_page = position % kPageSize;
      const size_t piece = count < kPageSize - in_page ? count : kPageSize - in_page;
      const char* page = Page(position - in_page);
      if (page == nullptr) return false;
      memcpy(to, page + in_page, piece);
      to += piece;
      position += piece;
      count -= piece;
    }
    return true;
  }

  void Forget() {
    for (uint64_t& tag : tags_) tag = 0;
  }

 private:
  const char* Page(uint64_t start) {
    const size_t slot = start / kPageSize % kPages;
    if (start == 0) return nullptr;
    if (tags_[slot] == start) return pages_[slot];
    tags_[slot] = 0;
    if (CopyMemory(reinterpret_cast<const void*>(start), pages_[slot], kPageSize) != 0) {
      return nullptr;
    }
    tags_[slot] = start;
    return pages_[slot];
  }

  uint64_t tags_[kPages];  // page addresses; 0: empty
  char pages_[kPages][kPageSize];
};

// A row found before; threads wait in the same few places.
struct KnownRow {
  uint64_t address = 0;  // 0: empty
  bool found = false;
  UnwindRow row;
};

// Lives in memory of its own; most of it is not touched.
struct WalkerState {
  ImageTable images;
  PageCache<kTablePages> tables;
  PageCache<kStackPages> stack;
  KnownRow rows[kRows];
};

bool ReadTable(const void* context, uint64_t position, void* destination, size_t count) {
  auto* state = static_cast<WalkerState*>(const_cast<void*>(context));
  return state->tables.Read(position, destination, count);
}

// Expressions of the tables are read through this source as well as the stack.
bool ReadStack(const void* context, uint64_t position, void* destination, size_t count) {
  auto* state = static_cast<WalkerState*>(const_cast<void*>(context));
  return state->stack.Read(position, destination, count);
}

UnwindRegisters InTableOrder(const Registers& from) {
  return {{from.rax, from.rdx, from.rcx, from.rbx, from.rsi, from.rdi, from.rbp, from.rsp, from.r8,
           from.r9, from.r10, from.r11, from.r12, from.r13, from.r14, from.r15, from.rip}};
}

class Walk {
 public:
  Walk(WalkerState* state, const Registers& registers)
      : state_(state), registers_(InTableOrder(registers)) {}

  // Goes to the caller. False at the outermost frame, and where nothing tells the caller.
  bool Step() {
    if (!Advance()) return false;
    const uint64_t sp = registers_.value[kUnwindRegisterRsp];
    // The way out of a stack goes up, except where a signal changed to another stack.
    if (ip() == 0 || (!exact_ && sp <= last_sp_)) return false;
    last_sp_ = sp;
    return true;
  }

  uint64_t ip() const { return registers_.value[kUnwindRegisterRip]; }

 private:
  bool Advance() {
    // A return address points behind its call, which may be the last instruction of its function.
    const uint64_t lookup = exact_ ? ip() : ip() - 1;
    const UnwindRow* row = Row(lookup);
    if (row == nullptr) return AdvanceWithoutTable();
    exact_ = row->signal_frame;
    return ApplyUnwindRow({&ReadStack, state_}, *row, &registers_);
  }

  const UnwindRow* Row(uint64_t address) {
    KnownRow& known = state_->rows[(address ^ address >> 9) % kRows];
    if (known.address != address) {
      known.address = address;
      const LoadedImage* image = state_->images.Find(address);
      known.found = image != nullptr && image->segments.unwind_index.size != 0;
      if (known.found) {
        const ElfRange& index = image->segments.unwind_index;
        known.found = FindUnwindRow({&ReadTable, state_}, {image->bias + index.address, index.size},
                                    address, &known.row);
      }
    }
    return known.found ? &known.row : nullptr;
  }

  bool AdvanceWithoutTable() {
    const bool interrupted = exact_;
    exact_ = false;
    const LoadedImage* image = state_->images.Find(ip());
    if (interrupted && (image == nullptr || !image->HoldsCode(ip()))) return AdvanceFromWildCall();
    return AdvanceByFramePointer();
  }

  // A call through a bad pointer: nothing but the return address has been pushed.
  bool AdvanceFromWildCall() {
    const uint64_t sp = registers_.value[kUnwindRegisterRsp];
    uint64_t caller = 0;
    if (!state_->stack.Read(sp, &caller, sizeof(caller)) || !IsCode(caller)) return false;
    registers_.value[kUnwindRegisterRip] = caller;
    registers_.value[kUnwindRegisterRsp] = sp + sizeof(caller);
    return true;
  }

  // Code without tables usually keeps frame pointers; one that does not is noticed by a frame below
  // the stack pointer or a return address outside all code.
  bool AdvanceByFramePointer() {
    const uint64_t frame = registers_.value[kUnwindRegisterRbp];
    uint64_t entry[2];
    if (frame < registers_.value[kUnwindRegisterRsp]) return false;
    if (!state_->stack.Read(frame, entry, sizeof(entry)) || !IsCode(entry[1])) return false;
    registers_.value[kUnwindRegisterRbp] = entry[0];
    registers_.value[kUnwindRegisterRip] = entry[1];
    registers_.value[kUnwindRegisterRsp] = frame + sizeof(entry);
    return true;
  }

  bool IsCode(uint64_t address) const {
    const LoadedImage* image = state_->images.Find(address);
    return image != nullptr && image->HoldsCode(address);
  }

  WalkerState* state_;
  UnwindRegisters registers_;
  uint64_t last_sp_ = 0;
  bool exact_ = true;
};

// Fills the chain up to and without the outermost frame. False when there is no second frame.
bool WalkByTables(WalkerState* state, const Registers& registers, CallChain* chain) {
  Walk walk(state, registers);
  chain->entries[0] = registers.rip;
  size_t length = 1;
  while (walk.Step()) {
    if (length == kMaxChainEntries) {
      chain->length = length;
      return true;
    }
    chain->entries[length++] = walk.ip();
  }
  chain->length = length > 1 ? length - 1 : 1;
  return length > 1;
}

}  // namespace

void PrepareStackWalk() { PrepareImageTable(); }

StackWalker::StackWalker() : memory_(sizeof(WalkerState)) {
  if (memory_.data() != nullptr) new (memory_.data()) WalkerState;
}

StackWalker::~StackWalker() {
  if (memory_.data() != nullptr) static_cast<WalkerState*>(memory_.data())->~WalkerState();
}

void StackWalker::Walk(const Registers& registers, CallChain* chain) {
  auto* state = static_cast<WalkerState*>(memory_.data());
  if (state != nullptr && registers.rip != 0) {
    state->stack.Forget();
    if (WalkByTables(state, registers, chain)) {
      chain->status = ChainStatus::kComplete;
      return;
    }
  }
  WalkFramePointers(registers, &CopyMemory, chain);
}

}  // namespace CrashHandler::machine
