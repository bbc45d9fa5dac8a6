#include <minizip/unzip.h>

#include <algorithm>
#include <cstring>

#include "oru_report/input/zip_archive.h"

namespace oru_report {
namespace {

constexpr uLong kMaxNameBytes = 4096;

class EntryStream : public ByteStream {
 public:
  EntryStream(unzFile archive, uint64_t packed) : archive_(archive), packed_(packed) {}
  ~EntryStream() override {
    if (!closed_) unzCloseCurrentFile(archive_);
  }

  long Read(char* buffer, size_t room, std::string* error) override {
    if (closed_) return 0;
    const int got = unzReadCurrentFile(archive_, buffer, static_cast<unsigned>(room));
    if (got < 0) *error = "its packed form is damaged";
    if (got == 0 && room != 0) return Close(error);
    return got < 0 ? -1 : got;
  }

  uint64_t StoredSize() const override { return packed_; }

 private:
  // Only now the sum over all bytes is known.
  long Close(std::string* error) {
    closed_ = true;
    if (unzCloseCurrentFile(archive_) != UNZ_CRCERROR) return 0;
    *error = "its bytes are not those that were packed";
    return -1;
  }

  unzFile archive_;
  uint64_t packed_;
  bool closed_ = false;
};

// minizip's functions of a file, over bytes.
struct Place {
  SeekableBytes* bytes;
  uint64_t at;
};

voidpf Open(voidpf opaque, const void* /*name*/, int /*mode*/) { return opaque; }
int Close(voidpf /*opaque*/, voidpf /*stream*/) { return 0; }
int Error(voidpf /*opaque*/, voidpf /*stream*/) { return 0; }
ZPOS64_T Tell(voidpf /*opaque*/, voidpf stream) { return static_cast<Place*>(stream)->at; }

uLong Read(voidpf /*opaque*/, voidpf stream, void* buffer, uLong size) {
  auto* place = static_cast<Place*>(stream);
  const size_t got = place->bytes->ReadAt(place->at, static_cast<char*>(buffer), size);
  place->at += got;
  return static_cast<uLong>(got);
}

long Seek(voidpf /*opaque*/, voidpf stream, ZPOS64_T offset, int origin) {
  auto* place = static_cast<Place*>(stream);
  uint64_t from = 0;
  if (origin == ZLIB_FILEFUNC_SEEK_CUR) from = place->at;
  if (origin == ZLIB_FILEFUNC_SEEK_END) from = place->bytes->Size();
  place->at = from + offset;
  return 0;
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
  constexpr uLong kEncrypted = 1;
  const bool readable = (info.flag & kEncrypted) == 0 && unzOpenCurrentFile(archive) == UNZ_OK;
  visit(name, readable ? std::make_unique<EntryStream>(archive, info.compressed_size) : nullptr);
  return true;
}

}  // namespace

bool VisitZip(SeekableBytes* bytes, const ZipVisitor& visit, std::string* error) {
  // One without files begins with its end, where minizip does not look.
  char beginning[kZipBeginning] = {};
  bytes->ReadAt(0, beginning, sizeof beginning);
  if (memcmp(beginning, "PK\x05\x06", sizeof beginning) == 0) return true;
  Place place = {bytes, 0};
  zlib_filefunc64_def functions = {};
  functions.zopen64_file = &Open;
  functions.zread_file = &Read;
  functions.ztell64_file = &Tell;
  functions.zseek64_file = &Seek;
  functions.zclose_file = &Close;
  functions.zerror_file = &Error;
  functions.opaque = &place;
  unzFile archive = unzOpen2_64("", &functions);
  if (archive == nullptr) {
    *error = "it is no zip archive, or it is cut off";
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
