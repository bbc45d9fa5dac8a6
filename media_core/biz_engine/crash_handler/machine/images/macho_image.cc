#include "media_core/biz_engine/crash_handler/machine/images/macho_image.h"

#include <algorithm>
#include <cstring>

namespace CrashHandler::machine {

namespace {

constexpr uint32_t kSegment32Command = 1;
constexpr uint32_t kSymbolTableCommand = 2;
constexpr uint32_t kSegment64Command = 25;
constexpr uint32_t kUuidCommand = 27;

constexpr uint32_t kExecutableType = 2;
constexpr uint32_t kLibraryType = 6;

constexpr size_t kHeaderSize32 = 28;
constexpr size_t kHeaderSize64 = 32;
constexpr size_t kSegmentNameSize = 16;
constexpr uint8_t kHeaderSymbolType = 3;

// Symbols are copied in pieces of this many bytes, a multiple of both entry sizes.
constexpr size_t kSymbolPiece = 12 * 16 * 40;

// Both halves of an image's fields, read in its byte order from bytes at any alignment.
class Fields {
 public:
  explicit Fields(const MachOImage& image) {
    if (image.header == nullptr || image.size < sizeof(magic_)) return;
    memcpy(&magic_, image.header, sizeof(magic_));
    swapped_ = magic_ == kMachOMagic32Swapped || magic_ == kMachOMagic64Swapped;
    wide_ = magic_ == kMachOMagic64 || magic_ == kMachOMagic64Swapped;
    known_ = swapped_ || wide_ || magic_ == kMachOMagic32;
  }

  bool known() const { return known_; }
  bool wide() const { return wide_; }
  size_t header_size() const { return wide_ ? kHeaderSize64 : kHeaderSize32; }

  uint32_t U32(const uint8_t* at) const {
    uint32_t value;
    memcpy(&value, at, sizeof(value));
    return swapped_ ? __builtin_bswap32(value) : value;
  }
  uint64_t U64(const uint8_t* at) const {
    uint64_t value;
    memcpy(&value, at, sizeof(value));
    return swapped_ ? __builtin_bswap64(value) : value;
  }

 private:
  uint32_t magic_ = 0;
  bool swapped_ = false;
  bool wide_ = false;
  bool known_ = false;
};

// Walks the load commands: for (LoadCommands c(image); c.Next();) ...
class LoadCommands {
 public:
  // A header with an unknown magic has no commands, or, with `any_magic`, those of a 32-bit one.
  explicit LoadCommands(const MachOImage& image, bool any_magic = false)
      : fields_(image), at_(static_cast<const uint8_t*>(image.header)) {
    if (image.header == nullptr || image.size < fields_.header_size()) return;
    if (!fields_.known() && !any_magic) return;
    type_ = fields_.U32(at_ + 12);
    left_ = fields_.U32(at_ + 16);
    room_ = std::min<size_t>(fields_.U32(at_ + 20), image.size - fields_.header_size());
    at_ += fields_.header_size();
  }

  bool Next() {
    if (left_ == 0) return false;
    --left_;
    at_ += size_;
    room_ -= size_;
    size_ = room_ < 8 ? 0 : fields_.U32(at_ + 4);
    if (size_ >= 8 && size_ <= room_) return true;
    left_ = 0;
    return false;
  }

  const Fields& fields() const { return fields_; }
  uint32_t file_type() const { return type_; }
  uint32_t command() const { return fields_.U32(at_); }
  bool Has(size_t count) const { return size_ >= count; }
  const uint8_t* at() const { return at_; }

 private:
  Fields fields_;
  const uint8_t* at_;
  size_t size_ = 0;
  size_t room_ = 0;
  uint32_t left_ = 0;
  uint32_t type_ = 0;
};

struct Segment {
  const char* name;  // kSegmentNameSize bytes, not always with a zero
  uint64_t address;
  uint64_t size;
  uint64_t file_offset;

  bool IsNamed(const char* wanted) const { return strncmp(name, wanted, kSegmentNameSize) == 0; }
};

bool ReadSegment(const LoadCommands& commands, Segment* segment) {
  const Fields& fields = commands.fields();
  const uint8_t* at = commands.at();
  segment->name = reinterpret_cast<const char*>(at + 8);
  if (commands.command() == kSegment64Command && commands.Has(56)) {
    segment->address = fields.U64(at + 24);
    segment->size = fields.U64(at + 32);
    segment->file_offset = fields.U64(at + 40);
    return true;
  }
  if (commands.command() == kSegment32Command && commands.Has(40)) {
    segment->address = fields.U32(at + 24);
    segment->size = fields.U32(at + 28);
    segment->file_offset = fields.U32(at + 32);
    return true;
  }
  return false;
}

// One pass over a symbol table for queries in ascending order.
class SymbolScan {
 public:
  SymbolScan(const Fields& fields, MachOReader read, MachOQuery* queries, size_t count)
      : fields_(fields),
        entry_size_(fields.wide() ? 16 : 12),
        read_(read),
        queries_(queries),
        count_(count) {}

  void Run(uintptr_t table, uint32_t symbols) {
    uint8_t piece[kSymbolPiece];
    const size_t room = sizeof(piece) / entry_size_;
    for (size_t done = 0; done < symbols;) {
      const size_t wanted = std::min<size_t>(room, symbols - done);
      const auto* source = reinterpret_cast<const void*>(table + done * entry_size_);
      if (read_(source, piece, wanted * entry_size_) != 0) break;
      for (size_t i = 0; i < wanted; ++i) Offer(piece + i * entry_size_);
      done += wanted;
    }
    CompleteQueries(queries_, count_);
  }

