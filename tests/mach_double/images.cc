// The dynamic loader's list of images, and a loader of Mach-O files that only maps.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <utility>

#include "tests/mach_double/mach_double.h"

namespace mach_double {
namespace {

using ImageCallback = void (*)(const mach_header*, intptr_t);

struct Image {
  const mach_header* header;
  intptr_t slide;
  bool has_name;
  std::string name;
};

// The loader's state; entries stay where they are, as names are handed out. Its callbacks run with
// the lock held, and may ask or load themselves.
using Mutex = std::recursive_mutex;
struct Loader {
  Mutex mutex;
  std::vector<std::unique_ptr<Image>> images;
  std::vector<ImageCallback> on_add;
  std::vector<ImageCallback> on_remove;
  std::function<void()> before_question;
};

Loader& TheLoader() {
  static auto* const loader = new Loader;
  return *loader;
}

const Image* ImageAt(uint32_t index) {
  const auto& images = TheLoader().images;
  return index < images.size() ? images[index].get() : nullptr;
}

void Add(const Image& image) {
  Loader& loader = TheLoader();
  const std::lock_guard<Mutex> lock(loader.mutex);
  loader.images.push_back(std::make_unique<Image>(image));
  const std::vector<ImageCallback> callbacks = loader.on_add;
  for (const ImageCallback callback : callbacks) callback(image.header, image.slide);
}

// Expects the lock.
std::vector<std::unique_ptr<Image>>::iterator FindImage(const mach_header* header) {
  auto& images = TheLoader().images;
  return std::find_if(images.begin(), images.end(),
                      [&](const auto& image) { return image->header == header; });
}

std::vector<segment_command_64> SegmentsOf(const std::vector<char>& file) {
  std::vector<segment_command_64> segments;
  mach_header_64 header = {};
  if (file.size() < sizeof(header)) return segments;
  std::memcpy(&header, file.data(), sizeof(header));
  if (header.magic != MH_MAGIC_64) return segments;
  size_t at = sizeof(header);
  for (uint32_t i = 0; i < header.ncmds && at + sizeof(load_command) <= file.size(); ++i) {
    load_command command = {};
    std::memcpy(&command, file.data() + at, sizeof(command));
    segment_command_64 segment = {};
    if (command.cmd == LC_SEGMENT_64 && at + sizeof(segment) <= file.size()) {
      std::memcpy(&segment, file.data() + at, sizeof(segment));
      segments.push_back(segment);
    }
    if (command.cmdsize == 0) break;
    at += command.cmdsize;
  }
  return segments;
}

// Copies the segments to where they lie relative to each other. An executable's page zero is left
// out.
void* Map(const std::vector<char>& file, std::vector<segment_command_64> segments, uint64_t* base) {
  segments.erase(std::remove_if(segments.begin(), segments.end(),
                                [](const segment_command_64& s) { return s.filesize == 0; }),
                 segments.end());
  if (segments.empty()) return nullptr;
  uint64_t end = 0;
  *base = UINT64_MAX;
  for (const segment_command_64& segment : segments) {
    if (segment.fileoff + segment.filesize > file.size()) return nullptr;
    *base = std::min(*base, segment.vmaddr);
    end = std::max(end, segment.vmaddr + std::max(segment.vmsize, segment.filesize));
  }
  void* const memory =
      mmap(nullptr, end - *base, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  for (const segment_command_64& segment : segments) {
    std::memcpy(static_cast<char*>(memory) + (segment.vmaddr - *base),
                file.data() + segment.fileoff, segment.filesize);
  }
  return memory;
}

}  // namespace

bool LoadImage(const std::string& path, const std::string& name) {
  std::ifstream stream(path, std::ios::binary);
  const std::vector<char> file((std::istreambuf_iterator<char>(stream)),
                               std::istreambuf_iterator<char>());
  uint64_t base = 0;
  void* const memory = Map(file, SegmentsOf(file), &base);
  if (!memory) return false;
  const auto slide = reinterpret_cast<intptr_t>(memory) - static_cast<intptr_t>(base);
  Add({static_cast<const mach_header*>(memory), slide, true, name.empty() ? path : name});
  return true;
}

void AddImage(const std::string& name, const mach_header* header, intptr_t slide) {
  Add({header, slide, true, name});
}

void AddNamelessImage(const mach_header* header, intptr_t slide) {
  Add({header, slide, false, {}});
}

// The callbacks hear of it while the image is still listed.
void RemoveImage(const mach_header* header) {
  Loader& loader = TheLoader();
  {
    const std::lock_guard<Mutex> lock(loader.mutex);
    const auto found = FindImage(header);
    if (found == loader.images.end()) return;
    const intptr_t slide = (*found)->slide;
    const std::vector<ImageCallback> callbacks = loader.on_remove;
    for (const ImageCallback callback : callbacks) callback(header, slide);
  }
  const std::lock_guard<Mutex> lock(loader.mutex);
  loader.images.erase(FindImage(header));
}

void BeforeLoaderQuestions(std::function<void()> act) {
  TheLoader().before_question = std::move(act);
}

LoaderLock::LoaderLock() { TheLoader().mutex.lock(); }

LoaderLock::~LoaderLock() { TheLoader().mutex.unlock(); }

}  // namespace mach_double

using mach_double::ImageAt;
using mach_double::Mutex;
using mach_double::TheLoader;

extern "C" {

uint32_t _dyld_image_count(void) {
  const std::lock_guard<Mutex> lock(TheLoader().mutex);
  return static_cast<uint32_t>(TheLoader().images.size());
}

const struct mach_header* _dyld_get_image_header(uint32_t image_index) {
  if (TheLoader().before_question) TheLoader().before_question();
  const std::lock_guard<Mutex> lock(TheLoader().mutex);
  const mach_double::Image* const image = ImageAt(image_index);
  return image ? image->header : nullptr;
}

intptr_t _dyld_get_image_vmaddr_slide(uint32_t image_index) {
  const std::lock_guard<Mutex> lock(TheLoader().mutex);
  const mach_double::Image* const image = ImageAt(image_index);
  return image ? image->slide : 0;
}

const char* _dyld_get_image_name(uint32_t image_index) {
  const std::lock_guard<Mutex> lock(TheLoader().mutex);
  const mach_double::Image* const image = ImageAt(image_index);
  return image && image->has_name ? image->name.c_str() : nullptr;
}

void _dyld_register_func_for_add_image(void (*func)(const struct mach_header* mh, intptr_t slide)) {
  const std::lock_guard<Mutex> lock(TheLoader().mutex);
  std::vector<std::pair<const mach_header*, intptr_t>> present;
  for (const auto& image : TheLoader().images) present.emplace_back(image->header, image->slide);
  for (const auto& [header, slide] : present) func(header, slide);
  TheLoader().on_add.push_back(func);
}

void _dyld_register_func_for_remove_image(void (*func)(const struct mach_header* mh,
                                                       intptr_t slide)) {
  const std::lock_guard<Mutex> lock(TheLoader().mutex);
  TheLoader().on_remove.push_back(func);
}

}  // extern "C"
