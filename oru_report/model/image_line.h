// Reads one line of a report's image list.
#ifndef ORU_REPORT_MODEL_IMAGE_LINE_H_
#define ORU_REPORT_MODEL_IMAGE_LINE_H_

#include <string_view>

#include "oru_report/model/report_model.h"

namespace oru_report {

// "    0x7f0012340000 -     0x7f0012345fff  NAME arm64  <UUID> /path/NAME". The image's texts are
// views of `line`. False for a line of another form.
bool ParseImage(std::string_view line, Image* image);

}  // namespace oru_report

#endif  // ORU_REPORT_MODEL_IMAGE_LINE_H_
