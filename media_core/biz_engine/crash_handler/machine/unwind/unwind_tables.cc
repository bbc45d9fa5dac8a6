#include "media_core/biz_engine/crash_handler/machine/unwind/unwind_tables.h"

#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/unwind/unwind_cursor.h"

namespace CrashHandler::machine {

namespace {

// Bounds on damaged input; real tables stay far below them.
constexpr int kMaxInstructions = 4096;
constexpr size_t kMaxRememberedRows = 8;

// Pointer encodings.
constexpr uint8_t kEncodingOmitted = 0xff;
constexpr uint8_t kIndexTableEncoding = 0x3b;  // signed 4 bytes, relative to the index

struct Entry {
  uint64_t code_start = 0;
  uint64_t code_size = 0;
  uint64_t code_factor = 1;
  int64_t data_factor = 1;
  uint8_t encoding = 0;
  bool signal_frame = false;
  bool augmented = false;
  ElfRange common_program;
  ElfRange program;
};

// The length field of an entry: false at the section's terminator and on damage.
bool ReadEntryEnd(UnwindCursor* cursor, uint64_t* end) {
  uint64_t size = cursor->Read<uint32_t>();
  if (size == 0xffffffff) size = cursor->Read<uint64_t>();
  *end = cursor->at() + size;
  return cursor->ok() && size != 0 && size <= kMaxUnwindEntrySize;
}

bool ReadAugmentation(const char* letters, UnwindCursor* cursor, Entry* entry) {
  if (letters[0] != 'z') return letters[0] == '\0';
  entry->augmented = true;
  const uint64_t size = cursor->Uleb();
  const uint64_t end = cursor->at() + size;
  for (const char* letter = letters + 1; *letter != '\0'; ++letter) {
    if (*letter == 'R') {
      entry->encoding = cursor->Read<uint8_t>();
    } else if (*letter == 'P') {
      const auto encoding = cursor->Read<uint8_t>();
      cursor->Pointer(encoding & ~kUnwindPointerIndirect, 0);
    } else if (*letter == 'L') {
      cursor->Read<uint8_t>();
    } else if (*letter == 'S') {
      entry->signal_frame = true;
    } else {
      break;  // the size says where the program starts
    }
  }
  if (!cursor->ok() || end < cursor->at()) return false;
  cursor->Skip(end - cursor->at());
  return cursor->ok();
}

bool ReadCommonEntry(const ByteSource& source, uint64_t position, Entry* entry) {
  UnwindCursor head(source, position, position + kMaxUnwindEntrySize);
  uint64_t end = 0;
  if (!ReadEntryEnd(&head, &end)) return false;
  UnwindCursor cursor(source, head.at(), end);
  const auto id = cursor.Read<uint32_t>();
  const auto version = cursor.Read<uint8_t>();
  if (id != 0 || (version != 1 && version != 3)) return false;
  char letters[16] = {};
  for (size_t i = 0;; ++i) {
    if (i == sizeof(letters)) return false;
    letters[i] = static_cast<char>(cursor.Read<uint8_t>());
    if (letters[i] == '\0') break;
  }
  entry->code_factor = cursor.Uleb();
  entry->data_factor = cursor.Sleb();
  const uint64_t return_register = version == 1 ? cursor.Read<uint8_t>() : cursor.Uleb();
  if (!cursor.ok() || return_register != kUnwindRegisterRip) return false;
  if (!ReadAugmentation(letters, &cursor, entry)) return false;
  entry->common_program = {cursor.at(), end - cursor.at()};
  return true;
}

bool ReadEntry(const ByteSource& source, uint64_t position, Entry* entry) {
  UnwindCursor head(source, position, position + kMaxUnwindEntrySize);
  uint64_t end = 0;
  if (!ReadEntryEnd(&head, &end)) return false;
  UnwindCursor cursor(source, head.at(), end);
  const uint64_t id_at = cursor.at();
  const auto distance = cursor.Read<uint32_t>();
  if (!cursor.ok() || distance == 0) return false;
  if (!ReadCommonEntry(source, id_at - distance, entry)) return false;
  entry->code_start = cursor.Pointer(entry->encoding, 0);
  entry->code_size = cursor.Pointer(entry->encoding & 0x0f, 0);
  if (entry->augmented) cursor.Skip(cursor.Uleb());
  if (!cursor.ok()) return false;
  entry->program = {cursor.at(), end - cursor.at()};
  return true;
}

// The entry of the last function that starts at or before the address, by binary search.
bool SearchIndex(const ByteSource& source, const ElfRange& index, uint64_t address,
                 uint64_t* entry) {
  UnwindCursor cursor(source, index.address, index.address + index.size);
  const auto version = cursor.Read<uint8_t>();
  const auto section_encoding = cursor.Read<uint8_t>();
  const auto count_encoding = cursor.Read<uint8_t>();
  const auto table_encoding = cursor.Read<uint8_t>();
  if (!cursor.ok() || version != 1 || count_encoding == kEncodingOmitted) return false;
  if (table_encoding != kIndexTableEncoding) return false;
  if (section_encoding != kEncodingOmitted) cursor.Pointer(section_encoding, index.address);
  const uint64_t count = cursor.Pointer(count_encoding, index.address);
  constexpr uint64_t kPairSize = 8;
  const uint64_t end = index.address + index.size;
  if (!cursor.ok() || count == 0 || count > (end - cursor.at()) / kPairSize) return false;

  uint64_t low = 0;
  uint64_t high = count;
  int32_t pair[2];
  while (high - low > 1) {
    const uint64_t middle = low + (high - low) / 2;
    if (!source.Read(cursor.at() + middle * kPairSize, pair, sizeof(pair))) return false;
    const uint64_t start = index.address + static_cast<uint64_t>(int64_t{pair[0]});
    (start <= address ? low : high) = middle;
  }
  if (!source.Read(cursor.at() + low * kPairSize, pair, sizeof(pair))) return false;
  if (index.address + static_cast<uint64_t>(int64_t{pair[0]}) > address) return false;
  *entry = index.address + static_cast<uint64_t>(int64_t{pair[1]});
  return true;
}

// Runs call frame programs up to one instruction's address.
class RowProgram {
 public:
  RowProgram(const ByteSource& source, const Entry& entry, uint64_t address, UnwindRow* row)
      : source_(source), entry_(entry), address_(address), at_(entry.code_start), row_(row) {}

