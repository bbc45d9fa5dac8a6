#include "media_core/biz_engine/crash_handler/machine/images/image_list_mach.h"

#include <mach-o/dyld.h>

#include <atomic>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"
#include "media_core/biz_engine/crash_handler/machine/threads/bounded_wait.h"

namespace CrashHandler::machine {
namespace {

// Large programs have some 1,500.
constexpr size_t kMaxListed = 8192;
constexpr int kWriterPauseMs = 1;

// What the loader says of an image.
struct AskedImage {
  const mach_header* header;
  const char* name;
  intptr_t slide;
};

// An image that was ever seen. What the loader said of it does not change any more.
struct SeenImage {
  AskedImage asked;
  bool going;  // the loader has announced its end, and may still list it for a moment
};

// Written by one thread at a time; of these the crash reads sListed, sListedCount and the images
// that they lead to.
SeenImage sSeen[kMaxListed];
size_t sSeenCount = 0;
uint64_t sNewestCopy = 0;
std::atomic<const SeenImage*> sListed[kMaxListed];
std::atomic<size_t> sListedCount{0};
std::atomic<bool> sKept{false};
std::atomic<bool> sHasRoom{true};
// While the loader tells of the images that are there already, one after the other.
std::atomic<bool> sBeginning{false};
// Counts the copies that were begun.
std::atomic<uint64_t> sCopies{0};
std::atomic<bool> sIsWritten{false};

// One thread at a time writes. It asks the loader nothing meanwhile: the loader calls with its own
// lock held.
class Writer {
 public:
  Writer() {
    while (sIsWritten.exchange(true)) PauseMs(kWriterPauseMs);
  }
  ~Writer() { sIsWritten = false; }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
};

bool IsSame(const AskedImage& one, const AskedImage& other) {
  return one.header == other.header && one.name == other.name && one.slide == other.slide;
}

// Null when there is no room for another one.
SeenImage* Remember(const AskedImage& image) {
  for (size_t i = 0; i < sSeenCount; ++i) {
    if (IsSame(sSeen[i].asked, image)) return &sSeen[i];
  }
  if (sSeenCount == kMaxListed) return nullptr;
  sSeen[sSeenCount] = {image, false};
  return &sSeen[sSeenCount++];
}

// Most images are where they were.
const SeenImage* Find(const AskedImage& image, size_t listed) {
  const SeenImage* before = sListed[listed].load();
  return before != nullptr && IsSame(before->asked, image) ? before : Remember(image);
}

AskedImage AskLoader(uint32_t index) {
  return {_dyld_get_image_header(index), _dyld_get_image_name(index),
          _dyld_get_image_vmaddr_slide(index)};
}

// The loader's list at one moment; empty without memory for it.
class AskedImages {
 public:
  AskedImages() : count_(_dyld_image_count()), memory_(count_ * sizeof(AskedImage)) {
    complete_ = count_ == 0 || memory_.data() != nullptr;
    if (!complete_) count_ = 0;
    for (uint32_t i = 0; i < count_; ++i) images()[i] = AskLoader(i);
  }

  bool complete() const { return complete_; }
  const AskedImage* begin() const { return images(); }
  const AskedImage* end() const { return images() + count_; }

 private:
  AskedImage* images() const { return static_cast<AskedImage*>(memory_.data()); }

  uint32_t count_;
  ScratchMemory memory_;
  bool complete_;
};

bool Publish(const AskedImages& images) {
  size_t listed = 0;
  for (const AskedImage& image : images) {
    if (image.header == nullptr) continue;  // the list has become shorter
    const SeenImage* const seen = listed == kMaxListed ? nullptr : Find(image, listed);
    if (seen == nullptr) return false;
    if (!seen->going) sListed[listed++].store(seen);
  }
  sListedCount.store(listed);
  return true;
}

void Mark(const AskedImages& images, const mach_header* header, bool going) {
  for (const AskedImage& image : images) {
    SeenImage* const seen = image.header == header ? Remember(image) : nullptr;
    if (seen != nullptr) seen->going = going;
  }
}

// Copies the loader's list, in which an image comes or goes. Of copies that are made at the same
// time the one begun last is kept: what changes later makes another.
void Copy(const mach_header* changed, bool going) {
  const uint64_t copy = ++sCopies;
  const AskedImages images;
  const Writer writer;
  if (changed != nullptr) Mark(images, changed, going);
  if (copy < sNewestCopy) return;
  sNewestCopy = copy;
  sHasRoom = images.complete() && Publish(images);
}

void OnAdd(const mach_header* header, intptr_t /*slide*/) {
  if (!sBeginning) Copy(header, false);
}

void OnRemove(const mach_header* header, intptr_t /*slide*/) { Copy(header, true); }

bool IsUsable() { return sKept && sHasRoom; }

}  // namespace

void KeepImageList() {
  static std::atomic<bool> sBegun{false};
  if (sBegun.exchange(true)) return;
  sBeginning = true;
  _dyld_register_func_for_add_image(&OnAdd);
  _dyld_register_func_for_remove_image(&OnRemove);
  sBeginning = false;
  Copy(nullptr, false);
  sKept = true;
}

size_t ImageCount() { return IsUsable() ? sListedCount.load() : _dyld_image_count(); }

MachOImage ImageAt(size_t index) {
  AskedImage asked = {};
  if (!IsUsable()) {
    asked = AskLoader(static_cast<uint32_t>(index));
  } else if (index < sListedCount.load()) {
    asked = sListed[index].load()->asked;
  }
  MachOImage image;
  image.header = asked.header;
  image.name = asked.name;
  image.slide = asked.slide;
  return image;
}

}  // namespace CrashHandler::machine
