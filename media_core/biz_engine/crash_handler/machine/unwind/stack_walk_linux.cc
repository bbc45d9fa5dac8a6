#include <ucontext.h>

#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/images/image_table_linux.h"
#include "media_core/biz_engine/crash_handler/machine/memory/block_cache.h"
#include "media_core/biz_engine/crash_handler/machine/memory/spare_object.h"
#include "media_core/biz_engine/crash_handler/machine/threads/call_on_stack.h"
#include "media_core/biz_engine/crash_handler/machine/threads/registers_linux.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_prologue.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/unwind_tables.h"

// The chain comes from the unwind tables of the loaded images: Debian's libraries keep no frame
// pointers. An unwinding library is not used. The common one brings its own set of the functions
// that throw C++ exceptions, which would replace the host program's; it keeps pools behind locks;
// and it reads the tables directly, where an unloaded library would make it fault.
namespace CrashHandler::machine {

namespace {

constexpr size_t kTableBlocks = 128;
constexpr size_t kStackBlocks = 16;
constexpr size_t kRows = 128;

// Rows found before; threads wait in the same few places.
class RowCache {
 public:
  // The place of an address. `known` tells whether it holds that address's row already, or that
  // there is none.
  struct Place {
    bool known;
    bool* found;
    UnwindRow* row;
  };

  void Forget() {
    for (uint64_t& address : addresses_) address = 0;
  }

  Place Find(uint64_t address) {
    const size_t slot = (address ^ address >> 9) % kRows;
    const bool known = addresses_[slot] == address;
    addresses_[slot] = address;
    return {known, &found_[slot], reinterpret_cast<UnwindRow*>(rows_ + slot * sizeof(UnwindRow))};
  }

 private:
  uint64_t addresses_[kRows] = {};  // 0: empty
  bool found_[kRows] = {};
  // Rows are written whole before they are read; most of this memory is never touched.
  alignas(UnwindRow) char rows_[kRows * sizeof(UnwindRow)];
};

// Lives in memory of its own; most of it is not touched.
struct WalkerState {
  // For a new user. What was read of tables holds as long as the images are the same.
  void Begin() {
    images.Refresh();
    if (images.remembered() == nullptr || images.remembered() != read_of) {
      tables.Forget();
      rows.Forget();
    }
    read_of = images.remembered();
  }

  ImageTable images;
  const void* read_of = nullptr;
  BlockCache<kTableBlocks> tables;
  BlockCache<kStackBlocks> stack;
  RowCache rows;
};

SpareObject<WalkerState> sSpareState;

bool ReadTable(const void* context, uint64_t position, void* destination, size_t count) {
  auto* state = static_cast<WalkerState*>(const_cast<void*>(context));
  return state->tables.Read(kOwnMemory, position, destination, count);
}

// Expressions of the tables are read through this source as well as the stack.
bool ReadStack(const void* context, uint64_t position, void* destination, size_t count) {
  auto* state = static_cast<WalkerState*>(const_cast<void*>(context));
  return state->stack.Read(kOwnMemory, position, destination, count);
}

UnwindRegisters InTableOrder(const Registers& from) {
  return {{from.rax, from.rdx, from.rcx, from.rbx, from.rsi, from.rdi, from.rbp, from.rsp, from.r8,
           from.r9, from.r10, from.r11, from.r12, from.r13, from.r14, from.r15, from.rip}};
}

constexpr uint64_t kUnknownWhereItWaits =
    ~(uint64_t{1} << kUnwindRegisterRsp | uint64_t{1} << kUnwindRegisterRip);

class Walk {
 public:
  Walk(WalkerState* state, const Registers& registers, KnownRegisters known = KnownRegisters::kAll)
      : state_(state), registers_(InTableOrder(registers)) {
    if (known == KnownRegisters::kInstructionAndStack) registers_.unknown = kUnknownWhereItWaits;
  }

  // Goes to the caller. False at the outermost frame, and where nothing tells the caller.
  bool Step() {
    const bool changes_stack = IsInCallOnStack(reinterpret_cast<const void*>(ip()));
    if (!Advance()) return false;
    const uint64_t sp = registers_.value[kUnwindRegisterRsp];
    // What a signal interrupted may have been a call through a null pointer.
    if (ip() == 0 && !exact_) return false;
    // The way out of a stack goes up, except where a signal or this module changed to another
    // stack.
    if (!exact_ && !changes_stack && sp <= last_sp_) return Lost();
    last_sp_ = sp;
    return true;
  }

  // Whether the tables told every step, and the last one ended at the outermost frame if it failed.
  bool sound() const { return sound_; }
  // Whether the last step failed for want of a register whose value is not known.
  bool lacks_registers() const { return lacks_registers_; }

  uint64_t ip() const { return registers_.value[kUnwindRegisterRip]; }