  bool Run() {
    if (!RunRange(entry_.common_program)) return false;
    initial_ = *row_;
    return RunRange(entry_.program);
  }

 private:
  bool RunRange(const ElfRange& range) {
    UnwindCursor cursor(source_, range.address, range.address + range.size);
    while (!cursor.AtEnd() && at_ <= address_) {
      if (--instructions_left_ < 0 || !Step(&cursor)) return false;
    }
    return cursor.ok();
  }

  bool Step(UnwindCursor* cursor) {
    const auto code = cursor->Read<uint8_t>();
    const uint8_t operand = code & 0x3f;
    switch (code & 0xc0) {
      case 0x40:
        return Advance(operand);
      case 0x80:
        return SetRule(operand, UnwindRuleKind::kOffset, Factored(cursor->Uleb()));
      case 0xc0:
        return Restore(operand);
      default:
        return StepFrameAddress(operand, cursor);
    }
  }

  // The instructions on locations, on the frame's address and on remembered rows.
  bool StepFrameAddress(uint8_t code, UnwindCursor* cursor) {
    switch (code) {
      case 0x00:
        return true;
      case 0x01:
        at_ = cursor->Pointer(entry_.encoding, 0);
        return true;
      case 0x02:
        return Advance(cursor->Read<uint8_t>());
      case 0x03:
        return Advance(cursor->Read<uint16_t>());
      case 0x04:
        return Advance(cursor->Read<uint32_t>());
      case 0x0a:
        return Remember();
      case 0x0b:
        return Recall();
      case 0x0c: {
        const uint64_t base = cursor->Uleb();
        return SetFrame(base, static_cast<int64_t>(cursor->Uleb()));
      }
      case 0x0d:
        return SetFrame(cursor->Uleb(), row_->frame_offset);
      case 0x0e:
        row_->frame_offset = static_cast<int64_t>(cursor->Uleb());
        return true;
      case 0x0f:
        row_->frame_by_expression = true;
        row_->frame_expression = TakeExpression(cursor);
        return true;
      case 0x12: {
        const uint64_t base = cursor->Uleb();
        return SetFrame(base, Factored(static_cast<uint64_t>(cursor->Sleb())));
      }
      case 0x13:
        row_->frame_offset = Factored(static_cast<uint64_t>(cursor->Sleb()));
        return true;
      case 0x2e:  // size of pushed arguments: of no use here
        cursor->Uleb();
        return true;
      default:
        return StepRule(code, cursor);
    }
  }

