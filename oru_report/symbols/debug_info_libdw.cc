#include <dwarf.h>
#include <elfutils/libdw.h>
#include <libelf.h>

#include <algorithm>
#include <map>

#include "oru_report/symbols/debug_info.h"
#include "oru_report/symbols/macho_as_elf.h"

namespace oru_report {
namespace {

// A stretch of addresses of a unit or a function.
struct Range {
  uint64_t start = 0;
  uint64_t end = 0;
  Dwarf_Off die = 0;
};

// Sorted by start; of those that overlap the shorter one is found first.
class RangeTable {
 public:
  void AddDie(Dwarf_Die* die) {
    Dwarf_Addr base = 0;
    Dwarf_Addr start = 0;
    Dwarf_Addr end = 0;
    const Dwarf_Off offset = dwarf_dieoffset(die);
    ptrdiff_t at = 0;
    while (ranges_.size() < kMost && (at = dwarf_ranges(die, at, &base, &start, &end)) > 0) {
      if (start < end) ranges_.push_back({start, end, offset});
    }
  }

  void Sort() {
    std::sort(ranges_.begin(), ranges_.end(),
              [](const Range& a, const Range& b) { return a.start < b.start; });
  }

  // False when none holds the address.
  bool Find(uint64_t address, Dwarf_Off* die) const {
    auto at =
        std::upper_bound(ranges_.begin(), ranges_.end(), address,
                         [](uint64_t wanted, const Range& range) { return wanted < range.start; });
    for (int steps = 0; steps < 8 && at != ranges_.begin(); ++steps) {
      --at;
      if (address < at->end) {
        *die = at->die;
        return true;
      }
    }
    return false;
  }

 private:
  static constexpr size_t kMost = size_t{16} << 20;
  std::vector<Range> ranges_;
};

// The name that linkers know, or the plain one.
std::string NameOf(Dwarf_Die* die) {
  Dwarf_Attribute attribute;
  for (const unsigned name : {DW_AT_linkage_name, DW_AT_MIPS_linkage_name}) {
    if (dwarf_attr_integrate(die, name, &attribute) == nullptr) continue;
    const char* text = dwarf_formstring(&attribute);
    if (text != nullptr) return text;
  }
  const char* text = dwarf_diename(die);
  return text == nullptr ? "" : text;
}

class LibdwInfo : public DebugInfo {
 public:
  // `as_elf` may be null; otherwise `image` is what it made.
  LibdwInfo(char* image, size_t size, std::unique_ptr<MachOAsElf> as_elf)
      : as_elf_(std::move(as_elf)) {
    elf_version(EV_CURRENT);
    elf_ = elf_memory(image, size);
    if (elf_ != nullptr) dwarf_ = dwarf_begin_elf(elf_, DWARF_C_READ, nullptr);
    if (dwarf_ != nullptr) ReadUnits();
  }

  ~LibdwInfo() override {
    if (dwarf_ != nullptr) dwarf_end(dwarf_);
    if (elf_ != nullptr) elf_end(elf_);
  }

  LibdwInfo(const LibdwInfo&) = delete;
  LibdwInfo& operator=(const LibdwInfo&) = delete;

  bool good() const { return has_units_; }

  std::vector<SourceFrame> Find(uint64_t address) override;
  size_t units_read() const override { return functions_.size(); }

 private:
  void ReadUnits();
  // False when no function of the unit holds the address. They are read at its first one.
  bool FindFunction(Dwarf_Die* unit, uint64_t address, Dwarf_Off* die);
  // Appends the function and, in front of it, what is inlined at the address.
  void AddFunctions(Dwarf_Die* unit, Dwarf_Die function, uint64_t address,
                    std::vector<SourceFrame>* frames);

