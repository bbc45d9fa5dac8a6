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
  void Archive(const std::string& path, int descriptor);
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

void Visit::Archive(const std::string& path, int descriptor) {
  std::string error;
  const auto entry = [&](const std::string& name, std::unique_ptr<ByteStream> stream) {
    if (!LooksLikeReportFile(name)) {
      ++passed_->other_files;
      return;
    }
    const auto unpacked = MakeUnpackedStream(std::move(stream));
    Stream(path + ": " + name, name, unpacked.get(), true);
  };
  if (!VisitZip(descriptor, entry, &error)) Problem(path, error);
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
  if (zip) return Archive(path, descriptor);
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

void Visit::Named(const std::string& path) {
  if (path == "-") {
    const auto stream = MakeUnpackedStream(MakeFileStream(STDIN_FILENO));
    return Stream("-", "", stream.get(), false);
  }
  std::string error;
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return Problem(path, strerror(errno));
  std::string base = path;
  while (base.size() > 1 && base.back() == '/') base.pop_back();
  if (S_ISDIR(status.st_mode)) return Folder(base, 0);
  const int descriptor = OpenNamedFile(path, &error);
  if (descriptor < 0) return Problem(path, error);
  char magic[4] = {};
  const bool zip = pread(descriptor, magic, sizeof magic, 0) == sizeof magic &&
                   memcmp(magic, "PK\x03\x04", sizeof magic) == 0;
  if (zip) return Archive(path, descriptor);
  const auto stream = MakeUnpackedStream(MakeFileStream(descriptor));
  Stream(path, path, stream.get(), false);
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
  add(problem_count, "that cannot be read", "that cannot be read");
  return text;
}

void VisitReportFiles(const std::vector<std::string>& paths, const ReportVisitor& visit,
                      PassedOver* passed) {
  Visit walk(visit, passed);
  for (const std::string& path : paths) walk.Named(path);
}

}  // namespace oru_report