 private:
  bool Advance() {
    // A return address points behind its call, which may be the last instruction of its function.
    const uint64_t lookup = exact_ ? ip() : ip() - 1;
    const UnwindRow* row = Row(lookup);
    if (row == nullptr) return AdvanceWithoutTable();
    UnwindStep step = ApplyUnwindRow({&ReadStack, state_}, *row, &registers_);
    if (step == UnwindStep::kOutermost) return false;
    if (step == UnwindStep::kUnknownRegister && RecoverFramePointer(*row)) {
      step = ApplyUnwindRow({&ReadStack, state_}, *row, &registers_);
    }
    lacks_registers_ = step == UnwindStep::kUnknownRegister;
    exact_ = row->signal_frame;
    return step == UnwindStep::kDone || Lost();
  }

  // The frame pointer of a function that stands behind its first instructions lies where these put
  // it, if the word above it is a return address.
  bool RecoverFramePointer(const UnwindRow& row) {
    constexpr int64_t kRecord = 16;
    constexpr uint64_t kMostSlack = 64;
    if (row.frame_by_expression || row.frame_register != kUnwindRegisterRbp) return false;
    if (row.frame_offset != kRecord || registers_.Knows(kUnwindRegisterRbp)) return false;
    uint8_t code[kPrologueSize];
    FrameSize size;
    if (!ReadTable(state_, row.code_start, code, sizeof(code))) return false;
    if (!FrameSizeOfPrologue(code, &size) || size.slack > kMostSlack) return false;
    const uint64_t least = registers_.value[kUnwindRegisterRsp] + size.least;
    for (uint64_t frame = least; frame <= least + size.slack; frame += sizeof(frame)) {
      uint64_t entry[2];
      if (!state_->stack.Read(kOwnMemory, frame, entry, sizeof(entry))) return false;
      if (!IsReturnAddress(entry[1])) continue;
      registers_.value[kUnwindRegisterRbp] = frame;
      registers_.unknown &= ~(uint64_t{1} << kUnwindRegisterRbp);
      return true;
    }
    return false;
  }

  bool IsReturnAddress(uint64_t address) {
    uint8_t code[kCallSize];
    return IsCode(address) && ReadTable(state_, address - sizeof(code), code, sizeof(code)) &&
           EndsInCall(code);
  }

  bool Lost() {
    sound_ = false;
    return false;
  }

  // Null where the tables say nothing.
  const UnwindRow* Row(uint64_t address) {
    const RowCache::Place place = state_->rows.Find(address);
    if (!place.known) *place.found = FindRow(address, place.row);
    return *place.found ? place.row : nullptr;
  }

  bool FindRow(uint64_t address, UnwindRow* row) {
    const LoadedImage* image = state_->images.Find(address);
    if (image == nullptr || image->segments.unwind_index.size == 0) return false;
    ElfRange index = image->segments.unwind_index;
    index.address += image->bias;
    return FindUnwindRow({&ReadTable, state_}, index, address, row);
  }

  bool AdvanceWithoutTable() {
    const bool interrupted = exact_;
    exact_ = false;
    sound_ = false;
    const LoadedImage* image = state_->images.Find(ip());
    const bool wild = interrupted && (image == nullptr || !image->HoldsCode(ip()));
    // After a return to a bad address nothing on the stack tells whose frame it is, but the frame
    // pointer may.
    return (wild ? AdvanceFromWildCall() : AdvanceFromHelper()) || AdvanceByFramePointer();
  }

  // The compiler's own helper behind a `noexcept` function has neither a table nor a frame pointer
  // (Clang's before 15). It is known by its size and by the plain call on whose return address it
  // has pushed no more than a few words.
  bool AdvanceFromHelper() {
    constexpr uint64_t kHelperSize = 64;
    constexpr uint64_t kPushedWords = 4;
    const uint64_t sp = registers_.value[kUnwindRegisterRsp];
    for (uint64_t at = sp; at < sp + kPushedWords * sizeof(at); at += sizeof(at)) {
      uint64_t caller = 0;
      if (!state_->stack.Read(kOwnMemory, at, &caller, sizeof(caller))) return false;
      if (!IsCode(caller) || ip() - CallTarget(caller) >= kHelperSize) continue;
      registers_.value[kUnwindRegisterRip] = caller;
      registers_.value[kUnwindRegisterRsp] = at + sizeof(at);
      return true;
    }
    return false;
  }

  // What the call before a return address called; 0 when it is no call of a fixed address.
  uint64_t CallTarget(uint64_t return_address) {
    constexpr uint8_t kCall = 0xe8;
    struct [[gnu::packed]] {
      uint8_t code;
      int32_t distance;
    } call;
    const bool read = ReadTable(state_, return_address - sizeof(call), &call, sizeof(call));
    if (!read || call.code != kCall) return 0;
    return return_address + static_cast<uint64_t>(int64_t{call.distance});
  }

  // A call through a bad pointer: nothing but the return address has been pushed.
  bool AdvanceFromWildCall() {
    const uint64_t sp = registers_.value[kUnwindRegisterRsp];
    uint64_t caller = 0;
    if (!state_->stack.Read(kOwnMemory, sp, &caller, sizeof(caller)) || !IsCode(caller))
      return false;
    registers_.value[kUnwindRegisterRip] = caller;
    registers_.value[kUnwindRegisterRsp] = sp + sizeof(caller);
    return true;
  }

