#include "media_core/biz_engine/crash_handler/machine/image_table_linux.h"

#include <limits.h>
#include <link.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>

namespace CrashHandler::machine {

namespace {

constexpr size_t kPathBytes = 4 << 20;

// Copies a string of this process with safe reads that cross no page. False when it does not end
// within the room or cannot be read.
bool CopyString(uint64_t source, char* destination, size_t room) {
  constexpr uint64_t kPageSize = 4096;
  size_t length = 0;
  while (length < room) {
    const uint64_t at = source + length;
    const auto piece = std::min<uint64_t>({kPageSize - at % kPageSize, room - length, 128});
    if (CopyMemory(reinterpret_cast<const void*>(at), destination + length, piece) != 0) {
      return false;
    }
    if (memchr(destination + length, '\0', piece) != nullptr) return true;
    length += piece;
  }
  return false;
}

bool ReadOwnMemory(const void*, uint64_t position, void* destination, size_t count) {
  return CopyMemory(reinterpret_cast<const void*>(position), destination, count) == 0;
}

// The program's own name is not in the linker's list.
void ProgramPath(char* path, size_t room) {
  const ssize_t length = readlink("/proc/self/exe", path, room - 1);
  path[length < 0 ? 0 : length] = '\0';
}

bool ReadSegments(const struct link_map& link, bool main_program, ElfSegments* segments) {
  if (main_program) {
    return ReadElfProgramHeaders(kOwnMemory, getauxval(AT_PHDR), getauxval(AT_PHNUM), segments);
  }
  // A library's header is its first byte, and libraries are linked at address 0.
  return ReadElfSegments(kOwnMemory, link.l_addr, segments);
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
  size_t path_bytes;
  size_t last_found;
  LoadedImage images[kMaxImages];
  char paths[kPathBytes];
};

namespace {
// The content read at installation; never unmapped, as a crashing thread may be reading it.
std::atomic<const void*> sKnown{nullptr};
}  // namespace

ImageTable::ImageTable() : memory_(sizeof(Content)) {
  known_ = static_cast<const Content*>(sKnown.load(std::memory_order_acquire));
  if (content() != nullptr) Read();
}

size_t ImageTable::size() const { return content() == nullptr ? 0 : content()->count; }

const LoadedImage& ImageTable::operator[](size_t index) const { return content()->images[index]; }

const LoadedImage* ImageTable::Find(uint64_t address) const {
  Content* all = content();
  if (all == nullptr) return nullptr;
  // Addresses of one stack stay in the same few images.
  if (all->last_found < all->count && all->images[all->last_found].Holds(address)) {
    return &all->images[all->last_found];
  }
  for (size_t i = 0; i < all->count; ++i) {
    if (!all->images[i].Holds(address)) continue;
    all->last_found = i;
    return &all->images[i];
  }
  return nullptr;
}

void ImageTable::Read() {
  struct link_map link;
  const struct link_map* next = _r_debug.r_map;
  for (size_t i = 0; next != nullptr && i < kMaxImages; ++i) {
    if (CopyMemory(next, &link, sizeof(link)) != 0) return;
    AddLink(link, i == 0);
    next = link.l_next;
  }
}

void ImageTable::AddLink(const struct link_map& link, bool main_program) {
  Content* all = content();
  LoadedImage& image = all->images[all->count];
  const auto dynamic = reinterpret_cast<uint64_t>(link.l_ld);
  const auto name = reinterpret_cast<uint64_t>(link.l_name);
  char path[PATH_MAX] = "";
  if (!main_program && !CopyString(name, path, sizeof(path))) return;
  // Usually nothing has changed since installation: the known image has the same place in the list.
  const size_t index = all->count;
  if (known_ != nullptr && index < known_->count) {
    const LoadedImage& known = known_->images[index];
    if (known.bias == link.l_addr && known.dynamic == dynamic && known.linker_name == name &&
        (main_program || strcmp(known.path, path) == 0)) {
      image = known;
      ++all->count;
      return;
    }
  }
  changed_ = true;
  image.bias = link.l_addr;
  image.dynamic = dynamic;
  image.linker_name = name;
  if (!ReadSegments(link, main_program, &image.segments)) return;
  ReadBuildId(&image);
  if (main_program) ProgramPath(path, sizeof(path));
  if (CopyPath(path, &image)) ++all->count;
}

bool ImageTable::CopyPath(const char* path, LoadedImage* image) {
  Content* all = content();
  const size_t size = strlen(path) + 1;
  if (size > kPathBytes - all->path_bytes) return false;
  char* copy = all->paths + all->path_bytes;
  memcpy(copy, path, size);
  all->path_bytes += size;
  image->path = copy;
  return true;
}

void PrepareImageTable() {
  ImageTable table;
  const bool known = table.known_ != nullptr && table.known_->count == table.size();
  if (table.content() == nullptr || (known && !table.changed_)) return;
  // Its paths may still lie in the content before it, which therefore stays too.
  sKnown.store(table.memory_.Leak(), std::memory_order_release);
}

}  // namespace CrashHandler::machine
