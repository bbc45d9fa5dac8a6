#include <algorithm>

#include "media_core/biz_engine/crash_handler/machine/images/image_list_mach.h"
#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/images/macho_image.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/frame_limits.h"

namespace CrashHandler::machine {
namespace {

// Goes through the images once; each takes the queries that it holds from those still open. The
// first image that holds an address has it.
void ResolvePiece(const uintptr_t* addresses, SymbolInformation* records, size_t count,
                  MachOQuery* queries) {
  for (size_t i = 0; i < count; ++i) {
    records[i] = {nullptr, nullptr, nullptr, nullptr};
    queries[i].address = addresses[i];
    queries[i].record = &records[i];
  }
  size_t open = count;
  const size_t images = ImageCount();
  for (size_t i = 0; i < images && open != 0; ++i) {
    const MachOImage image = ImageAt(i);
    const MachOQuery* held = std::partition(
        queries, queries + open,
        [&image](const MachOQuery& query) { return !MachOImageContains(image, query.address); });
    const auto left = static_cast<size_t>(held - queries);
    if (left != open) ResolveInMachOImage(image, &mach_copyMem, queries + left, open - left);
    open = left;
  }
}

}  // namespace

void PrepareImages() { KeepImageList(); }

void VisitImages(ImageListVisitor visit, void* context) {
  MachOImageScan scan;
  const size_t count = ImageCount();
  for (size_t i = 0; i < count; ++i) {
    ImageListEntry entry;
    if (ScanMachOImage(ImageAt(i), &scan, &entry)) visit(context, entry);
  }
}

Symbolizer::Symbolizer() = default;

Symbolizer::~Symbolizer() = default;

void Symbolizer::Resolve(const uintptr_t* addresses, SymbolInformation* records, size_t count) {
  MachOQuery few[kMaxThreadFrames];
  const ScratchMemory many(count > kMaxThreadFrames ? count * sizeof(MachOQuery) : 0);
  const bool has_many = many.data() != nullptr;
  MachOQuery* queries = has_many ? static_cast<MachOQuery*>(many.data()) : few;
  // Without memory it takes more passes.
  const size_t room = has_many ? count : kMaxThreadFrames;
  for (size_t done = 0; done < count;) {
    const size_t piece = std::min(room, count - done);
    ResolvePiece(addresses + done, records + done, piece, queries);
    done += piece;
  }
}

bool Symbolizer::ResolveOne(uintptr_t address, SymbolInformation* record) {
  Resolve(&address, record, 1);
  return record->dli_fbase != nullptr;
}

}  // namespace CrashHandler::machine
