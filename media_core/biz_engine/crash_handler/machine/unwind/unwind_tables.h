// The DWARF unwind tables of x86_64 images (.eh_frame_hdr and .eh_frame): bytes in, facts out.
//
// The tables are not trusted: no input makes a reader loop without end, allocate or fault. May run
// in a signal handler. Why not libunwind: linked into a host it takes the place of the C++
// runtime's own _Unwind_ functions, it allocates, and its local form reads memory directly.
// Formats: DWARF 4, section 6.4, and the Linux Standard Base's exception frames.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_UNWIND_TABLES_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_UNWIND_TABLES_H_

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/images/elf_image.h"

namespace CrashHandler::machine {

// Registers by their DWARF numbers: rax rdx rcx rbx rsi rdi rbp rsp r8..r15, return address.
constexpr size_t kUnwindRegisterCount = 17;
constexpr size_t kUnwindRegisterRbp = 6;
constexpr size_t kUnwindRegisterRsp = 7;
constexpr size_t kUnwindRegisterRip = 16;

struct UnwindRegisters {
  uint64_t value[kUnwindRegisterCount];
  // Registers whose value is not known: bit n stands for register n.
  uint64_t unknown = 0;

  bool Knows(uint64_t number) const { return (unknown >> number & 1) == 0; }
};

enum class UnwindRuleKind : uint8_t {
  kSame,             // the caller's value is the register's own
  kUndefined,        // lost; for the return address: this is the outermost frame
  kOffset,           // stored at the frame's address plus `value`
  kValueOffset,      // is the frame's address plus `value`
  kRegister,         // in register `value`
  kExpression,       // stored at what the expression at address `value` gives
  kValueExpression,  // is what that expression gives
};

struct UnwindRule {
  UnwindRuleKind kind = UnwindRuleKind::kSame;
  int64_t value = 0;
};

// How to get from one instruction's registers to the caller's.
struct UnwindRow {
  // Of the function that holds the instruction.
  uint64_t code_start = 0;
  // Where the frame's address comes from: a register plus an offset, or an expression.
  bool frame_by_expression = false;
  uint32_t frame_register = 0;
  int64_t frame_offset = 0;
  uint64_t frame_expression = 0;
  // The caller was interrupted by a signal: its instruction pointer is exact.
  bool signal_frame = false;
  UnwindRule rules[kUnwindRegisterCount];

  // Nobody called.
  bool IsOutermost() const {
    const UnwindRuleKind kind = rules[kUnwindRegisterRip].kind;
    return kind == UnwindRuleKind::kUndefined || kind == UnwindRuleKind::kSame;
  }
};

// Finds the row for the instruction at `address`. `index` is where the image's .eh_frame_hdr lies
// in the source and how long it is. False when the tables say nothing about the address or are
// damaged.
bool FindUnwindRow(const ByteSource& source, const ElfRange& index, uint64_t address,
                   UnwindRow* row);

enum class UnwindStep : uint8_t {
  kDone,
  kOutermost,        // nobody called
  kUnreadable,       // something cannot be read, or the row is damaged
  kUnknownRegister,  // the row wants a register whose value is not known
};

// Applies a row: replaces the registers by the caller's, reading the stack through `source`. They
// are unchanged unless the result is kDone.
UnwindStep ApplyUnwindRow(const ByteSource& source, const UnwindRow& row,
                          UnwindRegisters* registers);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_UNWIND_UNWIND_TABLES_H_
