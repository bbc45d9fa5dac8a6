#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "media_core/biz_engine/crash_handler/machine/images/elf_image.h"
#include "media_core/biz_engine/crash_handler/machine/images/image_table_linux.h"
#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/images/program_file_linux.h"
#include "media_core/biz_engine/crash_handler/machine/images/uuid_text.h"
#include "media_core/biz_engine/crash_handler/machine/memory/block_cache.h"
#include "media_core/biz_engine/crash_handler/machine/memory/open_file.h"
#include "media_core/biz_engine/crash_handler/machine/memory/spare_object.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_limits.h"

namespace CrashHandler::machine {

namespace {

constexpr size_t kMaxNameSize = 64 * 1024;
// Address space, not memory: pages are taken as they are written.
constexpr size_t kNameBytes = 64 << 20;
constexpr size_t kFewNameBytes = 1 << 20;
// More than this is not kept for the next user.
constexpr size_t kMaxKeptNameBytes = 1 << 19;
constexpr size_t kPieceBytes = 256 * 1024;

// The first bytes of the build id, with zeros behind a shorter one.
void FormatBuildId(const ElfBuildId& id, UuidText* uuid) {
  uint8_t bytes[kUuidSize] = {};
  memcpy(bytes, id.bytes, std::min(id.size, kUuidSize));
  FormatUuid(bytes, uuid);
}

// Headers and names are many small reads that lie close together.
using Blocks = BlockCache<32>;

// The image's own file, when it can be opened and has the same build id as what is loaded.
class ImageFile {
 public:
  // `blocks` are for this object alone while it lives and is usable.
  ImageFile(const LoadedImage& image, bool main_program, Blocks* blocks) : blocks_(blocks) {
    if (image.build_id.size == 0 && !main_program) return;
    // The program's is always its own.
    file_ =
        main_program ? OpenProgramFile() : OpenFile(image.path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat about;
    if (file_ >= 0 && fstat(file_, &about) == 0) size_ = static_cast<uint64_t>(about.st_size);
    if (file_ >= 0 && !main_program && !Matches(image.build_id)) {
      close(file_);
      file_ = -1;
    }
  }
  ~ImageFile() {
    if (file_ >= 0) close(file_);
  }
  ImageFile(const ImageFile&) = delete;
  ImageFile& operator=(const ImageFile&) = delete;

  bool usable() const { return file_ >= 0; }
  ByteSource source() const { return {&ReadBlocks, this}; }

 private:
  static bool ReadBlocks(const void* context, uint64_t position, void* destination, size_t count) {
    const auto* self = static_cast<const ImageFile*>(context);
    return self->blocks_->Read({&ReadFile, &self->file_}, position, destination, count,
                               self->size_);
  }

  static bool ReadFile(const void* context, uint64_t position, void* destination, size_t count) {
    auto* to = static_cast<char*>(destination);
    while (count != 0) {
      const ssize_t got =
          pread(*static_cast<const int*>(context), to, count, static_cast<off_t>(position));
      if (got <= 0) return false;
      to += got;
      position += static_cast<size_t>(got);
      count -= static_cast<size_t>(got);
    }
    return true;
  }

  bool Matches(const ElfBuildId& wanted) const {
    ElfSegments segments;
    if (!ReadElfSegments(source(), 0, &segments)) return false;
    ElfBuildId id;
    for (size_t i = 0; i < segments.note_count; ++i) {
      const ElfNotes& notes = segments.notes[i];
      if (ReadElfBuildId(source(), notes.offset, notes.size, &id)) return id == wanted;
    }
    return false;
  }

  Blocks* blocks_;
  int file_ = -1;
  uint64_t size_ = 0;
};

// Memory through blocks.
bool ReadMemoryBlocks(const void* context, uint64_t position, void* destination, size_t count) {
  auto* blocks = static_cast<Blocks*>(const_cast<void*>(context));
  return blocks->Read(kOwnMemory, position, destination, count);
}

// An address on its way through the tables.
struct Query {
  uint64_t address;  // without the image's bias
  const LoadedImage* image;
  size_t index;  // of the caller's record
};

bool Before(const Query& a, const Query& b) {
  if (a.image != b.image) return a.image < b.image;
  return a.address < b.address;
}

void* Pointer(uint64_t address) { return reinterpret_cast<void*>(address); }

// What was found about addresses: threads wait in the same few places, and a process that looks at
// its stacks does so again.
class FoundAddresses {
 public:
  // Null when it is not known.
  const SymbolInformation* Find(uintptr_t address) const {
    if (address == 0) return nullptr;
    const size_t set = SetOf(address);
    for (size_t place = set; place < set + kWays; ++place) {
      if (addresses_[place] == address) return &records_[place];
    }
    return nullptr;
  }
  // What was kept first goes, when a set is full.
  void Keep(uintptr_t address, const SymbolInformation& record) {
    const size_t set = SetOf(address);
    for (size_t place = set + kWays - 1; place > set; --place) {
      addresses_[place] = addresses_[place - 1];
      records_[place] = records_[place - 1];
    }
    addresses_[set] = address;
    records_[set] = record;
  }
  void Forget() {
    for (uintptr_t& address : addresses_) address = 0;
  }

