// Mach-O images: load commands, the image list's facts and symbol tables.
//
// An input is a byte of choices, two that say how much of the image may be read directly (0: all),
// three of addresses to look for, and the image.
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/fuzz_source.h"
#include "media_core/biz_engine/crash_handler/machine/images/macho_image.h"

using oru_fuzz::CountedSource;
using oru_fuzz::Require;

namespace machine = CrashHandler::machine;

namespace {

constexpr size_t kAddresses = 12;
constexpr uint64_t kExtent = 1 << 14;
constexpr uint64_t kLinkedAt[] = {0, 0x10000};

// Where symbols and names are read from; a reader has no context of its own.
CountedSource* sMemory = nullptr;

int ReadMemory(const void* source, void* destination, size_t count) {
  const machine::ByteSource bytes = sMemory->source();
  return bytes.Read(reinterpret_cast<uint64_t>(source), destination, count) ? 0 : 1;
}

// One image under the reader's eyes and the reference's. The part that is read directly lies in a
// block of exactly its size.
struct Subject {
  std::unique_ptr<uint8_t[]> direct;
  machine::MachOImage image;
  uint64_t addresses[kAddresses];

  uint64_t start() const { return reinterpret_cast<uint64_t>(image.header); }
  uint64_t slide() const { return static_cast<uint64_t>(image.slide); }
};

struct Command {
  uint32_t type;
  std::string body;  // with its first eight bytes
};

// The reference's reading, number by number out of a string.
class Reference {
 public:
  explicit Reference(const std::string& header) {
    const std::string magic = header.substr(0, 4);
    swapped_ = magic == "\xfe\xed\xfa\xce" || magic == "\xfe\xed\xfa\xcf";
    wide_ = magic == "\xcf\xfa\xed\xfe" || magic == "\xfe\xed\xfa\xcf";
    known_ = swapped_ || wide_ || magic == "\xce\xfa\xed\xfe";
    const size_t first = header_size();
    if (header.size() < first) return;
    type_ = Number(header, 12, 4);
    std::string rest = header.substr(first, Number(header, 20, 4));
    for (uint64_t left = Number(header, 16, 4); left != 0 && rest.size() >= 8; --left) {
      const uint64_t size = Number(rest, 4, 4);
      if (size < 8 || size > rest.size()) break;
      commands_.push_back({static_cast<uint32_t>(Number(rest, 0, 4)), rest.substr(0, size)});
      rest = rest.substr(size);
    }
  }

  uint64_t Number(const std::string& text, size_t at, size_t size) const {
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i) {
      const size_t from = at + (swapped_ ? i : size - 1 - i);
      value = value << 8 | static_cast<unsigned char>(text[from]);
    }
    return value;
  }

  // False for what is no segment; the name is cut at its first zero.
  bool Segment(const Command& command, std::string* name, uint64_t values[3]) const {
    const bool wide = command.type == 25;
    if (command.type != 1 && !wide) return false;
    const size_t width = wide ? 8 : 4;
    if (command.body.size() < 24 + 4 * width) return false;
    *name = command.body.substr(8, 16);
    name->resize(std::min(name->size(), name->find('\0')));
    for (size_t i = 0; i < 3; ++i) values[i] = Number(command.body, 24 + i * width, width);
    return true;
  }

  bool known() const { return known_; }
  bool wide() const { return wide_; }
  size_t header_size() const { return wide_ ? 32 : 28; }
  uint64_t type() const { return type_; }
  // Those that a 32-bit header of an unknown magic would have are for the image list alone.
  const std::vector<Command>& any_commands() const { return commands_; }
  std::vector<Command> commands() const { return known_ ? commands_ : std::vector<Command>(); }

 private:
  bool swapped_ = false;
  bool wide_ = false;
  bool known_ = false;
  uint64_t type_ = 0;
  std::vector<Command> commands_;
};

