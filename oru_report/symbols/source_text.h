// Lines of a source file that debug information names.
#ifndef ORU_REPORT_SYMBOLS_SOURCE_TEXT_H_
#define ORU_REPORT_SYMBOLS_SOURCE_TEXT_H_

#include <cstdint>
#include <string>
#include <vector>

namespace oru_report {

struct SourceText {
  std::string path;
  // The number of the first of `lines`; 0 without any.
  int first = 0;
  std::vector<std::string> lines;
  // When the file was last changed, in seconds since 1970.
  int64_t changed = 0;
};

// The lines around `line` (counted from 1), `around` on either side as far as there are so many.
// `file` is read at its own place when its path is absolute; then it is looked for in `folders`,
// with ever fewer of its own folders. Empty when there is no such regular file, or no such line.
SourceText ReadSource(const std::string& file, int line, int around,
                      const std::vector<std::string>& folders);

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_SOURCE_TEXT_H_
