#include "media_core/biz_engine/crash_handler/machine/images/image_table_linux.h"

#include <limits.h>
#include <link.h>
#include <sys/auxv.h>
#include <sys/uio.h>

#include <algorithm>
#include <atomic>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/images/elf_format.h"
#include "media_core/biz_engine/crash_handler/machine/images/program_file_linux.h"
#include "media_core/biz_engine/crash_handler/machine/memory/memory_linux.h"

namespace CrashHandler::machine {

namespace {

// Room for each image's path, on an average, and for libraries that are opened while the list is
// read. Without memory in the process the room comes from the little that is set aside.
constexpr size_t kPathBytesAnImage = 1024;
constexpr size_t kImagesToCome = 16;

// Copies a string of this process with safe reads that cross no page. False when it does not end
// within the room or cannot be read.
bool CopyString(uint64_t source, char* destination, size_t room) {
  constexpr uint64_t kPageSize = 4096;
  size_t length = 0;
  while (length < room) {
    const uint64_t at = source + length;
    const auto piece = std::min<uint64_t>({kPageSize - at % kPageSize, room - length, 128});
    if (mach_copyMem(reinterpret_cast<const void*>(at), destination + length, piece) != 0) {
      return false;
    }
    if (memchr(destination + length, '\0', piece) != nullptr) return true;
    length += piece;
  }
  return false;
}

bool ReadOwnMemory(const void*, uint64_t position, void* destination, size_t count) {
  return mach_copyMem(reinterpret_cast<const void*>(position), destination, count) == 0;
}

// Whether the image whose header is there has its dynamic section where the linker says.
bool IsHeaderOf(const struct link_map& link, uint64_t header, ElfSegments* segments) {
  return ReadElfSegments(kOwnMemory, header, segments) &&
         link.l_addr + segments->dynamic.address == reinterpret_cast<uint64_t>(link.l_ld);
}

bool ReadSegments(const struct link_map& link, bool main_program, ElfSegments* segments) {
  if (main_program) {
    return ReadElfProgramHeaders(kOwnMemory, getauxval(AT_PHDR), getauxval(AT_PHNUM), segments);
  }
  // A library's header is its first byte, and most libraries are linked at address 0. Where one is
  // not, its header is some pages below its dynamic section.
  if (IsHeaderOf(link, link.l_addr, segments)) return true;
  constexpr uint64_t kPageSize = 4096;
  constexpr uint64_t kMaxPages = 1 << 16;
  const uint64_t last = reinterpret_cast<uint64_t>(link.l_ld) / kPageSize;
  for (uint64_t page = last; page > 0 && last - page < kMaxPages; --page) {
    unsigned char magic[sizeof(kElfMagic)];
    if (!kOwnMemory.Read(page * kPageSize, magic, sizeof(magic))) return false;
    const bool found = memcmp(magic, kElfMagic, sizeof(magic)) == 0;
    if (found && IsHeaderOf(link, page * kPageSize, segments)) return true;
  }
  return false;
}

void ReadBuildId(LoadedImage* image) {
  for (size_t i = 0; i < image->segments.note_count; ++i) {
    const ElfNotes& notes = image->segments.notes[i];
    if (ReadElfBuildId(kOwnMemory, image->bias + notes.address, notes.size, &image->build_id))
      return;
  }
  image->build_id.size = 0;
}

}  // namespace

const ByteSource kOwnMemory = {&ReadOwnMemory, nullptr};

struct ImageTable::Content {
  size_t count;
  size_t capacity;
  size_t path_bytes;
  bool complete;  // every record of the linker's list gave an image
  LoadedImage* images;
  char* paths;

  static size_t PathRoom(size_t capacity) { return capacity * kPathBytesAnImage + PATH_MAX; }
  // In memory of one piece.
  static Content* Make(size_t capacity, ScratchMemory* memory);

  void AddLink(const struct link_map& link, uint64_t at, const Content* known);
  bool CopyPath(const char* path, LoadedImage* image);
};

namespace {

// The content read at installation; never unmapped, as a crashing thread may be reading it.
std::atomic<const void*> sKnown{nullptr};

// Reads records of the linker and their names, a few dozen at once.
class RecordCheck {
 public:
  // False when the image does not fit any more.
  bool Add(const LoadedImage& image) {
    if (count_ == kImages || name_bytes_ + image.name_size > sizeof(names_)) return false;
    images_[count_] = &image;
    sources_[2 * count_] = {reinterpret_cast<void*>(image.link), sizeof(struct link_map)};
    targets_[2 * count_] = {&links_[count_], sizeof(struct link_map)};
    sources_[2 * count_ + 1] = {reinterpret_cast<void*>(image.linker_name), image.name_size};
    targets_[2 * count_ + 1] = {names_ + name_bytes_, image.name_size};
    name_bytes_ += image.name_size;
    ++count_;
    return true;
  }

  // Whether all of them are as they were, each followed by the next and the last one by `next`.
  bool AreCurrent(uint64_t next) {
    if (!CopyPieces(sources_, targets_, 2 * count_)) return false;
    for (size_t i = 0; i < count_; ++i) {
      const uint64_t follower = i + 1 < count_ ? images_[i + 1]->link : next;
      if (!IsSame(*images_[i], links_[i], follower)) return false;
      // The main program's name is not the linker's.
      const auto* name = static_cast<const char*>(targets_[2 * i + 1].iov_base);
      const bool named = images_[i]->name_size > 1;
      if (named && memcmp(name, images_[i]->path, images_[i]->name_size) != 0) return false;
    }
    return true;
  }

 private:
  static constexpr size_t kImages = 32;

