// Unwind tables: the search for a row, call frame programs, and the way to the caller.
//
// An input is a byte of choices, two of the index's size (0: all), two of the first instruction's
// place, seventeen of registers, and memory that holds the index, the entries and a stack.
#include <algorithm>
#include <vector>

#include "fuzz/fuzz_source.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/unwind_tables.h"

using oru_fuzz::BlockSource;
using oru_fuzz::CountedSource;
using oru_fuzz::Require;

namespace machine = CrashHandler::machine;

namespace {

constexpr uint64_t kStarts[] = {0x10000, 0x7f1234567000, 0xfffffffffffe0000, 0x40};
constexpr uint64_t kExtent = 1 << 20;
constexpr int kSteps = 8;
constexpr size_t kPairs = 16;  // of the index, that are looked for
// No more than a row's worth of instructions and expressions of real size takes.
constexpr size_t kMostRowReads = 512 + size_t{4096} * 33;
constexpr size_t kMostApplyReads = size_t{18} * (32 + 1024 * 17);

struct Subject {
  const CountedSource* memory;
  machine::ElfRange index;
};

bool Same(const machine::UnwindRow& a, const machine::UnwindRow& b) {
  bool same = a.frame_by_expression == b.frame_by_expression &&
              a.frame_register == b.frame_register && a.frame_offset == b.frame_offset &&
              a.frame_expression == b.frame_expression && a.signal_frame == b.signal_frame;
  for (size_t i = 0; i < machine::kUnwindRegisterCount; ++i) {
    same = same && a.rules[i].kind == b.rules[i].kind && a.rules[i].value == b.rules[i].value;
  }
  return same;
}

// The memory with an index of a single pair far before it.
class OnePairIndex {
 public:
  OnePairIndex(const CountedSource& memory, uint64_t at, int64_t start, int64_t entry)
      : memory_(memory), at_(at) {
    const uint8_t head[] = {1, 0xff, 0x03, 0x3b, 1, 0, 0, 0};
    const int32_t pair[] = {static_cast<int32_t>(start), static_cast<int32_t>(entry)};
    fits_ = pair[0] == start && pair[1] == entry;
    memcpy(bytes_, head, sizeof(head));
    memcpy(bytes_ + sizeof(head), pair, sizeof(pair));
  }

  bool fits() const { return fits_; }
  machine::ByteSource source() const { return {&ReadFrom, this}; }
  machine::ElfRange range() const { return {at_, sizeof(bytes_)}; }

 private:
  static bool ReadFrom(const void* context, uint64_t position, void* destination, size_t count) {
    const auto* self = static_cast<const OnePairIndex*>(context);
    const uint64_t at = position - self->at_;
    if (at >= sizeof(bytes_)) return self->memory_.Read(position, destination, count);
    if (count > sizeof(bytes_) - at) return false;
    memcpy(destination, self->bytes_ + at, count);
    return true;
  }