 private:
  static constexpr size_t kWays = 4;
  static constexpr unsigned kSetBits = 8;

  // Multiplicative hashing: Knuth, The Art of Computer Programming, volume 3, 6.4.
  static size_t SetOf(uintptr_t address) {
    return (address * 0x9E3779B97F4A7C15 >> (64 - kSetBits)) * kWays;
  }

  uintptr_t addresses_[kWays << kSetBits] = {};  // 0: empty
  SymbolInformation records_[kWays << kSetBits];
};

struct SymbolizerState {
  SymbolizerState(char* room_for_names, size_t bytes) : names(room_for_names), name_room(bytes) {}

  // For a new user. What was found holds as long as the images are the same.
  void Begin() {
    table.Refresh();
    const bool same = table.remembered() != nullptr && table.remembered() == found_in;
    if (same && name_bytes < kMaxKeptNameBytes) return;
    found.Forget();
    name_bytes = 0;
    found_in = table.remembered();
  }

  ImageTable table;
  const void* found_in = nullptr;
  FoundAddresses found;
  char* const names;
  size_t name_bytes = 0;
  size_t name_room;
  Blocks blocks;            // of the image that is being looked at
  char piece[kPieceBytes];  // of a symbol table
};

template <size_t kBytes>
struct StateWithNames : SymbolizerState {
  StateWithNames() : SymbolizerState(all_names, kBytes) {}
  char all_names[kBytes];  // left as the kernel gives it
};

using LargeState = StateWithNames<kNameBytes>;
// What all names could take is address space that a process at its limit does not have.
using SmallState = StateWithNames<kFewNameBytes>;

SpareObject<LargeState> sSpareState;

SymbolizerState* TakeState(ScratchMemory* memory) {
  SymbolizerState* state = sSpareState.Take(memory);
  if (state == nullptr && memory->Allocate(sizeof(SmallState))) {
    state = new (memory->data()) SmallState;
  }
  if (state != nullptr) state->Begin();
  return state;
}

// Resolves sorted queries that all lie in one image.
class ImageResolver {
 public:
  ImageResolver(SymbolizerState* state, const LoadedImage& image)
      : state_(Fresh(state)),
        image_(image),
        file_(image, &image == &state->table[0], &state->blocks) {
    if (file_.usable() && FindElfFileSymbols(file_.source(), &table_)) {
      source_ = file_.source();
      return;
    }
    state->blocks.Forget();
    source_ = {&ReadMemoryBlocks, &state->blocks};
    const ElfRange dynamic = {image.dynamic, image.segments.dynamic.size};
    if (!FindElfDynamicSymbols(source_, dynamic, image.bias, &table_)) table_ = {};
  }

  // `distinct` has room for them all.
  void Resolve(const Query* queries, size_t count, SymbolQuery* distinct,
               SymbolInformation* records) {
    size_t distinct_count = 0;
    for (size_t i = 0; i < count; ++i) {
      if (i == 0 || queries[i].address != queries[i - 1].address) {
        distinct[distinct_count++].relative = queries[i].address;
      }
    }
    MatchElfSymbols(source_, table_, distinct, distinct_count, state_->piece, kPieceBytes);
    size_t at = 0;
    for (size_t i = 0; i < count; ++i) {
      while (distinct[at].relative != queries[i].address) ++at;
      Fill(distinct[at], &records[queries[i].index]);
    }
  }

 private:
  // What the blocks held was another image's.
  static SymbolizerState* Fresh(SymbolizerState* state) {
    state->blocks.Forget();
    return state;
  }

  void Fill(const SymbolQuery& match, SymbolInformation* record) {
    record->dli_fname = image_.path;
    record->dli_fbase = Pointer(image_.start());
    if (!match.found) return;
    const char* name = Name(match.name);
    if (name == nullptr) return;
    record->dli_sname = name;
    record->dli_saddr = Pointer(match.value + image_.bias);
  }

