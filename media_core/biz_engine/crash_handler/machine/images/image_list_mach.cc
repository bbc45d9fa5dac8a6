#include "media_core/biz_engine/crash_handler/machine/images/image_list_mach.h"

#include <mach-o/dyld.h>

#include <atomic>

#include "media_core/biz_engine/crash_handler/machine/threads/bounded_wait.h"

namespace CrashHandler::machine {
namespace {

// Large programs have some 1,500.
constexpr size_t kMaxListed = 8192;
constexpr int kWriterPauseMs = 1;

// An image that was ever seen. Not changed any more once it is in the list.
struct SeenImage {
  const mach_header* header;
  const char* name;
  intptr_t slide;
};

SeenImage sSeen[kMaxListed];
size_t sSeenCount = 0;
std::atomic<const SeenImage*> sListed[kMaxListed];
std::atomic<size_t> sListedCount{0};
// Whether the copy can be used: it is kept, and everything had room.
std::atomic<bool> sKept{false};
// While the loader tells of the images that are there already, one after the other.
std::atomic<bool> sBeginning{false};
std::atomic<bool> sIsWritten{false};

// One thread at a time writes.
class Writer {
 public:
  Writer() {
    while (sIsWritten.exchange(true)) PauseMs(kWriterPauseMs);
  }
  ~Writer() { sIsWritten = false; }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
};

bool IsSame(const SeenImage& one, const SeenImage& other) {
  return one.header == other.header && one.name == other.name && one.slide == other.slide;
}

// Null when there is no room for another one.
const SeenImage* Remember(const SeenImage& image) {
  for (size_t i = 0; i < sSeenCount; ++i) {
    if (IsSame(sSeen[i], image)) return &sSeen[i];
  }
  if (sSeenCount == kMaxListed) return nullptr;
  sSeen[sSeenCount] = image;
  return &sSeen[sSeenCount++];
}

// Most images are where they were.
const SeenImage* Find(const SeenImage& image, size_t listed) {
  const SeenImage* before = sListed[listed].load();
  return before != nullptr && IsSame(*before, image) ? before : Remember(image);
}

SeenImage AskLoader(uint32_t index) {
  return {_dyld_get_image_header(index), _dyld_get_image_name(index),
          _dyld_get_image_vmaddr_slide(index)};
}

// Copies the loader's list without the image that goes.
void Copy(const mach_header* going) {
  const Writer writer;
  size_t listed = 0;
  const uint32_t count = _dyld_image_count();
  for (uint32_t i = 0; i < count; ++i) {
    const SeenImage image = AskLoader(i);
    if (image.header == nullptr || image.header == going) continue;
    const SeenImage* const seen = listed == kMaxListed ? nullptr : Find(image, listed);
    if (seen == nullptr) {
      sKept = false;
      return;
    }
    sListed[listed++].store(seen);
  }
  sListedCount.store(listed);
}

void OnAdd(const mach_header* /*header*/, intptr_t /*slide*/) {
  if (!sBeginning) Copy(nullptr);
}

void OnRemove(const mach_header* header, intptr_t /*slide*/) { Copy(header); }

}  // namespace

void KeepImageList() {
  static std::atomic<bool> sBegun{false};
  if (sBegun.exchange(true)) return;
  sBeginning = true;
  _dyld_register_func_for_add_image(&OnAdd);
  _dyld_register_func_for_remove_image(&OnRemove);
  sBeginning = false;
  sKept = true;
  Copy(nullptr);
}

size_t ImageCount() { return sKept ? sListedCount.load() : _dyld_image_count(); }

MachOImage ImageAt(size_t index) {
  MachOImage image;
  if (!sKept) {
    const SeenImage asked = AskLoader(static_cast<uint32_t>(index));
    image.header = asked.header;
    image.name = asked.name;
    image.slide = asked.slide;
  } else if (index < sListedCount.load()) {
    const SeenImage* const seen = sListed[index].load();
    image.header = seen->header;
    image.name = seen->name;
    image.slide = seen->slide;
  }
  return image;
}

}  // namespace CrashHandler::machine
