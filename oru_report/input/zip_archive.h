// Reads zip archives in place.
#ifndef ORU_REPORT_INPUT_ZIP_ARCHIVE_H_
#define ORU_REPORT_INPUT_ZIP_ARCHIVE_H_

#include <functional>
#include <string>
#include <string_view>

#include "oru_report/input/byte_stream.h"
#include "oru_report/input/seekable_bytes.h"

namespace oru_report {

// Called for each file of an archive with its name in it and its content, which ends with the call;
// null when it is encrypted or packed in an unknown way.
using ZipVisitor = std::function<void(const std::string& name, std::unique_ptr<ByteStream> entry)>;

// What tells an archive, be it an empty one.
constexpr size_t kZipBeginning = 4;
inline bool BeginsLikeZip(std::string_view beginning) {
  return beginning.substr(0, kZipBeginning) == "PK\x03\x04" ||
         beginning.substr(0, kZipBeginning) == "PK\x05\x06";
}

// Visits the archive's files in its order. False, with a sentence in `error`, when it is none or
// damaged; what came before was visited.
bool VisitZip(SeekableBytes* archive, const ZipVisitor& visit, std::string* error);

}  // namespace oru_report

#endif  // ORU_REPORT_INPUT_ZIP_ARCHIVE_H_
