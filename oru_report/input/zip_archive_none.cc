// For systems without minizip.
#include <unistd.h>

#include "oru_report/input/zip_archive.h"

namespace oru_report {

bool VisitZip(int descriptor, const ZipVisitor& /*visit*/, std::string* error) {
  close(descriptor);
  *error = "this oru-report was built without a reader of zip archives";
  return false;
}

}  // namespace oru_report
