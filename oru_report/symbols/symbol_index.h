// Finds the binary files of an id in the places that the user named and in those of the system.
#ifndef ORU_REPORT_SYMBOLS_SYMBOL_INDEX_H_
#define ORU_REPORT_SYMBOLS_SYMBOL_INDEX_H_

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "oru_report/symbols/binary_slices.h"

namespace oru_report {

struct NamedBinary {
  std::string path;
  // As reports have it.
  std::string id;
};

class SymbolIndex {
 public:
  // Each path is a file, a folder that is searched through, or one that has a `.build-id` folder or
  // is one. They are looked at when the first id is asked for. `system` has such a folder for what
  // the user did not name.
  SymbolIndex(std::vector<std::string> paths, std::string system)
      : paths_(std::move(paths)), system_(std::move(system)) {}

  // Paths of files with the reported id, those that the user named first.
  std::vector<std::string> Find(std::string_view reported_id);

  // A file under the user's paths that is called like the image ("libx.so", "libx.so.debug"),
  // whatever its id. False when there is none.
  bool FindNamed(std::string_view image_name, NamedBinary* found);

  // Sentences about paths that cannot be read.
  const std::vector<std::string>& Problems();

 private:
  void ReadAll();
  void AddPath(const std::string& path, int depth);
  void AddFile(const std::string& path);
  void AddFolder(const std::string& path, int depth);

  std::vector<std::string> paths_;
  std::string system_;
  bool read_ = false;
  size_t files_ = 0;
  // By the id as reports have it.
  std::unordered_multimap<std::string, std::string> by_id_;
  // By the file's name without ".debug"; of several the first one.
  std::unordered_map<std::string, NamedBinary> by_name_;
  std::vector<std::string> build_id_folders_;
  std::vector<std::string> problems_;
};

// The first 32 digits of an id, filled with zeros: what a report keeps of it.
std::string ReportedForm(std::string_view file_id);

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_SYMBOL_INDEX_H_