  // Code without tables usually keeps frame pointers; one that does not is noticed by a frame below
  // the stack pointer or a return address outside all code. Code that was made at run time is in no
  // image; its frames are believed where they lead back into one.
  bool AdvanceByFramePointer() {
    const uint64_t frame = registers_.value[kUnwindRegisterRbp];
    uint64_t entry[2];
    lacks_registers_ = !registers_.Knows(kUnwindRegisterRbp);
    if (lacks_registers_ || frame < registers_.value[kUnwindRegisterRsp]) return false;
    if (!state_->stack.Read(kOwnMemory, frame, entry, sizeof(entry))) return false;
    if (!IsCode(entry[1]) && !LeadsBackToCode(frame, entry[0])) return false;
    registers_.value[kUnwindRegisterRbp] = entry[0];
    registers_.value[kUnwindRegisterRip] = entry[1];
    registers_.value[kUnwindRegisterRsp] = frame + sizeof(entry);
    return true;
  }

  bool LeadsBackToCode(uint64_t last, uint64_t frame) {
    constexpr int kMaxFramesBetween = 64;
    for (int i = 0; i < kMaxFramesBetween && frame > last; ++i) {
      uint64_t entry[2];
      if (!state_->stack.Read(kOwnMemory, frame, entry, sizeof(entry))) return false;
      if (IsCode(entry[1])) return true;
      last = frame;
      frame = entry[0];
    }
    return false;
  }

  bool IsCode(uint64_t address) const {
    const LoadedImage* image = state_->images.Find(address);
    return image != nullptr && image->HoldsCode(address);
  }

  WalkerState* state_;
  UnwindRegisters registers_;
  uint64_t last_sp_ = 0;
  bool exact_ = true;
  bool sound_ = true;
  bool lacks_registers_ = false;
};

// Fills the chain up to and without the outermost frame; where the way ends before that, with all
// that is known. False when registers that are not known would lead further.
bool WalkByTables(WalkerState* state, const Registers& registers, KnownRegisters known,
                  CallChain* chain) {
  Walk walk(state, registers, known);
  chain->status = ChainStatus::kComplete;
  chain->entries[0] = mach_instructionAddress(registers);
  chain->length = 1;
  while (walk.Step()) {
    if (chain->length == kMaxThreadFrames) return true;
    chain->entries[chain->length++] = walk.ip();
  }
  if (walk.sound() && chain->length > 1) --chain->length;
  return !walk.lacks_registers();
}

// For code outside all images. The chain is left as it is where that leads nowhere.
void FollowFramePointers(const Registers& registers, CallChain* chain) {
  CallChain followed;
  WalkFramePointers(WalkStartOf(registers), &mach_copyMem, &followed);
  if (followed.status == ChainStatus::kComplete) *chain = followed;
}

// Null when there is no memory.
WalkerState* TakeState(ScratchMemory* memory) {
  WalkerState* const state = sSpareState.Take(memory);
  if (state != nullptr) {
    state->Begin();
    state->stack.Forget();
  }
  return state;
}

}  // namespace

void PrepareStackWalk() { PrepareImageTable(); }

size_t CaptureDamagedStack(void** frames, size_t room) {
  ucontext_t here;
  ScratchMemory memory;
  if (getcontext(&here) != 0) return 0;
  WalkerState* state = TakeState(&memory);
  if (state == nullptr) return 0;
  Walk walk(state, RegistersOf(here));
  size_t count = 0;
  while (count < room && walk.Step()) frames[count++] = reinterpret_cast<void*>(walk.ip());
  const bool sound = walk.sound();
  sSpareState.GiveBack(&memory);
  return sound ? 0 : count;
}

size_t WalkWhole(const Registers& registers, void** frames, size_t room) {
  ScratchMemory memory;
  WalkerState* state = TakeState(&memory);
  if (state == nullptr || room == 0) return 0;
  Walk walk(state, registers);
  size_t count = 0;
  frames[count++] = reinterpret_cast<void*>(walk.ip());
  while (count < room && walk.Step()) frames[count++] = reinterpret_cast<void*>(walk.ip());
  sSpareState.GiveBack(&memory);
  return count;
}

StackWalker::StackWalker() { TakeState(&memory_); }

StackWalker::~StackWalker() { sSpareState.GiveBack(&memory_); }

bool StackWalker::Walk(const Registers& registers, KnownRegisters known, CallChain* chain) {
  auto* state = static_cast<WalkerState*>(memory_.data());
  if (state == nullptr || mach_instructionAddress(registers) == 0) {
    WalkFramePointers(WalkStartOf(registers), &mach_copyMem, chain);
    return known == KnownRegisters::kAll;
  }
  state->stack.Forget();
  const bool whole = WalkByTables(state, registers, known, chain);
  if (chain->length == 1 && known == KnownRegisters::kAll) FollowFramePointers(registers, chain);
  return whole;
}

}  // namespace CrashHandler::machine
