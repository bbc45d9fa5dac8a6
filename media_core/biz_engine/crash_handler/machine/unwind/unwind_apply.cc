// From a row of the unwind tables to the caller's registers.
#include "media_core/biz_engine/crash_handler/machine/unwind/unwind_cursor.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/unwind_tables.h"

namespace CrashHandler::machine {

namespace {

// Bounds on damaged input; real expressions stay far below them.
constexpr int kMaxExpressionSteps = 1024;
constexpr size_t kExpressionStack = 32;

UnwindStep DoneIf(bool good) { return good ? UnwindStep::kDone : UnwindStep::kUnreadable; }

// A stack machine for the part of DWARF's expressions that unwind tables use.
class Expression {
 public:
  Expression(const ByteSource& source, const UnwindRegisters& registers)
      : source_(source), registers_(registers) {}

  void Push(uint64_t value) {
    if (depth_ == kExpressionStack) {
      ok_ = false;
      return;
    }
    stack_[depth_++] = value;
  }

  // Runs the expression whose length field lies at `position`.
  UnwindStep Run(uint64_t position, uint64_t* result) {
    UnwindCursor head(source_, position, position + kMaxUnwindEntrySize);
    const uint64_t size = head.Uleb();
    if (!head.ok() || size > kMaxUnwindEntrySize) return UnwindStep::kUnreadable;
    UnwindCursor cursor(source_, head.at(), head.at() + size);
    for (int step = 0; !cursor.AtEnd(); ++step) {
      if (step == kMaxExpressionSteps) return UnwindStep::kUnreadable;
      Step(&cursor);
      if (unknown_) return UnwindStep::kUnknownRegister;
      if (!ok_) return UnwindStep::kUnreadable;
    }
    *result = Pop();
    return DoneIf(ok_ && cursor.ok());
  }

 private:
  uint64_t Pop() {
    if (depth_ == 0) {
      ok_ = false;
      return 0;
    }
    return stack_[--depth_];
  }

  uint64_t Register(uint64_t number) {
    if (number < kUnwindRegisterCount && registers_.Knows(number)) return registers_.value[number];
    ok_ = false;
    unknown_ = number < kUnwindRegisterCount;
    return 0;
  }

  void Step(UnwindCursor* cursor) {
    const auto code = cursor->Read<uint8_t>();
    if (code >= 0x30 && code <= 0x4f) return Push(code - 0x30U);
    if (code >= 0x50 && code <= 0x6f) return Push(Register(code - 0x50U));
    if (code >= 0x70 && code <= 0x8f) {
      const uint64_t base = Register(code - 0x70U);
      return Push(base + static_cast<uint64_t>(cursor->Sleb()));
    }
    if (StepConstant(code, cursor) || StepStack(code, cursor)) return;
    StepArithmetic(code);
  }

  bool StepConstant(uint8_t code, UnwindCursor* cursor) {
    const auto push_signed = [this](int64_t value) { Push(static_cast<uint64_t>(value)); };
    switch (code) {
      case 0x03:
      case 0x0e:
      case 0x0f:
        Push(cursor->Read<uint64_t>());
        return true;
      case 0x08:
        Push(cursor->Read<uint8_t>());
        return true;
      case 0x09:
        push_signed(cursor->Read<int8_t>());
        return true;
      case 0x0a:
        Push(cursor->Read<uint16_t>());
        return true;
      case 0x0b:
        push_signed(cursor->Read<int16_t>());
        return true;
      case 0x0c:
        Push(cursor->Read<uint32_t>());
        return true;
      case 0x0d:
        push_signed(cursor->Read<int32_t>());
        return true;
      case 0x10:
        Push(cursor->Uleb());
        return true;
      case 0x11:
        push_signed(cursor->Sleb());
        return true;
      default:
        return false;
    }
  }

  bool StepStack(uint8_t code, UnwindCursor* cursor) {
    switch (code) {
      case 0x06: {
        uint64_t value = 0;
        ok_ = source_.Read(Pop(), &value, sizeof(value)) && ok_;
        Push(value);
        return true;
      }
      case 0x12: {
        const uint64_t top = Pop();
        Push(top);
        Push(top);
        return true;
      }
      case 0x13:
        Pop();
        return true;
      case 0x16: {
        const uint64_t top = Pop();
        const uint64_t below = Pop();
        Push(top);
        Push(below);
        return true;
      }
      case 0x23: {
        const uint64_t top = Pop();
        Push(top + cursor->Uleb());
        return true;
      }
      case 0x96:
        return true;
      default:
        return false;
    }
  }

