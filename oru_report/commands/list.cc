// `oru-report list`.
#include "oru_report/commands/commands.h"
#include "oru_report/commands/terminal.h"
#include "oru_report/commands/visit.h"
#include "oru_report/render/output.h"
#include "oru_report/render/report_table.h"

namespace oru_report {
namespace {

std::string Known(const std::string& text) { return text.empty() ? "?" : text; }

ReportEntry EntryOf(const VisitedReport& report) {
  const Headline& headline = report.headline;
  ReportEntry entry;
  entry.path = report.file.path;
  entry.kind = Known(headline.kind);
  entry.app = Known(headline.app.empty() ? headline.process : headline.app);
  entry.session = Known(headline.session);
  entry.time = Known(headline.time);
  entry.version = Known(headline.version);
  entry.place = Known(headline.sdk_text.empty() ? headline.first_text : headline.sdk_text);
  entry.bytes = report.file.bytes;
  entry.whole = report.resolver->report().gaps.empty();
  return entry;
}

}  // namespace

int RunList(const Options& options) {
  std::vector<ReportEntry> entries;
  const VisitResult result = VisitReports(
      options, nullptr, [&](const VisitedReport& report) { entries.push_back(EntryOf(report)); });
  SortNewestFirst(&entries);
  StreamOutput output(stdout);
  output << (options.json ? FormatJson(entries) : FormatTable(entries, TerminalWidth()));
  TellIncomplete(result);
  TellPassedOver(result);
  return FinishOutput(&output, StatusOf(result));
}

}  // namespace oru_report
