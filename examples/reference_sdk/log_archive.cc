#include "examples/reference_sdk/log_archive.h"

#include <minizip/zip.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <deque>
#include <memory>
#include <string>

#include "examples/reference_sdk/archive_file.h"
#include "examples/reference_sdk/deflate_pool.h"
#include "examples/reference_sdk/entry_names.h"
#include "examples/reference_sdk/progress.h"

namespace reference_sdk {
namespace {

// "Made by": Unix, so that permission bits are read; version 2.0 of the format.
constexpr uLong kMadeByUnix = (3U << 8) | 20U;
constexpr uLong kNamesAreUtf8 = 1U << 11;
// Below 4 GiB by more than deflate can add to data that it cannot compress.
constexpr uint64_t kZip64From = 0xf0000000U;
constexpr size_t kMaxNameBytes = 65535;

zip_fileinfo MakeFileInfo(const struct stat& info) {
  zip_fileinfo entry{};
  // Signed in some versions of minizip, unsigned in others.
  using DateField = decltype(entry.tmz_date.tm_sec);
  struct tm local {};
  const time_t modified = info.st_mtime;
  localtime_r(&modified, &local);
  // The format's years.
  const int year = std::clamp(local.tm_year + 1900, 1980, 2107);
  entry.tmz_date.tm_sec = static_cast<DateField>(local.tm_sec);
  entry.tmz_date.tm_min = static_cast<DateField>(local.tm_min);
  entry.tmz_date.tm_hour = static_cast<DateField>(local.tm_hour);
  entry.tmz_date.tm_mday = static_cast<DateField>(local.tm_mday);
  entry.tmz_date.tm_mon = static_cast<DateField>(local.tm_mon);
  entry.tmz_date.tm_year = static_cast<DateField>(year);
  entry.external_fa = static_cast<uLong>(info.st_mode & 0xffffU) << 16;
  return entry;
}

// Reads until `length` bytes are there or the file ends; an error counts as its end.
size_t ReadFully(int fd, unsigned char* data, size_t length) {
  size_t got = 0;
  while (got < length) {
    const ssize_t part = read(fd, data + got, length - got);
    if (part < 0 && errno == EINTR) continue;
    if (part <= 0) break;
    got += static_cast<size_t>(part);
  }
  return got;
}

void PutNumber(std::string* bytes, uint64_t number, int width) {
  for (int i = 0; i < width; ++i) *bytes += static_cast<char>(number >> (8 * i) & 0xffU);
}

// minizip 1.1 writes the zip64 end of the directory only for archives of 4 GiB and more. One with
// more entries than the plain end can count gets it here, between the directory and that end.
bool AddZip64End(uint64_t entries, uint64_t directory_start, ArchiveFile* archive) {
  constexpr uint64_t kPlainEndBytes = 22;
  const uint64_t end = archive->size() - kPlainEndBytes;
  const uint64_t directory_size = end - directory_start;
  std::string bytes = "PK\x06\x06";
  PutNumber(&bytes, 44, 8);
  PutNumber(&bytes, 45, 2);
  PutNumber(&bytes, 45, 2);
  PutNumber(&bytes, 0, 8);
  PutNumber(&bytes, entries, 8);
  PutNumber(&bytes, entries, 8);
  PutNumber(&bytes, directory_size, 8);
  PutNumber(&bytes, directory_start, 8);
  bytes += "PK\x06\x07";
  PutNumber(&bytes, 0, 4);
  PutNumber(&bytes, end, 8);
  PutNumber(&bytes, 1, 4);
  bytes += "PK\x05\x06";
  PutNumber(&bytes, 0, 4);
  PutNumber(&bytes, 0xffffffff, 4);
  PutNumber(&bytes, directory_size, 4);
  PutNumber(&bytes, directory_start, 4);
  PutNumber(&bytes, 0, 2);
  return archive->Seek(end, ZLIB_FILEFUNC_SEEK_SET) && archive->Write(bytes.data(), bytes.size()) &&
         archive->Flush();
}

// A piece on its way through the pool, with what the writer needs to know about it.
struct Piece {
  DeflateJob job;
  const std::string* name = nullptr;
  zip_fileinfo info{};
  bool first = false;
  bool zip64 = false;
};

// Turns compressed pieces into entries of the archive, in order.
class EntryWriter {
 public:
  explicit EntryWriter(ArchiveFile* file) {
    zlib_filefunc64_def functions = file->MinizipFunctions();
    zip_ = zipOpen2_64("archive", APPEND_STATUS_CREATE, nullptr, &functions);
  }
  ~EntryWriter() { Close(); }
  EntryWriter(const EntryWriter&) = delete;
  EntryWriter& operator=(const EntryWriter&) = delete;

  bool Write(const Piece& piece) {
    if (zip_ == nullptr || !piece.job.ok) return false;
    if (piece.first && !Begin(piece)) return false;
    const auto length = static_cast<unsigned>(piece.job.output_size);
    if (zipWriteInFileInZip(zip_, piece.job.output.data(), length) != ZIP_OK) return false;
    crc_ = crc32_combine(crc_, piece.job.crc, static_cast<z_off_t>(piece.job.piece_size));
    size_ += piece.job.piece_size;
    return !piece.job.last || zipCloseFileInZipRaw64(zip_, size_, crc_) == ZIP_OK;
  }

