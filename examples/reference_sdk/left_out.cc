#include "examples/reference_sdk/left_out.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "examples/reference_sdk/utf8_escape.h"

namespace reference_sdk {
namespace {

constexpr size_t kMaxLines = 20;

}  // namespace

bool MayBeLeftOut(int error) {
  switch (error) {
    case ENOENT:
    case ESTALE:
    // A link, a file or a socket took the place of a file or a folder.
    case ELOOP:
    case ENOTDIR:
    case ENXIO:
    case EACCES:
    case EPERM:
      return true;
    default:
      return false;
  }
}

void LeftOutFiles::Add(const std::string& path, const std::string& why) {
  if (++count_ <= kMaxLines) lines_.push_back(EscapeToUtf8(path) + ": " + why);
}

void LeftOutFiles::Add(const std::string& path, int error) {
  Add(path, std::generic_category().message(error));
}

void LeftOutFiles::Tell() const {
  for (const std::string& line : lines_) fprintf(stderr, "OruRTCSdk: left out %s\n", line.c_str());
  if (count_ > kMaxLines) fprintf(stderr, "OruRTCSdk: left out %zu more\n", count_ - kMaxLines);
}

}  // namespace reference_sdk