  static bool IsSame(const LoadedImage& image, const struct link_map& link, uint64_t follower) {
    return link.l_addr == image.bias && reinterpret_cast<uint64_t>(link.l_ld) == image.dynamic &&
           reinterpret_cast<uint64_t>(link.l_name) == image.linker_name &&
           reinterpret_cast<uint64_t>(link.l_next) == follower;
  }

  size_t count_ = 0;
  size_t name_bytes_ = 0;
  const LoadedImage* images_[kImages];
  struct link_map links_[kImages];
  struct iovec sources_[2 * kImages];
  struct iovec targets_[2 * kImages];
  char names_[4096];
};

// Of the list as it is now; one that is cut off or a ring ends at the most images there may be.
size_t CountRecords() {
  struct link_map link;
  size_t count = 0;
  for (const struct link_map* next = _r_debug.r_map; next != nullptr && count < kMaxImages;
       ++count) {
    if (mach_copyMem(next, &link, sizeof(link)) != 0) break;
    next = link.l_next;
  }
  return count;
}

}  // namespace

ImageTable::ImageTable() { Refresh(); }

void ImageTable::Refresh() {
  ScratchMemory none;
  memory_.Swap(&none);
  content_ = nullptr;
  const auto* known = static_cast<const Content*>(sKnown.load(std::memory_order_acquire));
  if (known != nullptr && IsCurrent(*known)) {
    content_ = known;
    return;
  }
  Content* const content =
      Content::Make(std::min(CountRecords() + kImagesToCome, kMaxImages), &memory_);
  if (content == nullptr) return;
  Read(known, content);
  content_ = content;
}

size_t ImageTable::size() const { return content_ == nullptr ? 0 : content_->count; }

const LoadedImage& ImageTable::operator[](size_t index) const { return content_->images[index]; }

const LoadedImage* ImageTable::Find(uint64_t address) const {
  const size_t count = size();
  // Addresses of one stack stay in the same few images.
  if (last_found_ < count && content_->images[last_found_].Holds(address)) {
    return &content_->images[last_found_];
  }
  for (size_t i = 0; i < count; ++i) {
    if (!content_->images[i].Holds(address)) continue;
    last_found_ = i;
    return &content_->images[i];
  }
  return nullptr;
}

bool ImageTable::IsCurrent(const Content& content) {
  const auto first = reinterpret_cast<uint64_t>(_r_debug.r_map);
  if (!content.complete || content.count == 0 || content.images[0].link != first) return false;
  for (size_t i = 0; i < content.count;) {
    RecordCheck check;
    const size_t before = i;
    while (i < content.count && check.Add(content.images[i])) ++i;
    if (i == before) return false;  // a name too long to check
    if (!check.AreCurrent(i < content.count ? content.images[i].link : 0)) return false;
  }
  return true;
}

void ImageTable::Read(const Content* known, Content* content) {
  struct link_map link;
  const struct link_map* next = _r_debug.r_map;
  size_t records = 0;
  for (; next != nullptr && records < content->capacity; ++records) {
    if (mach_copyMem(next, &link, sizeof(link)) != 0) return;
    content->AddLink(link, reinterpret_cast<uint64_t>(next), known);
    next = link.l_next;
  }
  content->complete = next == nullptr && content->count == records;
}

ImageTable::Content* ImageTable::Content::Make(size_t capacity, ScratchMemory* memory) {
  static_assert(sizeof(Content) % alignof(LoadedImage) == 0, "images follow it");
  const size_t image_bytes = capacity * sizeof(LoadedImage);
  if (!memory->Allocate(sizeof(Content) + image_bytes + PathRoom(capacity))) return nullptr;
  auto* const content = static_cast<Content*>(memory->data());
  char* const behind = static_cast<char*>(memory->data()) + sizeof(Content);
  *content = {};
  content->capacity = capacity;
  content->images = reinterpret_cast<LoadedImage*>(behind);
  content->paths = behind + image_bytes;
  return content;
}

void ImageTable::Content::AddLink(const struct link_map& link, uint64_t at, const Content* known) {
  const bool main_program = count == 0;
  LoadedImage& image = images[count];
  const auto dynamic = reinterpret_cast<uint64_t>(link.l_ld);
  const auto name = reinterpret_cast<uint64_t>(link.l_name);
  char path[PATH_MAX] = "";
  if (!main_program && !CopyString(name, path, sizeof(path))) return;
  // After a library was opened or closed most of the others are still as they were.
  if (known != nullptr && count < known->count) {
    const LoadedImage& same = known->images[count];
    if (same.bias == link.l_addr && same.dynamic == dynamic && same.link == at &&
        same.linker_name == name && (main_program || strcmp(same.path, path) == 0)) {
      image = same;
      ++count;
      return;
    }
  }
  image.bias = link.l_addr;
  image.dynamic = dynamic;
  image.link = at;
  image.linker_name = name;
  image.name_size = strlen(path) + 1;
  if (!ReadSegments(link, main_program, &image.segments)) return;
  ReadBuildId(&image);
  // The program's own name is not in the linker's list.
  if (main_program) ReadProgramPath(path, sizeof(path));
  if (CopyPath(path, &image)) ++count;
}

bool ImageTable::Content::CopyPath(const char* path, LoadedImage* image) {
  const size_t size = strlen(path) + 1;
  if (size > PathRoom(capacity) - path_bytes) return false;
  char* copy = paths + path_bytes;
  memcpy(copy, path, size);
  path_bytes += size;
  image->path = copy;
  return true;
}

void PrepareImageTable() {
  ImageTable table;
  if (table.memory_.data() == nullptr) return;  // what is known is still true, or no memory
  // Its paths may still lie in the content before it, which therefore stays too.
  sKnown.store(table.memory_.Leak(), std::memory_order_release);
}

}  // namespace CrashHandler::machine
