// Finds the binary files of an id in the places that the user named and in those of the system.
#ifndef ORU_REPORT_SYMBOLS_SYMBOL_INDEX_H_
#define ORU_REPORT_SYMBOLS_SYMBOL_INDEX_H_

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "oru_report/symbols/binary_slices.h"

namespace oru_report {

class SymbolIndex {
 public:
  // Each path is a file, a folder that is searched through, or one that has a `.build-id` folder or
  // is one. They are looked at when the first id is asked for.
  explicit SymbolIndex(std::vector<std::string> paths) : paths_(std::move(paths)) {}

  // Paths of files with the reported id, those that the user named first.
  std::vector<std::string> Find(std::string_view reported_id);

 private:
  void ReadAll();
  void AddPath(const std::string& path, int depth);
  void AddFile(const std::string& path);
  void AddFolder(const std::string& path, int depth);

  std::vector<std::string> paths_;
  bool read_ = false;
  size_t files_ = 0;
  // By the id as reports have it.
  std::unordered_multimap<std::string, std::string> by_id_;
  std::vector<std::string> build_id_folders_;
};

// The first 32 digits of an id, filled with zeros: what a report keeps of it.
std::string ReportedForm(std::string_view file_id);

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_SYMBOL_INDEX_H_
