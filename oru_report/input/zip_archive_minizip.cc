#include <minizip/unzip.h>
#include <unistd.h>

#include <cstdio>

#include "oru_report/input/zip_archive.h"

namespace oru_report {
namespace {

constexpr uLong kMaxNameBytes = 4096;

class EntryStream : public ByteStream {
 public:
  EntryStream(unzFile archive, uint64_t packed) : archive_(archive), packed_(packed) {}
  ~EntryStream() override { unzCloseCurrentFile(archive_); }

  long Read(char* buffer, size_t room, std::string* error) override {
    const int got = unzReadCurrentFile(archive_, buffer, static_cast<unsigned>(room));
    if (got < 0) *error = "its packed form is damaged";
    return got < 0 ? -1 : got;
  }

  uint64_t StoredSize() const override { return packed_; }

 private:
  unzFile archive_;
  uint64_t packed_;
};

// The archive's stream over a descriptor that is open already.
voidpf OpenDescriptor(voidpf opaque, const void* /*name*/, int /*mode*/) {
  return fdopen(*static_cast<int*>(opaque), "rb");
}

bool VisitEntry(unzFile archive, const ZipVisitor& visit) {
  unz_file_info64 info = {};
  if (unzGetCurrentFileInfo64(archive, &info, nullptr, 0, nullptr, 0, nullptr, 0) != UNZ_OK) {
    return false;
  }
  std::string name(std::min(info.size_filename, kMaxNameBytes), '\0');
  if (name.empty() || unzGetCurrentFileInfo64(archive, &info, &name[0], name.size(), nullptr, 0,
                                              nullptr, 0) != UNZ_OK) {
    return false;
  }
  if (name.back() == '/') return true;
  if (unzOpenCurrentFile(archive) != UNZ_OK) return false;
  visit(name, std::make_unique<EntryStream>(archive, info.compressed_size));
  return true;
}

}  // namespace

bool VisitZip(int descriptor, const ZipVisitor& visit, std::string* error) {
  zlib_filefunc64_def functions = {};
  fill_fopen64_filefunc(&functions);
  functions.zopen64_file = &OpenDescriptor;
  functions.opaque = &descriptor;
  unzFile archive = unzOpen2_64("", &functions);
  if (archive == nullptr) {
    *error = "it is no zip archive";
    return false;
  }
  bool good = true;
  int result = unzGoToFirstFile(archive);
  for (; good && result == UNZ_OK; result = unzGoToNextFile(archive)) {
    good = VisitEntry(archive, visit);
  }
  unzClose(archive);
  if (!good || result != UNZ_END_OF_LIST_OF_FILE) *error = "the archive is damaged";
  return error->empty();
}

}  // namespace oru_report