  // Writes the archive's directory.
  bool Close() {
    if (zip_ == nullptr) return false;
    const bool closed = zipClose(zip_, nullptr) == ZIP_OK;
    zip_ = nullptr;
    return closed;
  }

 private:
  bool Begin(const Piece& piece) {
    crc_ = crc32(0, nullptr, 0);
    size_ = 0;
    return zipOpenNewFileInZip4_64(zip_, piece.name->c_str(), &piece.info, nullptr, 0, nullptr, 0,
                                   nullptr, Z_DEFLATED, kDeflateLevel, 1, -MAX_WBITS, DEF_MEM_LEVEL,
                                   Z_DEFAULT_STRATEGY, nullptr, 0, kMadeByUnix, kNamesAreUtf8,
                                   piece.zip64 ? 1 : 0) == ZIP_OK;
  }

  zipFile zip_ = nullptr;
  uLong crc_ = 0;
  ZPOS64_T size_ = 0;
};

// Reads files piece by piece, keeps the pool busy and hands finished pieces on in order. All
// reading and writing happens on the caller's thread: a piece's dictionary is thereby exactly what
// the piece before it held, whatever is done to the file meanwhile.
class Packer {
 public:
  Packer(unsigned threads, uint64_t total_bytes, ArchiveFile* file)
      : pool_(threads, kDeflateLevel), writer_(file), progress_("packed", total_bytes) {
    // Enough that no thread waits while this one writes.
    for (unsigned i = 0; i < 2 * threads + 2; ++i) free_.push_back(std::make_unique<Piece>());
  }
  ~Packer() {
    for (auto& piece : busy_) pool_.Wait(&piece->job);
  }
  Packer(const Packer&) = delete;
  Packer& operator=(const Packer&) = delete;

  bool Add(int fd, const struct stat& info, const std::string& name);
  bool Finish(ArchiveFile* archive);

 private:
  bool WriteOldest();

  std::deque<std::unique_ptr<Piece>> free_;
  std::deque<std::unique_ptr<Piece>> busy_;
  DeflatePool pool_;
  EntryWriter writer_;
  Progress progress_;
  uint64_t packed_ = 0;
  uint64_t entries_ = 0;
};

bool Packer::Add(int fd, const struct stat& info, const std::string& name) {
  const auto size = static_cast<uint64_t>(info.st_size);
  uint64_t left = size;
  ++entries_;
  bool last = false;
  for (bool first = true; !last; first = false) {
    if (free_.empty() && !WriteOldest()) return false;
    std::unique_ptr<Piece> piece = std::move(free_.front());
    free_.pop_front();
    piece->name = &name;
    piece->info = MakeFileInfo(info);
    piece->first = first;
    piece->zip64 = size >= kZip64From;
    DeflateJob* job = &piece->job;
    job->dictionary_size = 0;
    if (!first) {
      // The piece before it was full, or it would have been the last.
      const DeflateJob& before = busy_.back()->job;
      memcpy(job->input.data(),
             &before.input[before.dictionary_size + kPieceBytes - kDictionaryBytes],
             kDictionaryBytes);
      job->dictionary_size = kDictionaryBytes;
    }
    const auto wanted = static_cast<size_t>(std::min<uint64_t>(left, kPieceBytes));
    job->piece_size = ReadFully(fd, job->input.data() + job->dictionary_size, wanted);
    left -= job->piece_size;
    last = left == 0 || job->piece_size < wanted;
    job->last = last;
    busy_.push_back(std::move(piece));
    pool_.Submit(job);
  }
  return true;
}

bool Packer::WriteOldest() {
  std::unique_ptr<Piece> piece = std::move(busy_.front());
  busy_.pop_front();
  pool_.Wait(&piece->job);
  const bool written = writer_.Write(*piece);
  packed_ += piece->job.piece_size;
  progress_.Update(packed_);
  free_.push_back(std::move(piece));
  return written;
}

bool Packer::Finish(ArchiveFile* archive) {
  while (!busy_.empty()) {
    if (!WriteOldest()) return false;
  }
  const uint64_t directory_start = archive->position();
  if (!writer_.Close()) return false;
  if (entries_ < 0xffff || directory_start >= 0xffffffff) return true;
  return AddZip64End(entries_, directory_start, archive);
}

}  // namespace

bool PackLogs(const LogFiles& files, long threads, int fd, uint64_t* size) {
  const std::vector<std::string> names = MakeEntryNames(files.files());
  ArchiveFile archive(fd);
  Packer packer(DeflateThreads(threads), files.total_bytes(), &archive);
  for (size_t i = 0; i < names.size(); ++i) {
    if (names[i].size() > kMaxNameBytes) continue;
    struct stat info {};
    const ScopedFd file(files.Open(files.files()[i], &info));
    if (file.valid() && !packer.Add(file.get(), info, names[i])) return false;
  }
  if (!packer.Finish(&archive)) return false;
  *size = archive.size();
  return true;
}

}  // namespace reference_sdk
