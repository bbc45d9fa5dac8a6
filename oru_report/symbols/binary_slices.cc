#include "oru_report/symbols/binary_slices.h"

#include <sys/stat.h>
#include <unistd.h>

#include "media_core/biz_engine/crash_handler/machine/images/elf_image.h"
#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "oru_report/symbols/macho_file.h"

namespace oru_report {
namespace {

namespace machine = CrashHandler::machine;

bool ReadAt(const void* context, uint64_t position, void* destination, size_t count) {
  const int descriptor = *static_cast<const int*>(context);
  return pread(descriptor, destination, count, static_cast<off_t>(position)) ==
         static_cast<ssize_t>(count);
}

void AddElf(int descriptor, uint64_t size, std::vector<BinarySlice>* slices) {
  const machine::ByteSource source = {&ReadAt, &descriptor};
  machine::ElfSegments segments;
  if (!machine::ReadElfSegments(source, 0, &segments)) return;
  machine::ElfBuildId id;
  // A separate debug file keeps its notes, but not always where its segments say.
  for (size_t i = 0; i < segments.note_count && id.size == 0; ++i) {
    machine::ReadElfBuildId(source, segments.notes[i].offset, segments.notes[i].size, &id);
  }
  if (id.size == 0) return;
  const auto* bytes = reinterpret_cast<const char*>(id.bytes);
  slices->push_back({BinaryKind::kElf, 0, size, rtc::hex_encode(bytes, id.size), segments.first});
}

void AddMachO(int descriptor, uint64_t size, std::vector<BinarySlice>* slices) {
  const auto read = [&](uint64_t at, uint64_t count) {
    std::string bytes(static_cast<size_t>(std::min(count, size - at)), '\0');
    if (!ReadAt(&descriptor, at, &bytes[0], bytes.size())) bytes.clear();
    return bytes;
  };
  for (const MachOSlice& slice : ReadMachOSlices(read(0, 4096), size)) {
    MachOFile file;
    const std::string header = read(slice.offset, std::min(slice.size, kMaxMachOHeader));
    if (!ReadMachOFile(header, &file) || file.uuid.empty()) continue;
    slices->push_back({BinaryKind::kMachO, slice.offset, slice.size, file.uuid, file.text_address});
  }
}

}  // namespace

std::vector<BinarySlice> ReadBinarySlices(int descriptor) {
  std::vector<BinarySlice> slices;
  struct stat status = {};
  char magic[4] = {};
  if (fstat(descriptor, &status) != 0 || !ReadAt(&descriptor, 0, magic, sizeof magic)) return {};
  const auto size = static_cast<uint64_t>(status.st_size);
  if (std::string_view(magic, sizeof magic) ==
      "\x7f"
      "ELF") {
    AddElf(descriptor, size, &slices);
  } else {
    AddMachO(descriptor, size, &slices);
  }
  return slices;
}

bool IsReportedId(std::string_view file_id, std::string_view reported) {
  constexpr size_t kDigits = 32;
  if (file_id.empty() || reported.size() != kDigits) return false;
  const std::string_view kept = file_id.substr(0, kDigits);
  return reported.substr(0, kept.size()) == kept &&
         reported.find_first_not_of('0', kept.size()) == std::string_view::npos;
}

}  // namespace oru_report
