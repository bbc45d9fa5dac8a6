// What every page begins and ends with.
#ifndef ORU_REPORT_RENDER_PAGE_FRAME_H_
#define ORU_REPORT_RENDER_PAGE_FRAME_H_

#include <string>

#include "oru_report/render/output.h"

namespace oru_report {

// Up to the body's start. The page may load nothing and send nothing.
void BeginPage(const std::string& title, Output* output);

// The search over everything that can be found, and the button that unfolds.
void WriteNavigation(const char* what, Output* output);

// The keys and the script.
void EndPage(Output* output);

}  // namespace oru_report

#endif  // ORU_REPORT_RENDER_PAGE_FRAME_H_
