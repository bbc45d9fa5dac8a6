// The images of this process as the dynamic linker lists them, read without its lock.
//
// The linker's list (`_r_debug`) is followed by safe reads: taking the linker's lock in a crash
// could wait for ever, and a list that changes meanwhile gives at worst an end of the list or an
// entry that cannot be read, which is left out. The order is that of `dl_iterate_phdr`.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGE_TABLE_LINUX_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGE_TABLE_LINUX_H_

#include <link.h>

#include <cstddef>
#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/images/elf_image.h"
#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"

namespace CrashHandler::machine {

struct LoadedImage {
  uint64_t bias;
  uint64_t dynamic;      // where the linker keeps the image's dynamic section; tells images apart
  uint64_t link;         // address of the linker's record
  uint64_t linker_name;  // address of the linker's copy of the name
  size_t name_size;      // of that copy, with its terminating zero
  const char* path;      // inside a table; the linker's name, but for the main program
  ElfSegments segments;
  ElfBuildId build_id;

  uint64_t start() const { return bias + segments.first; }
  bool Holds(uint64_t address) const { return segments.Holds(address - bias); }
  bool HoldsCode(uint64_t address) const { return segments.HoldsCode(address - bias); }
};

constexpr size_t kMaxImages = 4096;

// A byte source over this process's memory, by safe reads.
extern const ByteSource kOwnMemory;

// Reads one list and remembers it for all tables made later. While it is still true, which two or
// three reads tell, they share it. For installation; safe beside readers.
void PrepareImageTable();

class ImageTable {
 public:
  // Reads the list as it is now. Empty when there is no memory for it.
  ImageTable();
  ImageTable(const ImageTable&) = delete;
  ImageTable& operator=(const ImageTable&) = delete;

  // Looks whether the list is still the same, and reads it anew if not.
  void Refresh();
  // Tells lists apart: facts about this one's images stay true for every table of the same list.
  // Null for a list that is not remembered.
  const void* remembered() const { return memory_.data() == nullptr ? content_ : nullptr; }

  size_t size() const;
  const LoadedImage& operator[](size_t index) const;
  // The first image with a segment that holds the address, or null.
  const LoadedImage* Find(uint64_t address) const;

 private:
  friend void PrepareImageTable();
  struct Content;

  static bool IsCurrent(const Content& content);
  static void Read(const Content* known, Content* content);

  ScratchMemory memory_;              // unused while the content known from before is current
  const Content* content_ = nullptr;  // null without memory
  mutable size_t last_found_ = 0;
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_IMAGE_TABLE_LINUX_H_
