// Files that are not in the archive, and why.
#ifndef EXAMPLES_REFERENCE_SDK_LEFT_OUT_H_
#define EXAMPLES_REFERENCE_SDK_LEFT_OUT_H_

#include <cstddef>
#include <string>
#include <vector>

namespace reference_sdk {

// Whether what cannot be opened with this error (of errno) is left out: it vanished, something else
// took its place, or it may not be read. Any other error says nothing about the file, and an
// archive without it would pass for whole.
bool MayBeLeftOut(int error);

class LeftOutFiles {
 public:
  // Any bytes as a path.
  void Add(const std::string& path, const std::string& why);
  void Add(const std::string& path, int error);
  // One line on standard error a file, "OruRTCSdk: left out PATH: WHY", for the first 20, and one
  // for the rest. In PATH, control characters and bytes that are no UTF-8 stand as "%XX".
  void Tell() const;

  bool empty() const { return count_ == 0; }

 private:
  std::vector<std::string> lines_;
  size_t count_ = 0;
};

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_LEFT_OUT_H_
