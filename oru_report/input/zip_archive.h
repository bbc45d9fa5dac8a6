// Reads zip archives in place.
#ifndef ORU_REPORT_INPUT_ZIP_ARCHIVE_H_
#define ORU_REPORT_INPUT_ZIP_ARCHIVE_H_

#include <functional>
#include <string>

#include "oru_report/input/byte_stream.h"

namespace oru_report {

// Called for each file of an archive with its name in it and its content, which ends with the call.
using ZipVisitor = std::function<void(const std::string& name, std::unique_ptr<ByteStream> entry)>;

// Visits the files of the archive open as `descriptor`, which is closed, in the archive's order.
// False, with a sentence in `error`, when it is none or damaged; what came before was visited.
bool VisitZip(int descriptor, const ZipVisitor& visit, std::string* error);

}  // namespace oru_report

#endif  // ORU_REPORT_INPUT_ZIP_ARCHIVE_H_