  // Neighbouring queries mostly ask for the same name again. Null when no room is left.
  const char* Name(uint32_t index) {
    if (last_name_ != nullptr && index == last_index_) return last_name_;
    char* name = state_->names + state_->name_bytes;
    const size_t room = std::min(kMaxNameSize, state_->name_room - state_->name_bytes);
    if (room < 2) return nullptr;
    state_->name_bytes += ReadElfName(source_, table_, index, name, room) + 1;
    last_index_ = index;
    last_name_ = name;
    return name;
  }

  SymbolizerState* state_;
  const LoadedImage& image_;
  ImageFile file_;
  ByteSource source_;
  ElfSymbolTable table_;
  uint32_t last_index_ = 0;
  const char* last_name_ = nullptr;
};

constexpr size_t kBytesAQuery = sizeof(Query) + sizeof(SymbolQuery);

// `memory` has room for `count` queries.
void ResolveIn(void* memory, SymbolizerState* state, const uintptr_t* addresses,
               SymbolInformation* records, size_t count) {
  auto* queries = static_cast<Query*>(memory);
  auto* distinct = reinterpret_cast<SymbolQuery*>(queries + count);

  size_t known = 0;
  for (size_t i = 0; i < count; ++i) {
    const SymbolInformation* const found = state->found.Find(addresses[i]);
    if (found != nullptr) {
      records[i] = *found;
      continue;
    }
    const LoadedImage* image = state->table.Find(addresses[i]);
    if (image != nullptr) queries[known++] = {addresses[i] - image->bias, image, i};
  }
  std::sort(queries, queries + known, &Before);
  for (size_t start = 0; start < known;) {
    size_t end = start + 1;
    while (end < known && queries[end].image == queries[start].image) ++end;
    ImageResolver resolver(state, *queries[start].image);
    resolver.Resolve(queries + start, end - start, distinct, records);
    start = end;
  }
  for (size_t i = 0; i < known; ++i) {
    state->found.Keep(addresses[queries[i].index], records[queries[i].index]);
  }
}

// One stack's worth needs no memory of its own. Its room is not to be in every frame of Resolve.
[[gnu::noinline]] void ResolveFew(SymbolizerState* state, const uintptr_t* addresses,
                                  SymbolInformation* records, size_t count) {
  alignas(Query) char few[kMaxThreadFrames * kBytesAQuery];
  ResolveIn(few, state, addresses, records, count);
}

}  // namespace

void PrepareImages() { PrepareImageTable(); }

void VisitImages(ImageListVisitor visit, void* context) {
  const ImageTable table;
  UuidText uuid;
  for (size_t i = 0; i < table.size(); ++i) {
    const LoadedImage& image = table[i];
    if (image.build_id.size != 0) FormatBuildId(image.build_id, &uuid);
    const ElfRange& code = image.segments.code;
    const uint64_t end = code.size == 0 ? image.start() : image.bias + code.address + code.size - 1;
    visit(context, {image.start(), end, true, uuid.text, image.path});
  }
}

Symbolizer::Symbolizer() { TakeState(&memory_); }

Symbolizer::~Symbolizer() {
  if (memory_.size() == sizeof(LargeState)) {
    sSpareState.GiveBack(&memory_);
  } else if (memory_.data() != nullptr) {
    static_cast<SmallState*>(memory_.data())->~SmallState();
  }
}

void Symbolizer::Resolve(const uintptr_t* addresses, SymbolInformation* records, size_t count) {
  for (size_t i = 0; i < count; ++i) records[i] = {nullptr, nullptr, nullptr, nullptr};
  auto* state = static_cast<SymbolizerState*>(memory_.data());
  if (state == nullptr || count == 0) return;
  if (count <= kMaxThreadFrames) return ResolveFew(state, addresses, records, count);
  ScratchMemory many(count * kBytesAQuery);
  if (many.data() != nullptr) return ResolveIn(many.data(), state, addresses, records, count);
  // In more passes it takes less memory.
  const size_t half = count / 2;
  Resolve(addresses, records, half);
  Resolve(addresses + half, records + half, count - half);
}

bool Symbolizer::ResolveOne(uintptr_t address, SymbolInformation* record) {
  Resolve(&address, record, 1);
  return record->dli_fbase != nullptr;
}

}  // namespace CrashHandler::machine