  const CountedSource& memory_;
  uint64_t at_;
  bool fits_;
  uint8_t bytes_[16];
};

// Pairs of an index in the one form that linkers write; empty when it has another, or when it is
// not in order.
std::vector<std::pair<int64_t, int64_t>> PairsOf(const Subject& subject) {
  std::vector<std::pair<int64_t, int64_t>> pairs;
  uint8_t head[4];
  uint32_t count = 0;
  const uint64_t at = subject.index.address;
  if (!subject.memory->ReadValue(at, &head) || !subject.memory->ReadValue(at + 8, &count))
    return {};
  const uint8_t usual[] = {1, 0x1b, 0x03, 0x3b};
  if (memcmp(head, usual, sizeof(head)) != 0) return {};
  if (subject.index.size < 12 || count > (subject.index.size - 12) / 8) return {};
  for (uint32_t i = 0; i < count; ++i) {
    int32_t pair[2];
    if (!subject.memory->ReadValue(at + 12 + i * uint64_t{8}, &pair)) return {};
    pairs.emplace_back(pair[0], pair[1]);
  }
  const auto above = [](const auto& a, const auto& b) { return a.first > b.first; };
  const auto start = [at](int64_t offset) { return at + static_cast<uint64_t>(offset); };
  if (std::adjacent_find(pairs.begin(), pairs.end(), above) != pairs.end()) return {};
  if (!pairs.empty() && start(pairs.front().first) > start(pairs.back().first)) return {};
  return pairs;
}

// In an index in order, the last entry that starts at or before the address is the one found.
void CheckSearch(const Subject& subject, uint64_t address, bool found,
                 const machine::UnwindRow& row) {
  constexpr uint64_t kBefore = 1 << 30;
  const uint64_t at = subject.index.address;
  const auto pairs = PairsOf(subject);
  const std::pair<int64_t, int64_t>* last = nullptr;
  for (const auto& pair : pairs) {
    if (at + static_cast<uint64_t>(pair.first) <= address) last = &pair;
  }
  if (pairs.empty()) return;
  Require(last != nullptr || !found, "a row below the first entry");
  if (last == nullptr) return;
  const OnePairIndex index(*subject.memory, at - kBefore, last->first + int64_t{kBefore},
                           last->second + int64_t{kBefore});
  if (!index.fits()) return;
  machine::UnwindRow again;
  Require(machine::FindUnwindRow(index.source(), index.range(), address, &again) == found,
          "a row by its entry alone");
  if (found) Require(Same(row, again), "a row by its entry alone");
}

bool FindRow(const Subject& subject, CountedSource* memory, uint64_t address,
             machine::UnwindRow* row) {
  const bool found = machine::FindUnwindRow(memory->source(), subject.index, address, row);
  memory->RequireReads(kMostRowReads, "reads for a row");
  const BlockSource blocks(*memory);
  machine::UnwindRow again;
  Require(machine::FindUnwindRow(blocks.source(), subject.index, address, &again) == found,
          "a row by blocks");
  if (found) {
    Require(Same(*row, again), "a row by blocks");
    Require(row->frame_by_expression || row->frame_register < machine::kUnwindRegisterCount,
            "a frame's register");
  }
  CheckSearch(subject, address, found, *row);
  return found;
}

// What a rule gives; false when it cannot be told here.
bool RuleValue(const CountedSource& memory, const machine::UnwindRule& rule,
               const machine::UnwindRegisters& registers, uint64_t frame, uint64_t* value) {
  const uint64_t at = frame + static_cast<uint64_t>(rule.value);
  switch (rule.kind) {
    case machine::UnwindRuleKind::kUndefined:
      *value = 0;
      return true;
    case machine::UnwindRuleKind::kOffset:
      Require(memory.ReadValue(at, value), "what was read is there");
      return true;
    case machine::UnwindRuleKind::kValueOffset:
      *value = at;
      return true;
    case machine::UnwindRuleKind::kRegister:
      Require(static_cast<uint64_t>(rule.value) < machine::kUnwindRegisterCount, "a register");
      *value = registers.value[rule.value];
      return true;
    default:
      return false;
  }
}

void CheckCaller(const CountedSource& memory, const machine::UnwindRow& row,
                 const machine::UnwindRegisters& before, const machine::UnwindRegisters& after) {
  if (row.frame_by_expression) return;
  const uint64_t frame = before.value[row.frame_register] + static_cast<uint64_t>(row.frame_offset);
  for (size_t i = 0; i < machine::kUnwindRegisterCount; ++i) {
    uint64_t expected = i == machine::kUnwindRegisterRsp ? frame : before.value[i];
    const bool same = row.rules[i].kind == machine::UnwindRuleKind::kSame;
    if (!same && !RuleValue(memory, row.rules[i], before, frame, &expected)) continue;
    Require(after.value[i] == expected, "a register of the caller");
  }
}

bool Apply(CountedSource* memory, const machine::UnwindRow& row,
           machine::UnwindRegisters* registers) {
  const machine::UnwindRegisters before = *registers;
  const machine::UnwindStep step = machine::ApplyUnwindRow(memory->source(), row, registers);
  memory->RequireReads(kMostApplyReads, "reads for a caller");
  const BlockSource blocks(*memory);
  machine::UnwindRegisters again = before;
  Require(machine::ApplyUnwindRow(blocks.source(), row, &again) == step, "a caller by blocks");
  Require(memcmp(&again, registers, sizeof(again)) == 0, "a caller by blocks");
  const bool good = step == machine::UnwindStep::kDone;
  if (good) {
    CheckCaller(*memory, row, before, *registers);
  } else {
    Require(memcmp(&before, registers, sizeof(before)) == 0, "a failure leaves the registers");
  }
  return good;
}

// Up the stack as the crash handler goes.
void Walk(const Subject& subject, CountedSource* memory, machine::UnwindRegisters registers) {
  for (int step = 0; step < kSteps; ++step) {
    machine::UnwindRow row;
    const uint64_t address = registers.value[machine::kUnwindRegisterRip] - (step == 0 ? 0 : 1);
    if (!FindRow(subject, memory, address, &row) || !Apply(memory, row, &registers)) return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const uint8_t bits = input.Byte();
  const uint64_t index_size = input.Size();
  const uint64_t place = input.Size();
  const uint64_t start = kStarts[bits >> 2 & 3];
  machine::UnwindRegisters registers;
  for (uint64_t& value : registers.value) value = start + input.Byte() * uint64_t{8};
  const std::string bytes = input.Rest();
  CountedSource memory(bytes, start, oru_fuzz::BehindOf(bits), kExtent);
  const Subject subject = {&memory, {start, index_size == 0 ? bytes.size() : index_size}};

  registers.value[machine::kUnwindRegisterRip] = start + place - 0x8000;
  Walk(subject, &memory, registers);
  const auto pairs = PairsOf(subject);
  for (size_t i = 0; i < std::min(pairs.size(), kPairs); ++i) {
    registers.value[machine::kUnwindRegisterRip] =
        start + static_cast<uint64_t>(pairs[i].first) + (bits >> 4);
    Walk(subject, &memory, registers);
  }
  return 0;
}