uint64_t CheckSegments(const Subject& subject, const Reference& reference) {
  const uint64_t first = reference.known() ? subject.start() + reference.header_size() : 0;
  Require(machine::firstCmdAfterHeader(subject.image) == first, "the first command");
  uint64_t base = 0;
  bool linked = false;
  bool held[kAddresses] = {};
  for (const Command& command : reference.commands()) {
    std::string name;
    uint64_t values[3];
    if (!reference.Segment(command, &name, values)) continue;
    if (name == "__LINKEDIT" && !linked) base = values[0] - values[2];
    linked = linked || name == "__LINKEDIT";
    for (size_t i = 0; i < kAddresses; ++i) {
      const uint64_t relative = subject.addresses[i] - subject.slide();
      held[i] = held[i] || relative - values[0] < values[1];
    }
  }
  Require(machine::segmentBaseOfImageIndex(subject.image) == base, "the base of link data");
  const machine::MachOImage images[] = {machine::MachOImage(), subject.image, subject.image};
  for (size_t i = 0; i < kAddresses; ++i) {
    const uint64_t address = subject.addresses[i];
    Require(machine::MachOImageContains(subject.image, address) == held[i], "a held address");
    Require(machine::imageIndexContainingAddress(images, 3, address) ==
                (held[i] ? 1 : machine::kNoImage),
            "the image of an address");
  }
  return base;
}

std::string UuidText(const std::string& bytes) {
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02X", static_cast<unsigned char>(bytes[i]));
    text += i == 4 || i == 6 || i == 8 || i == 10 ? "-" : "";
    text += digits;
  }
  return text;
}

void CheckScan(const Subject& subject, const Reference& reference) {
  std::string uuid = "carried";
  uint64_t text[3] = {0x4000, 0x200, 0};
  machine::MachOImageScan scan;
  memcpy(scan.uuid.text, uuid.c_str(), uuid.size() + 1);
  scan.text_address = text[0];
  scan.text_size = text[1];
  for (const Command& command : reference.any_commands()) {
    std::string name;
    uint64_t values[3];
    if (command.type == 27 && command.body.size() >= 24)
      uuid = UuidText(command.body.substr(8, 16));
    if (!reference.Segment(command, &name, values) || name != "__TEXT") continue;
    std::copy(values, values + 3, text);
  }
  machine::ImageListEntry entry = {};
  const bool listed = machine::ScanMachOImage(subject.image, &scan, &entry);
  Require(listed == (reference.type() == 2 || reference.type() == 6), "a listed image");
  Require(scan.uuid.text == uuid, "the carried uuid");
  Require(scan.text_address == text[0] && scan.text_size == text[1], "the carried text segment");
  if (!listed) return;
  Require(entry.start == text[0] + subject.slide(), "the image's start");
  Require(entry.end == entry.start + text[1] - 1, "the image's end");
  Require(entry.uuid == scan.uuid.text && entry.path == subject.image.name, "the image's strings");
  Require(entry.is_64_bit == reference.wide(), "the image's width");
}

struct Symbol {
  uint64_t value;
  uint64_t name;
  uint8_t type;
};

// The symbols of one table that can be read, in the pieces that the reader takes.
std::vector<Symbol> SymbolsOf(const Reference& reference, uint64_t table, uint64_t count) {
  const size_t size = reference.wide() ? 16 : 12;
  const size_t room = size_t{12 * 16 * 40} / size;
  std::vector<Symbol> symbols;
  for (uint64_t done = 0; done < count;) {
    std::string piece(std::min<uint64_t>(room, count - done) * size, '\0');
    if (!sMemory->Read(table + done * size, &piece[0], piece.size())) break;
    for (size_t at = 0; at < piece.size(); at += size) {
      symbols.push_back({reference.Number(piece, at + 8, reference.wide() ? 8 : 4),
                         reference.Number(piece, at, 4), static_cast<uint8_t>(piece[at + 4])});
    }
    done += piece.size() / size;
  }
  return symbols;
}

struct Table {
  uint64_t strings;
  std::vector<Symbol> symbols;
};

