// For systems without minizip.
#include "oru_report/input/zip_archive.h"

namespace oru_report {

bool VisitZip(SeekableBytes* /*archive*/, const ZipVisitor& /*visit*/, std::string* error) {
  *error = "this oru-report was built without a reader of zip archives";
  return false;
}

}  // namespace oru_report
