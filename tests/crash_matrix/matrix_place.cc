#include "tests/crash_matrix/matrix_place.h"

#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/files.h"

namespace crash_test {
namespace {

bool MakeLink(const std::string& path, const std::string& target) {
  return symlink(target.c_str(), path.c_str()) == 0;
}

}  // namespace

std::string DumpDir(Place place, const std::string& home) {
  switch (place) {
    case Place::kMissingTwoLevels:
      return home + "/missing/dumps";
    case Place::kRelative:
      return "dumps";
    case Place::kImpossible:
      return "/proc/dumps";
    default:
      return home + "/dumps";
  }
}

bool PreparePlace(Place place, const std::string& home) {
  const std::string dumps = home + "/dumps";
  switch (place) {
    case Place::kReady:
      oru_test::MakeDirs(dumps);
      return true;
    case Place::kFile:
      oru_test::WriteFile(dumps, "in its place");
      return true;
    case Place::kReadOnly:
      oru_test::MakeDirs(dumps);
      return chmod(dumps.c_str(), 0555) == 0;
    case Place::kLinkToDirectory:
      oru_test::MakeDirs(home + "/target");
      return MakeLink(dumps, "target");
    case Place::kDanglingLink:
      return MakeLink(dumps, "nowhere");
    case Place::kVersionIsFile:
      oru_test::MakeDirs(dumps);
      oru_test::WriteFile(dumps + "/1.0", "in its place");
      return true;
    case Place::kVersionIsLink:
      oru_test::MakeDirs(dumps);
      oru_test::MakeDirs(home + "/target");
      return MakeLink(dumps + "/1.0", "../target");
    default:
      return true;
  }
}

}  // namespace crash_test
