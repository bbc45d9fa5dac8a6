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
#include "examples/reference_sdk/log_reader.h"
#include "examples/reference_sdk/progress.h"
#include "examples/reference_sdk/termination.h"
#include "utils/shared_log_tail.h"

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
  // All zeros that were never read: the job's input is not filled in.
  bool hole = false;
};

// A piece of zeros, compressed once and for all: it needs no dictionary.
class ZeroPiece {
 public:
  const DeflateJob& Get(DeflatePool* pool) {
    if (!job_) {
      job_ = std::make_unique<DeflateJob>();
      job_->piece_size = kPieceBytes;
      pool->Submit(job_.get());
      pool->Wait(job_.get());
    }
    return *job_;
  }

 private:
  std::unique_ptr<DeflateJob> job_;
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

  // `compressed` holds the piece's output.
  bool Write(const Piece& piece, const DeflateJob& compressed) {
    if (zip_ == nullptr || !piece.job.ok) return false;
    if (piece.first && !Begin(piece)) return false;
    const auto length = static_cast<unsigned>(compressed.output_size);
    if (zipWriteInFileInZip(zip_, compressed.output.data(), length) != ZIP_OK) return false;
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
    for (auto& piece : busy_) {
      if (!piece->hole) pool_.Wait(&piece->job);
    }
  }
  Packer(const Packer&) = delete;
  Packer& operator=(const Packer&) = delete;

  UploadStatus Add(int fd, const struct stat& info, const std::string& name);
  UploadStatus Finish(ArchiveFile* archive);

 private:
  std::unique_ptr<Piece> NextPiece();
  void GiveDictionary(const Piece& before, DeflateJob* job) const;
  // Its length, -1 when the file cannot be read.
  ssize_t Fill(LogReader* reader, uint64_t left, Piece* piece);
  bool WriteOldest();

  std::deque<std::unique_ptr<Piece>> free_;
  std::deque<std::unique_ptr<Piece>> busy_;
  ZeroPiece zeros_;
  DeflatePool pool_;
  EntryWriter writer_;
  Progress progress_;
  uint64_t packed_ = 0;
  uint64_t entries_ = 0;
};

size_t PieceBytes(uint64_t left) {
  return static_cast<size_t>(std::min<uint64_t>(left, kPieceBytes));
}

// Null when the archive cannot be written.
std::unique_ptr<Piece> Packer::NextPiece() {
  if (free_.empty() && !WriteOldest()) return nullptr;
  std::unique_ptr<Piece> piece = std::move(free_.front());
  free_.pop_front();
  return piece;
}

// The piece before it was full, or it would have been the last.
void Packer::GiveDictionary(const Piece& before, DeflateJob* job) const {
  job->dictionary_size = kDictionaryBytes;
  if (before.hole) {
    memset(job->input.data(), 0, kDictionaryBytes);
    return;
  }
  const size_t start = before.job.dictionary_size + kPieceBytes - kDictionaryBytes;
  memcpy(job->input.data(), &before.job.input[start], kDictionaryBytes);
}

ssize_t Packer::Fill(LogReader* reader, uint64_t left, Piece* piece) {
  DeflateJob* job = &piece->job;
  // The last piece of a file ends its stream, and is compressed as ever.
  piece->hole = left > kPieceBytes && reader->NextIsHole(kPieceBytes);
  if (piece->hole) {
    reader->Skip(kPieceBytes);
    job->crc = zeros_.Get(&pool_).crc;
    job->ok = zeros_.Get(&pool_).ok;
    return kPieceBytes;
  }
  return reader->Read(job->input.data() + job->dictionary_size, PieceBytes(left));
}

UploadStatus Packer::Add(int fd, const struct stat& info, const std::string& name) {
  const auto size = static_cast<uint64_t>(info.st_size);
  uint64_t left = size;
  LogReader reader(fd);
  ++entries_;
  bool last = false;
  for (bool first = true; !last; first = false) {
    std::unique_ptr<Piece> piece = Termination::Requested() ? nullptr : NextPiece();
    if (!piece) return kArchiveNotWritten;
    piece->name = &name;
    piece->info = MakeFileInfo(info);
    piece->first = first;
    piece->zip64 = size >= kZip64From;
    DeflateJob* job = &piece->job;
    job->dictionary_size = 0;
    if (!first) GiveDictionary(*busy_.back(), job);
    const ssize_t got = Fill(&reader, left, piece.get());
    if (got < 0) return kNoLogs;
    job->piece_size = static_cast<size_t>(got);
    // The end, or where the file was cut off meanwhile.
    last = left == job->piece_size || job->piece_size < PieceBytes(left);
    left -= job->piece_size;
    job->last = last;
    const bool compressed = piece->hole;
    busy_.push_back(std::move(piece));
    if (!compressed) pool_.Submit(job);
  }
  return kStored;
}

bool Packer::WriteOldest() {
  std::unique_ptr<Piece> piece = std::move(busy_.front());
  busy_.pop_front();
  if (!piece->hole) pool_.Wait(&piece->job);
  const bool written = writer_.Write(*piece, piece->hole ? zeros_.Get(&pool_) : piece->job);
  packed_ += piece->job.piece_size;
  progress_.Update(packed_);
  free_.push_back(std::move(piece));
  return written;
}

UploadStatus Packer::Finish(ArchiveFile* archive) {
  while (!busy_.empty()) {
    if (!WriteOldest()) return kArchiveNotWritten;
  }
  const uint64_t directory_start = archive->position();
  if (!writer_.Close()) return kArchiveNotWritten;
  if (entries_ < 0xffff || directory_start >= 0xffffffff) return kStored;
  return AddZip64End(entries_, directory_start, archive) ? kStored : kArchiveNotWritten;
}

// An open file that goes into the archive, or none with the reason in `left_out`. False when it
// could not be opened for a reason that is not the file's.
bool OpenForPacking(const LogFiles& files, size_t i, const std::string& name, ScopedFd* fd,
                    struct stat* info, LeftOutFiles* left_out) {
  const LogFile& file = files.files()[i];
  if (name.size() > kMaxNameBytes) {
    left_out->Add(file.path, "the path is too long for the archive");
    return true;
  }
  fd->Reset(files.Open(file, info));
  if (!fd->valid()) {
    const int error = errno;
    left_out->Add(file.path, error);
    return MayBeLeftOut(error);
  }
  if (static_cast<uint64_t>(info->st_size) > kMaxFileBytes) {
    left_out->Add(file.path, "larger than any log");
    fd->Reset(-1);
    return true;
  }
  const auto size = static_cast<uint64_t>(info->st_size);
  info->st_size = static_cast<off_t>(tessik::shared::SizeWithoutLogTail(fd->get(), size));
  return true;
}

}  // namespace

UploadStatus PackLogs(const LogFiles& files, long threads, int fd, uint64_t* size,
                      LeftOutFiles* left_out) {
  const std::vector<std::string> names = MakeEntryNames(files.files());
  ArchiveFile archive(fd);
  Packer packer(DeflateThreads(threads), files.total_bytes(), &archive);
  for (size_t i = 0; i < names.size(); ++i) {
    struct stat info {};
    ScopedFd file;
    if (!OpenForPacking(files, i, names[i], &file, &info, left_out)) return kNoLogs;
    if (!file.valid()) continue;
    const UploadStatus added = packer.Add(file.get(), info, names[i]);
    if (added != kStored) return added;
  }
  const UploadStatus finished = packer.Finish(&archive);
  *size = archive.size();
  return finished;
}

}  // namespace reference_sdk