  std::unique_ptr<MachOAsElf> as_elf_;
  Elf* elf_ = nullptr;
  Dwarf* dwarf_ = nullptr;
  bool has_units_ = false;
  RangeTable units_;
  struct UnitFunctions {
    RangeTable table;
    bool complete = false;
  };
  // By unit.
  std::map<Dwarf_Off, UnitFunctions> functions_;
};

void LibdwInfo::ReadUnits() {
  Dwarf_CU* unit = nullptr;
  Dwarf_Die die;
  while (dwarf_get_units(dwarf_, unit, &unit, nullptr, nullptr, &die, nullptr) == 0) {
    has_units_ = true;
    units_.AddDie(&die);
  }
  units_.Sort();
}

// Appends the functions that are children of `parent` or of a namespace in it: where compilers put
// them, whatever they are members of. Types, most of what there is, are passed over.
void AddOuterFunctions(Dwarf_Die* parent, int depth, RangeTable* table) {
  constexpr int kMostDepth = 64;
  Dwarf_Die child;
  if (depth > kMostDepth || dwarf_child(parent, &child) != 0) return;
  do {
    const int tag = dwarf_tag(&child);
    if (tag == DW_TAG_subprogram) table->AddDie(&child);
    if (tag == DW_TAG_namespace || tag == DW_TAG_module) {
      AddOuterFunctions(&child, depth + 1, table);
    }
  } while (dwarf_siblingof(&child, &child) == 0);
}

// All of them, wherever they are.
void AddAllFunctions(Dwarf_Die* unit, RangeTable* table) {
  const auto add = [](Dwarf_Die* function, void* context) {
    static_cast<RangeTable*>(context)->AddDie(function);
    return static_cast<int>(DWARF_CB_OK);
  };
  dwarf_getfuncs(unit, add, table, 0);
}

bool LibdwInfo::FindFunction(Dwarf_Die* unit, uint64_t address, Dwarf_Off* die) {
  const auto [at, is_new] = functions_.try_emplace(dwarf_dieoffset(unit));
  UnitFunctions& functions = at->second;
  if (is_new) {
    AddOuterFunctions(unit, 0, &functions.table);
    functions.table.Sort();
  }
  if (functions.table.Find(address, die)) return true;
  if (functions.complete) return false;
  // A function within a function or a type.
  functions.complete = true;
  functions.table = RangeTable();
  AddAllFunctions(unit, &functions.table);
  functions.table.Sort();
  return functions.table.Find(address, die);
}

// The child of `die` that holds the address: an inlined function or a block.
bool FindChild(Dwarf_Die* die, uint64_t address, Dwarf_Die* found) {
  Dwarf_Die child;
  if (dwarf_child(die, &child) != 0) return false;
  do {
    const int tag = dwarf_tag(&child);
    const bool scope = tag == DW_TAG_inlined_subroutine || tag == DW_TAG_lexical_block;
    if (scope && dwarf_haspc(&child, address) == 1) {
      *found = child;
      return true;
    }
  } while (dwarf_siblingof(&child, &child) == 0);
  return false;
}

// Where the function at `die` was called from, as its inlined copy tells.
void ReadCallPlace(Dwarf_Die* unit, Dwarf_Die* die, SourceFrame* caller) {
  Dwarf_Attribute attribute;
  Dwarf_Word number = 0;
  if (dwarf_formudata(dwarf_attr(die, DW_AT_call_line, &attribute), &number) == 0) {
    caller->line = static_cast<int>(number);
  }
  Dwarf_Files* files = nullptr;
  size_t count = 0;
  if (dwarf_formudata(dwarf_attr(die, DW_AT_call_file, &attribute), &number) != 0) return;
  if (dwarf_getsrcfiles(unit, &files, &count) != 0 || number >= count) return;
  const char* file = dwarf_filesrc(files, number, nullptr, nullptr);
  if (file != nullptr) caller->file = file;
}

void LibdwInfo::AddFunctions(Dwarf_Die* unit, Dwarf_Die function, uint64_t address,
                             std::vector<SourceFrame>* frames) {
  // Outermost first until the end; the innermost's place is that of the address.
  constexpr int kMostDepth = 256;
  std::vector<SourceFrame> outer = {{NameOf(&function), "", 0}};
  Dwarf_Die inner;
  for (int depth = 0; depth < kMostDepth && FindChild(&function, address, &inner); ++depth) {
    function = inner;
    if (dwarf_tag(&inner) != DW_TAG_inlined_subroutine) continue;
    ReadCallPlace(unit, &inner, &outer.back());
    outer.push_back({NameOf(&inner), "", 0});
  }
  frames->assign(outer.rbegin(), outer.rend());
}

std::vector<SourceFrame> LibdwInfo::Find(uint64_t address) {
  std::vector<SourceFrame> frames;
  Dwarf_Off offset = 0;
  Dwarf_Die unit;
  if (!units_.Find(address, &offset) || dwarf_offdie(dwarf_, offset, &unit) == nullptr) return {};
  Dwarf_Die function;
  if (FindFunction(&unit, address, &offset) && dwarf_offdie(dwarf_, offset, &function) != nullptr) {
    AddFunctions(&unit, function, address, &frames);
  }
  Dwarf_Line* line = dwarf_getsrc_die(&unit, address);
  const char* file = line == nullptr ? nullptr : dwarf_linesrc(line, nullptr, nullptr);
  if (file == nullptr) return frames;
  if (frames.empty()) frames.emplace_back();
  frames.front().file = file;
  if (dwarf_lineno(line, &frames.front().line) != 0) frames.front().line = 0;
  return frames;
}

}  // namespace

std::unique_ptr<DebugInfo> OpenDebugInfo(int descriptor, const MappedFile& file,
                                         const BinarySlice& slice) {
  std::unique_ptr<MachOAsElf> as_elf;
  char* image = file.writable();
  size_t size = file.bytes().size();
  if (slice.kind == BinaryKind::kMachO) {
    as_elf = std::make_unique<MachOAsElf>(descriptor, file, slice);
    image = as_elf->data();
    size = as_elf->size();
  }
  if (image == nullptr) return nullptr;
  auto info = std::make_unique<LibdwInfo>(image, size, std::move(as_elf));
  if (!info->good()) return nullptr;
  return info;
}

}  // namespace oru_report
