// A report made readable.
#ifndef ORU_REPORT_RENDER_H_
#define ORU_REPORT_RENDER_H_

#include <string>

#include "oru_report/report_model.h"
#include "oru_report/source_lookup.h"

namespace oru_report {

// For a terminal: header, crash thread first, then the other threads, the images and the host's
// text. Names are demangled, places in the sources added where `sources` (may be null) knows them;
// `color` adds ANSI colours.
std::string RenderText(const Report& report, SourceLookup* sources, bool color);

// One self-contained HTML page: threads folded but the crashed one, images searchable, nothing
// loaded from anywhere.
std::string RenderHtml(const Report& report, SourceLookup* sources, const std::string& title);

}  // namespace oru_report

#endif  // ORU_REPORT_RENDER_H_
