// Groups of equal crashes made readable.
#ifndef ORU_REPORT_RENDER_RENDER_GROUPS_H_
#define ORU_REPORT_RENDER_RENDER_GROUPS_H_

#include "oru_report/analysis/crash_groups.h"
#include "oru_report/render/output.h"

namespace oru_report {

// A few lines a group, the largest first. `width`: columns of the terminal, 0 for none.
void RenderGroupsText(const CrashGroups& groups, size_t width, Output* output);

// One JSON object a line a group.
void RenderGroupsJson(const CrashGroups& groups, Output* output);

// One self-contained page, with plots over time and versions.
void RenderGroupsHtml(const CrashGroups& groups, Output* output);

// "6.2.0 (7), 6.1.0 (50)", the most frequent ones first.
std::string CountsText(const std::map<std::string, size_t>& counts);

}  // namespace oru_report

#endif  // ORU_REPORT_RENDER_RENDER_GROUPS_H_
