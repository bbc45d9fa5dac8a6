// Files and folders for tests.
#ifndef TESTS_SUPPORT_FILES_H_
#define TESTS_SUPPORT_FILES_H_

#include <string>
#include <vector>

namespace oru_test {

// A fresh folder, removed with all it holds at the end of the scope.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // Absolute, without a trailing slash.
  const std::string& path() const { return path_; }
  // The path of `name` inside the folder.
  std::string Join(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// The whole content; a test failure and "" when it cannot be read.
std::string ReadFile(const std::string& path);
// Creates or replaces; a test failure when it cannot be written.
void WriteFile(const std::string& path, const std::string& content);
// The lines of a log file that its writers may not have closed: without zero bytes.
std::string ReadLogFile(const std::string& path);
bool PathExists(const std::string& path);
// The descriptor of this process, not of a standard stream, that stands for the file; -1 without
// one.
int DescriptorOf(const std::string& path);
// The descriptor that the next file will get.
int NextDescriptor();
// Creates the folder and the missing ones above it.
void MakeDirs(const std::string& path);
// Names in the folder, sorted, without "." and ".."; empty when it cannot be opened.
std::vector<std::string> ListDir(const std::string& path);
// Paths of all regular files below the folder, relative to it, sorted.
std::vector<std::string> ListFilesRecursively(const std::string& path);
// Removes a file, or a folder with all it holds; symbolic links are not followed.
void RemoveAll(const std::string& path);
// Lines without their newlines; a last line without newline counts.
std::vector<std::string> SplitLines(const std::string& text);

}  // namespace oru_test

#endif  // TESTS_SUPPORT_FILES_H_
