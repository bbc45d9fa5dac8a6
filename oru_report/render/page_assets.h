// Style and script of the HTML page.
#ifndef ORU_REPORT_RENDER_PAGE_ASSETS_H_
#define ORU_REPORT_RENDER_PAGE_ASSETS_H_

namespace oru_report {

extern const char kPageStyle[];
extern const char kPageScript[];

}  // namespace oru_report

#endif  // ORU_REPORT_RENDER_PAGE_ASSETS_H_