 private:
  void Offer(const uint8_t* entry) {
    const uint64_t value = fields_.wide() ? fields_.U64(entry + 8) : fields_.U32(entry + 8);
    if (value == 0 || value > queries_[count_ - 1].relative) return;
    OfferSymbol(value, fields_.U32(entry), entry[4], queries_, count_);
  }

  const Fields& fields_;
  size_t entry_size_;
  MachOReader read_;
  MachOQuery* queries_;
  size_t count_;
};

void FillRecord(const MachOImage& image, const MachOQuery& query, uintptr_t strings,
                MachOReader read) {
  const uintptr_t address = query.value + static_cast<uintptr_t>(image.slide);
  const uintptr_t name = strings + query.name;
  char first = '\0';
  query.record->dli_saddr = reinterpret_cast<void*>(address);
  if (read(reinterpret_cast<const void*>(name), &first, 1) == 0) {
    query.record->dli_sname = reinterpret_cast<const char*>(name) + (first == '_' ? 1 : 0);
  }
  // A stripped image's only candidate is its header.
  const bool is_header = address == reinterpret_cast<uintptr_t>(image.header);
  if (is_header && query.type == kHeaderSymbolType) query.record->dli_sname = nullptr;
}

// Each query is served by the first table that has a match for it. The queries are in ascending
// order, so those that a table leaves open are the ones below all of its symbols.
void SearchTables(const MachOImage& image, uintptr_t base, MachOReader read, MachOQuery* queries,
                  size_t count) {
  size_t open = count;
  for (LoadCommands commands(image); open != 0 && commands.Next();) {
    if (commands.command() != kSymbolTableCommand || !commands.Has(24)) continue;
    const Fields& fields = commands.fields();
    const uint32_t symbols = fields.U32(commands.at() + 12);
    if (symbols == 0) continue;
    SymbolScan(fields, read, queries, open).Run(base + fields.U32(commands.at() + 8), symbols);
    const uintptr_t strings = base + fields.U32(commands.at() + 16);
    for (; open != 0 && queries[open - 1].found; --open) {
      FillRecord(image, queries[open - 1], strings, read);
    }
  }
}

}  // namespace

uintptr_t firstCmdAfterHeader(const MachOImage& image) {
  const Fields fields(image);
  if (!fields.known()) return 0;
  return reinterpret_cast<uintptr_t>(image.header) + fields.header_size();
}

bool MachOImageContains(const MachOImage& image, uintptr_t address) {
  const auto relative = static_cast<uint64_t>(address - static_cast<uintptr_t>(image.slide));
  for (LoadCommands commands(image); commands.Next();) {
    Segment segment;
    if (ReadSegment(commands, &segment) && relative - segment.address < segment.size) return true;
  }
  return false;
}

uint32_t imageIndexContainingAddress(const MachOImage* images, size_t count, uintptr_t address) {
  for (size_t i = 0; i < count; ++i) {
    if (MachOImageContains(images[i], address)) return static_cast<uint32_t>(i);
  }
  return kNoImage;
}

uintptr_t segmentBaseOfImageIndex(const MachOImage& image) {
  for (LoadCommands commands(image); commands.Next();) {
    Segment segment;
    if (ReadSegment(commands, &segment) && segment.IsNamed("__LINKEDIT")) {
      return segment.address - segment.file_offset;
    }
  }
  return 0;
}

bool _dladdr(const MachOImage& image, uintptr_t address, MachOReader read,
             SymbolInformation* record) {
  MachOQuery query;
  query.address = address;
  query.record = record;
  return ResolveInMachOImage(image, read, &query, 1);
}

bool ResolveInMachOImage(const MachOImage& image, MachOReader read, MachOQuery* queries,
                         size_t count) {
  const auto slide = static_cast<uintptr_t>(image.slide);
  for (size_t i = 0; i < count; ++i) {
    *queries[i].record = {nullptr, nullptr, nullptr, nullptr};
    queries[i].relative = static_cast<uint64_t>(queries[i].address - slide);
    queries[i].found = false;
  }
  const uintptr_t base = segmentBaseOfImageIndex(image) + slide;
  if (base == 0) return false;
  for (size_t i = 0; i < count; ++i) {
    queries[i].record->dli_fname = image.name;
    queries[i].record->dli_fbase = const_cast<void*>(image.header);
  }
  if (firstCmdAfterHeader(image) == 0) return false;
  std::sort(queries, queries + count,
            [](const MachOQuery& a, const MachOQuery& b) { return a.relative < b.relative; });
  SearchTables(image, base, read, queries, count);
  return true;
}

bool ScanMachOImage(const MachOImage& image, MachOImageScan* scan, ImageListEntry* entry) {
  LoadCommands commands(image, true);
  const bool listed =
      commands.file_type() == kExecutableType || commands.file_type() == kLibraryType;
  while (commands.Next()) {
    Segment segment;
    if (commands.command() == kUuidCommand && commands.Has(24)) {
      FormatUuid(commands.at() + 8, &scan->uuid);
    } else if (ReadSegment(commands, &segment) && segment.IsNamed("__TEXT")) {
      scan->text_address = segment.address;
      scan->text_size = segment.size;
    }
  }
  if (!listed) return false;
  entry->start = scan->text_address + static_cast<uint64_t>(image.slide);
  entry->end = entry->start + scan->text_size - 1;
  entry->is_64_bit = commands.fields().wide();
  entry->uuid = scan->uuid.text;
  entry->path = image.name;
  return true;
}

}  // namespace CrashHandler::machine