  // The instructions that name a register first.
  bool StepRule(uint8_t code, UnwindCursor* cursor) {
    const uint64_t number = cursor->Uleb();
    switch (code) {
      case 0x05:
        return SetRule(number, UnwindRuleKind::kOffset, Factored(cursor->Uleb()));
      case 0x06:
        return Restore(number);
      case 0x07:
        return SetRule(number, UnwindRuleKind::kUndefined, 0);
      case 0x08:
        return SetRule(number, UnwindRuleKind::kSame, 0);
      case 0x09:
        return SetRule(number, UnwindRuleKind::kRegister, static_cast<int64_t>(cursor->Uleb()));
      case 0x10:
        return SetRule(number, UnwindRuleKind::kExpression,
                       static_cast<int64_t>(TakeExpression(cursor)));
      case 0x11:
        return SetRule(number, UnwindRuleKind::kOffset,
                       Factored(static_cast<uint64_t>(cursor->Sleb())));
      case 0x14:
        return SetRule(number, UnwindRuleKind::kValueOffset, Factored(cursor->Uleb()));
      case 0x15:
        return SetRule(number, UnwindRuleKind::kValueOffset,
                       Factored(static_cast<uint64_t>(cursor->Sleb())));
      case 0x16:
        return SetRule(number, UnwindRuleKind::kValueExpression,
                       static_cast<int64_t>(TakeExpression(cursor)));
      case 0x2f:
        return SetRule(number, UnwindRuleKind::kOffset, Factored(0 - cursor->Uleb()));
      default:
        return false;
    }
  }

  bool Advance(uint64_t count) {
    at_ += count * entry_.code_factor;
    return true;
  }

  int64_t Factored(uint64_t value) const {
    return static_cast<int64_t>(value * static_cast<uint64_t>(entry_.data_factor));
  }

  // Rules of registers that are not followed (vector registers) are dropped.
  bool SetRule(uint64_t number, UnwindRuleKind kind, int64_t value) {
    if (number < kUnwindRegisterCount) row_->rules[number] = {kind, value};
    return true;
  }

  bool Restore(uint64_t number) {
    if (number < kUnwindRegisterCount) row_->rules[number] = initial_.rules[number];
    return true;
  }

  bool SetFrame(uint64_t base, int64_t offset) {
    if (base >= kUnwindRegisterCount) return false;
    row_->frame_by_expression = false;
    row_->frame_register = static_cast<uint32_t>(base);
    row_->frame_offset = offset;
    return true;
  }

  bool Remember() {
    if (remembered_count_ == kMaxRememberedRows) return false;
    remembered_[remembered_count_++] = *row_;
    return true;
  }

  bool Recall() {
    if (remembered_count_ == 0) return false;
    *row_ = remembered_[--remembered_count_];
    return true;
  }

  // The position of an expression's length, which is skipped with it.
  static uint64_t TakeExpression(UnwindCursor* cursor) {
    const uint64_t position = cursor->at();
    cursor->Skip(cursor->Uleb());
    return position;
  }

  const ByteSource& source_;
  const Entry& entry_;
  uint64_t address_;
  uint64_t at_;
  UnwindRow* row_;
  UnwindRow initial_;
  UnwindRow remembered_[kMaxRememberedRows];
  size_t remembered_count_ = 0;
  int instructions_left_ = kMaxInstructions;
};

}  // namespace

bool FindUnwindRow(const ByteSource& source, const ElfRange& index, uint64_t address,
                   UnwindRow* row) {
  uint64_t position = 0;
  if (index.address + index.size < index.address) return false;
  if (!SearchIndex(source, index, address, &position)) return false;
  Entry entry;
  if (!ReadEntry(source, position, &entry)) return false;
  if (address - entry.code_start >= entry.code_size) return false;
  *row = UnwindRow();
  row->signal_frame = entry.signal_frame;
  row->code_start = entry.code_start;
  return RowProgram(source, entry, address, row).Run();
}

}  // namespace CrashHandler::machine