  void StepArithmetic(uint8_t code) {
    const uint64_t top = Pop();
    const uint64_t below = Pop();
    const auto signed_top = static_cast<int64_t>(top);
    const auto signed_below = static_cast<int64_t>(below);
    switch (code) {
      case 0x1a:
        return Push(below & top);
      case 0x1c:
        return Push(below - top);
      case 0x1e:
        return Push(below * top);
      case 0x21:
        return Push(below | top);
      case 0x22:
        return Push(below + top);
      case 0x24:
        return Push(top < 64 ? below << top : 0);
      case 0x25:
        return Push(top < 64 ? below >> top : 0);
      case 0x27:
        return Push(below ^ top);
      case 0x29:
        return Push(below == top ? 1 : 0);
      case 0x2a:
        return Push(signed_below >= signed_top ? 1 : 0);
      case 0x2b:
        return Push(signed_below > signed_top ? 1 : 0);
      case 0x2c:
        return Push(signed_below <= signed_top ? 1 : 0);
      case 0x2d:
        return Push(signed_below < signed_top ? 1 : 0);
      case 0x2e:
        return Push(below != top ? 1 : 0);
      default:
        ok_ = false;
    }
  }

  const ByteSource& source_;
  const UnwindRegisters& registers_;
  uint64_t stack_[kExpressionStack] = {};
  size_t depth_ = 0;
  bool ok_ = true;
  bool unknown_ = false;
};

UnwindStep FrameAddress(const ByteSource& source, const UnwindRow& row,
                        const UnwindRegisters& registers, uint64_t* frame) {
  if (row.frame_by_expression) {
    return Expression(source, registers).Run(row.frame_expression, frame);
  }
  if (!registers.Knows(row.frame_register)) return UnwindStep::kUnknownRegister;
  *frame = registers.value[row.frame_register] + static_cast<uint64_t>(row.frame_offset);
  return UnwindStep::kDone;
}

// The caller's value of register `number`; `caller` has the callee's at first.
UnwindStep ApplyRule(const ByteSource& source, const UnwindRule& rule,
                     const UnwindRegisters& registers, uint64_t frame, size_t number,
                     UnwindRegisters* caller) {
  const auto operand = static_cast<uint64_t>(rule.value);
  uint64_t* const value = &caller->value[number];
  if (rule.kind == UnwindRuleKind::kSame) return UnwindStep::kDone;
  caller->unknown &= ~(uint64_t{1} << number);
  switch (rule.kind) {
    case UnwindRuleKind::kSame:
      break;
    case UnwindRuleKind::kUndefined:
      *value = 0;
      break;
    case UnwindRuleKind::kOffset:
      return DoneIf(source.Read(frame + operand, value, sizeof(*value)));
    case UnwindRuleKind::kValueOffset:
      *value = frame + operand;
      break;
    case UnwindRuleKind::kRegister:
      if (operand >= kUnwindRegisterCount) return UnwindStep::kUnreadable;
      *value = registers.value[operand];
      if (!registers.Knows(operand)) caller->unknown |= uint64_t{1} << number;
      break;
    case UnwindRuleKind::kExpression:
    case UnwindRuleKind::kValueExpression: {
      Expression expression(source, registers);
      expression.Push(frame);
      uint64_t result = 0;
      const UnwindStep step = expression.Run(operand, &result);
      if (step != UnwindStep::kDone) return step;
      if (rule.kind == UnwindRuleKind::kExpression) {
        return DoneIf(source.Read(result, value, sizeof(*value)));
      }
      *value = result;
      break;
    }
  }
  return UnwindStep::kDone;
}

}  // namespace

UnwindStep ApplyUnwindRow(const ByteSource& source, const UnwindRow& row,
                          UnwindRegisters* registers) {
  if (row.IsOutermost()) return UnwindStep::kOutermost;
  uint64_t frame = 0;
  UnwindStep step = FrameAddress(source, row, *registers, &frame);
  if (step != UnwindStep::kDone) return step;
  UnwindRegisters caller = *registers;
  caller.value[kUnwindRegisterRsp] = frame;
  caller.unknown &= ~(uint64_t{1} << kUnwindRegisterRsp);
  for (size_t i = 0; i < kUnwindRegisterCount; ++i) {
    step = ApplyRule(source, row.rules[i], *registers, frame, i, &caller);
    if (step != UnwindStep::kDone) return step;
  }
  *registers = caller;
  return UnwindStep::kDone;
}

}  // namespace CrashHandler::machine
