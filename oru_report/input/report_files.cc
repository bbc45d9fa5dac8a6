#include "oru_report/input/report_files.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "oru_report/input/read_text.h"
#include "oru_report/input/safe_open.h"
#include "oru_report/input/zip_archive.h"
#include "oru_report/model/report_name.h"
#include "oru_report/text/path_text.h"

namespace oru_report {
namespace {

constexpr size_t kMaxProblems = 20;
// Of folders below a named one.
constexpr int kMaxDepth = 16;
// An archive from a pipe is kept in memory.
constexpr size_t kMaxPipedArchive = size_t{1} << 30;

std::string Count(size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

class Visit {
 public:
  Visit(const ReportVisitor& visit, PassedOver* passed) : visit_(visit), passed_(passed) {}

  void Named(const std::string& path);

 private:
  void Folder(const std::string& path, int depth);
  void Found(const std::string& path, int depth);
  void Pipe(const std::string& path, int descriptor);
  void Archive(const std::string& path, SeekableBytes* bytes);
  // Reads one file; `found`: it has to begin like a report.
  void Stream(const std::string& path, std::string_view inner_path, ByteStream* stream, bool found);
  void Problem(const std::string& path, const std::string& error) {
    passed_->AddProblem(path + ": " + error);
  }

  const ReportVisitor& visit_;
  PassedOver* passed_;
};

void Visit::Stream(const std::string& path, std::string_view inner_path, ByteStream* stream,
                   bool found) {
  ReportFile file;
  std::string error;
  const ReadResult result = ReadText(stream, !found, &file.text, &error);
  if (result == ReadResult::kOther) ++passed_->no_reports;
  if (result == ReadResult::kFailed) Problem(path, error);
  if (result == ReadResult::kOther || result == ReadResult::kFailed) return;
  file.path = path;
  file.name = LastPathEntry(inner_path);
  file.folder = LastPathEntry(FolderOf(inner_path));
  file.bytes = file.text.size();
  if (result == ReadResult::kPart) file.gap = error;
  visit_(std::move(file));
}

void Visit::Archive(const std::string& path, SeekableBytes* bytes) {
  std::string error;
  const auto entry = [&](const std::string& name, std::unique_ptr<ByteStream> stream) {
    if (!LooksLikeReportFile(name)) {
      ++passed_->other_files;
      return;
    }
    if (stream == nullptr) {
      return Problem(path + ": " + name, "it is encrypted or packed in an unknown way");
    }
    const auto unpacked = MakeUnpackedStream(std::move(stream));
    Stream(path + ": " + name, name, unpacked.get(), true);
  };
  if (!VisitZip(bytes, entry, &error)) Problem(path, error);
}

void Visit::Found(const std::string& path, int depth) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) return Problem(path, strerror(errno));
  if (S_ISDIR(status.st_mode)) return Folder(path, depth + 1);
  const bool zip = LooksLikeZip(path);
  if (!S_ISREG(status.st_mode) || (!zip && !LooksLikeReportFile(path))) {
    ++passed_->other_files;
    return;
  }
  std::string error;
  const int descriptor = OpenFoundFile(path, &error);
  if (descriptor < 0) return Problem(path, error);
  if (zip) return Archive(path, MakeFileBytes(descriptor).get());
  const auto stream = MakeUnpackedStream(MakeFileStream(descriptor));
  Stream(path, path, stream.get(), true);
}

void Visit::Folder(const std::string& path, int depth) {
  if (depth > kMaxDepth) return Problem(path, "it lies too deep");
  DIR* opened = opendir(path.c_str());
  if (opened == nullptr) return Problem(path, strerror(errno));
  std::vector<std::string> names;
  while (const dirent* entry = readdir(opened)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(opened);
  std::sort(names.begin(), names.end());
  const std::string base = path == "/" ? path : path + "/";
  for (const std::string& name : names) Found(base + name, depth);
}

// What a pipe brings can be read once: its beginning tells what it is, and is read again behind it.
void Visit::Pipe(const std::string& path, int descriptor) {
  auto stream = MakeFileStream(descriptor);
  std::string beginning(kZipBeginning, '\0');
  size_t filled = 0;
  long got = 1;
  std::string error;
  while (filled < beginning.size() && got > 0) {
    got = stream->Read(&beginning[filled], beginning.size() - filled, &error);
    if (got > 0) filled += static_cast<size_t>(got);
  }
  if (got < 0) return Problem(path, error);
  beginning.resize(filled);
  if (BeginsLikeZip(beginning)) {
    const auto bytes = ReadAllBytes(beginning, stream.get(), kMaxPipedArchive, &error);
    return bytes == nullptr ? Problem(path, error) : Archive(path, bytes.get());
  }
  const auto unpacked = MakeUnpackedStream(MakeStreamBehind(beginning, std::move(stream)));
  Stream(path, "", unpacked.get(), false);
}

void Visit::Named(const std::string& path) {
  const bool input = path == "-";
  std::string error;
  struct stat status = {};
  if ((input ? fstat(STDIN_FILENO, &status) : stat(path.c_str(), &status)) != 0) {
    return Problem(path, strerror(errno));
  }
  std::string base = path;
  while (base.size() > 1 && base.back() == '/') base.pop_back();
  if (S_ISDIR(status.st_mode)) {
    return input ? Problem(path, "it is a folder; name it instead") : Folder(base, 0);
  }
  const int descriptor = input ? STDIN_FILENO : OpenNamedFile(path, &error);
  if (descriptor < 0) return Problem(path, error);
  if (lseek(descriptor, 0, SEEK_CUR) != 0) return Pipe(path, descriptor);
  char beginning[kZipBeginning] = {};
  const bool seen = pread(descriptor, beginning, sizeof beginning, 0) == sizeof beginning;
  if (seen && BeginsLikeZip({beginning, sizeof beginning})) {
    return Archive(path, MakeFileBytes(descriptor).get());
  }
  const auto stream = MakeUnpackedStream(MakeFileStream(descriptor));
  Stream(path, input ? "" : path, stream.get(), false);
}

}  // namespace

void PassedOver::AddProblem(const std::string& sentence) {
  ++problem_count;
  if (problems.size() < kMaxProblems) problems.push_back(sentence);
}

std::string PassedOver::Summary() const {
  std::string text;
  const auto add = [&](size_t count, const char* one, const char* many) {
    if (count == 0) return;
    text += (text.empty() ? "passed over: " : ", ") + Count(count, one, many);
  };
  add(other_files, "file of another kind", "files of other kinds");
  add(no_reports, "that is no report", "that are no reports");
  add(problem_count - problems.size(), "more that cannot be read", "more that cannot be read");
  return text;
}

void VisitReportFiles(const std::vector<std::string>& paths, const ReportVisitor& visit,
                      PassedOver* passed) {
  Visit walk(visit, passed);
  for (const std::string& path : paths) walk.Named(path);
}

}  // namespace oru_report