std::vector<Table> TablesOf(const Reference& reference, uint64_t base) {
  std::vector<Table> tables;
  for (const Command& command : reference.commands()) {
    if (command.type != 2 || command.body.size() < 24) continue;
    tables.push_back({base + reference.Number(command.body, 16, 4),
                      SymbolsOf(reference, base + reference.Number(command.body, 8, 4),
                                reference.Number(command.body, 12, 4))});
  }
  return tables;
}

machine::SymbolInformation Expected(const Subject& subject, const std::vector<Table>& tables,
                                    uint64_t address) {
  machine::SymbolInformation record = {subject.image.name, const_cast<void*>(subject.image.header),
                                       nullptr, nullptr};
  for (const Table& table : tables) {
    const Symbol* nearest = nullptr;
    for (const Symbol& symbol : table.symbols) {
      if (symbol.value == 0 || symbol.value > address - subject.slide()) continue;
      if (nearest == nullptr || symbol.value >= nearest->value) nearest = &symbol;
    }
    if (nearest == nullptr) continue;
    const uint64_t name = table.strings + nearest->name;
    char first = '\0';
    record.dli_saddr = reinterpret_cast<void*>(nearest->value + subject.slide());
    const bool stripped = record.dli_saddr == subject.image.header && nearest->type == 3;
    if (!stripped && sMemory->Read(name, &first, 1)) {
      record.dli_sname = reinterpret_cast<const char*>(name + (first == '_' ? 1 : 0));
    }
    break;
  }
  return record;
}

bool Same(const machine::SymbolInformation& a, const machine::SymbolInformation& b) {
  return a.dli_fname == b.dli_fname && a.dli_fbase == b.dli_fbase && a.dli_sname == b.dli_sname &&
         a.dli_saddr == b.dli_saddr;
}

void CheckSymbols(const Subject& subject, const Reference& reference, uint64_t base) {
  machine::SymbolInformation records[kAddresses];
  machine::MachOQuery queries[kAddresses];
  for (size_t i = 0; i < kAddresses; ++i) {
    queries[i].address = subject.addresses[kAddresses - 1 - i];
    queries[i].record = &records[kAddresses - 1 - i];
  }
  const bool good = machine::ResolveInMachOImage(subject.image, &ReadMemory, queries, kAddresses);
  const size_t commands = reference.commands().size();
  sMemory->RequireReads(commands * (2 + sMemory->extent() / 7680) + kAddresses, "reads of symbols");
  Require(good == (base + subject.slide() != 0 && reference.known()), "symbols can be looked for");
  const std::vector<Table> tables =
      good ? TablesOf(reference, base + subject.slide()) : std::vector<Table>();
  for (size_t i = 0; i < kAddresses; ++i) {
    machine::SymbolInformation alone;
    Require(machine::_dladdr(subject.image, subject.addresses[i], &ReadMemory, &alone) == good,
            "one address alone");
    Require(Same(alone, records[i]), "one address alone gives what it gives among others");
    if (good) Require(Same(alone, Expected(subject, tables, subject.addresses[i])), "a symbol");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const uint8_t bits = input.Byte();
  const size_t cut = input.Size();
  const uint64_t first = input.Size();
  const uint64_t step = input.Byte();
  const std::string bytes = input.Rest();
  const std::string header = cut == 0 ? bytes : bytes.substr(0, cut);

  Subject subject;
  subject.direct.reset(new uint8_t[header.size()]);
  memcpy(subject.direct.get(), header.data(), header.size());
  subject.image.header = subject.direct.get();
  subject.image.size = header.size();
  subject.image.name = "/lib/image.dylib";
  subject.image.slide = static_cast<intptr_t>(subject.start() - kLinkedAt[bits >> 2 & 1]);
  for (size_t i = 0; i < kAddresses; ++i) {
    subject.addresses[i] = subject.start() + first + i * step;
  }
  CountedSource memory(bytes, subject.start(), oru_fuzz::BehindOf(bits), kExtent);
  sMemory = &memory;
  const Reference reference(header);
  const uint64_t base = CheckSegments(subject, reference);
  CheckScan(subject, reference);
  CheckSymbols(subject, reference, base);
  return 0;
}
