// A report made readable.
#ifndef ORU_REPORT_RENDER_RENDER_H_
#define ORU_REPORT_RENDER_RENDER_H_

#include <string>

#include "oru_report/analysis/crash_source.h"
#include "oru_report/analysis/headline.h"
#include "oru_report/analysis/resolver.h"
#include "oru_report/analysis/timeline.h"
#include "oru_report/render/output.h"

namespace oru_report {

// For a terminal: the headline, the header, the crashed thread, the other threads with equal ones
// once, the images and the host's text. `color` adds ANSI colours. `timeline` (may be null) stands
// behind the crashed thread.
void RenderText(const Headline& headline, Resolver* resolver, const Timeline* timeline, bool color,
                Output* output);

// The part of it that the timeline is.
void RenderTimeline(const Timeline& timeline, Output* output);

// One self-contained HTML page: the headline with the crash's source lines (`source` may be empty),
// the crashed thread, everything else folded and searchable, nothing loaded from anywhere.
void RenderHtml(const Headline& headline, Resolver* resolver, const CrashSource& source,
                const std::string& title, Output* output);

// One JSON object in a line, as docs/oru-report.schema.json describes it.
void RenderJson(const std::string& file, const Headline& headline, Resolver* resolver,
                Output* output);

// "lines from /path", "names from /path", "missing", "other build: ..."; empty without symbols.
std::string SymbolsText(const Image& image, Resolver* resolver);

// A group's title: "Thread 7  worker", "940 threads waiting in pthread_cond_wait".
std::string ThreadGroupTitle(const std::vector<const Thread*>& group, Resolver* resolver);

// What a fold hides: "frames 5 to 118: the same 2, 57 times".
std::string FoldText(size_t first, size_t size, size_t times);

}  // namespace oru_report

#endif  // ORU_REPORT_RENDER_RENDER_H_
