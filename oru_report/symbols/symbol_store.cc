#include "oru_report/symbols/symbol_store.h"

#include <unistd.h>

#include <algorithm>

#include "oru_report/input/safe_open.h"
#include "oru_report/model/line_text.h"
#include "oru_report/symbols/debug_server.h"
#include "oru_report/text/path_text.h"

namespace oru_report {
namespace {

// Images that a made-up report names are not all looked for.
constexpr size_t kMaxImages = 4096;

// Whether a report's text can be an id and nothing else, such as a way through folders or a URL.
bool CanBeId(std::string_view text) {
  return text.size() == 32 && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

bool IsMangled(std::string_view name) { return StartsWith(name, "_Z"); }

class DescriptorCloser {
 public:
  explicit DescriptorCloser(int descriptor) : descriptor_(descriptor) {}
  ~DescriptorCloser() { close(descriptor_); }
  DescriptorCloser(const DescriptorCloser&) = delete;
  DescriptorCloser& operator=(const DescriptorCloser&) = delete;

 private:
  int descriptor_;
};

// Reads a file through a mapping of its own, as readers note down in it what they have unpacked.
class OwnReader : public DebugInfo {
 public:
  OwnReader(int descriptor, const BinarySlice& slice)
      : file_(descriptor), info_(OpenDebugInfo(descriptor, file_, slice)) {}

  bool good() const { return info_ != nullptr; }
  std::vector<SourceFrame> Find(uint64_t address) override { return info_->Find(address); }
  size_t units_read() const override { return info_->units_read(); }

 private:
  const MappedFile file_;
  const std::unique_ptr<DebugInfo> info_;
};

// Null when the file is not there any more, or has another id.
std::unique_ptr<DebugInfo> OpenOwnReader(const std::string& path, const std::string& id) {
  const int descriptor = OpenImageFile(path);
  if (descriptor < 0) return nullptr;
  const DescriptorCloser closer(descriptor);
  for (const BinarySlice& slice : ReadBinarySlices(descriptor)) {
    if (!IsReportedId(slice.id, id)) continue;
    auto reader = std::make_unique<OwnReader>(descriptor, slice);
    if (reader->good()) return reader;
  }
  return nullptr;
}

}  // namespace

SymbolStore::SymbolStore(const SymbolOptions& options)
    : options_(options), index_(options.paths, options.system) {}

SymbolStore::~SymbolStore() = default;

void SymbolStore::TakeIn(const std::string& path, int descriptor, const BinarySlice& slice,
                         ImageSymbols* symbols) {
  auto file = std::make_unique<MappedFile>(descriptor);
  auto lines = OpenDebugInfo(descriptor, *file, slice);
  auto names = std::make_unique<SymbolTable>(file->bytes(), slice);
  const bool better =
      lines != nullptr || symbols->file == nullptr || (symbols->names->empty() && !names->empty());
  if (!better) return;
  symbols->state = lines != nullptr ? SymbolState::kLines : SymbolState::kNames;
  symbols->path = path;
  symbols->slice = slice;
  symbols->lines = std::move(lines);
  symbols->names = std::move(names);
  symbols->file = std::move(file);
}

bool SymbolStore::TryFile(const std::string& path, int descriptor, const Image& image,
                          ImageSymbols* symbols) {
  const DescriptorCloser closer(descriptor);
  for (const BinarySlice& slice : ReadBinarySlices(descriptor)) {
    if (!IsReportedId(slice.id, image.uuid)) continue;
    TakeIn(path, descriptor, slice, symbols);
    return true;
  }
  return false;
}

void SymbolStore::TryOwnFile(const Image& image, ImageSymbols* symbols) {
  const std::string path(image.path);
  const auto is_wanted = [&](const BinarySlice& slice) {
    return IsReportedId(slice.id, image.uuid);
  };
  const auto known = own_files_.find(path);
  const bool can_match = known == own_files_.end() ||
                         std::any_of(known->second.begin(), known->second.end(), is_wanted);
  const int descriptor = can_match ? OpenImageFile(path) : -1;
  if (descriptor >= 0) {
    if (known == own_files_.end()) own_files_[path] = ReadBinarySlices(descriptor);
    if (TryFile(path, descriptor, image, symbols)) return;
  }
  const std::vector<BinarySlice>& slices = own_files_[path];
  if (symbols->state != SymbolState::kMissing || slices.empty()) return;
  symbols->state = SymbolState::kOtherBuild;
  symbols->path = path;
  symbols->other_id = ReportedForm(slices[0].id);
}

// What the user gave is told before what lies on this machine.
void SymbolStore::TryNamed(const Image& image, ImageSymbols* symbols) {
  NamedBinary named;
  if (symbols->file != nullptr || !index_.FindNamed(LastPathEntry(image.path), &named)) return;
  symbols->state = SymbolState::kOtherBuild;
  symbols->path = named.path;
  symbols->other_id = named.id;
}

void SymbolStore::TryServers(const Image& image, ImageSymbols* symbols) {
  if (symbols->state == SymbolState::kLines || !CanBeId(image.uuid)) return;
  // A report has the whole of an id only when it is no longer than a UUID; servers know whole ones.
  const std::string id = symbols->file != nullptr ? symbols->slice.id : std::string(image.uuid);
  const int fetched = FetchDebugFile(id);
  if (fetched >= 0) TryFile("debuginfod", fetched, image, symbols);
}

std::unique_ptr<ImageSymbols> SymbolStore::Load(const Image& image) {
  auto symbols = std::make_unique<ImageSymbols>();
  std::string error;
  for (const std::string& path : index_.Find(image.uuid)) {
    const int descriptor = OpenNamedFile(path, &error);
    if (descriptor >= 0) TryFile(path, descriptor, image, symbols.get());
    if (symbols->state == SymbolState::kLines) return symbols;
  }
  TryNamed(image, symbols.get());
  TryOwnFile(image, symbols.get());
  if (options_.ask_servers) TryServers(image, symbols.get());
  return symbols;
}

ImageSymbols* SymbolStore::Known(const Image& image) {
  const Key key(image.uuid, image.path);
  const auto known = known_.find(key);
  if (known != known_.end()) return known->second.get();
  if (known_.size() >= kMaxImages) return nullptr;
  return (known_[key] = Load(image)).get();
}

const ImageSymbols& SymbolStore::Of(const Image& image) {
  static const ImageSymbols none;
  const ImageSymbols* known = Known(image);
  return known == nullptr ? none : *known;
}

void SymbolStore::Prepare(const Image& image, const std::vector<uint64_t>& addresses) {
  // Fewer are found faster than threads are started.
  constexpr size_t kFewest = 500;
  if (addresses.size() < kFewest) return;
  ImageSymbols* symbols = Known(image);
  if (symbols == nullptr || symbols->lines == nullptr || !symbols->prepared.empty()) return;
  std::vector<uint64_t> own;
  own.reserve(addresses.size());
  for (const uint64_t address : addresses) {
    own.push_back(address - image.start + symbols->slice.first_address);
  }
  const auto open = [path = AbsolutePath(symbols->path), id = std::string(image.uuid)] {
    return OpenOwnReader(path, id);
  };
  symbols->prepared = LookUpAll(open, own);
}

Place SymbolStore::Find(const Image& image, uint64_t address) {
  Place place;
  const ImageSymbols& symbols = Of(image);
  if (symbols.file == nullptr) return place;
  place.file_known = true;
  const uint64_t own = address - image.start + symbols.slice.first_address;
  const auto prepared = symbols.prepared.find(own);
  if (prepared != symbols.prepared.end()) {
    place.frames = prepared->second;
  } else if (symbols.lines != nullptr) {
    place.frames = symbols.lines->Find(own);
  }
  if (place.frames.empty()) place.frames.emplace_back();
  std::string& function = place.frames.back().function;
  // Debug information of lines alone has names without namespaces, the symbol table has them whole.
  const Symbol* symbol = IsMangled(function) ? nullptr : symbols.names->Find(own);
  if (symbol != nullptr && (function.empty() || IsMangled(symbol->name))) function = symbol->name;
  if (function.empty() && place.frames.size() == 1 && place.frames.back().file.empty()) {
    place.frames.clear();
  }
  return place;
}

}  // namespace oru_report
