// `oru-report show` and `oru-report html`.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "oru_report/commands/commands.h"
#include "oru_report/commands/visit.h"
#include "oru_report/render/render.h"

namespace oru_report {
namespace {

bool UseColor(const Options& options) {
  if (options.color != "auto") return options.color == "always";
  return isatty(STDOUT_FILENO) != 0 && getenv("NO_COLOR") == nullptr;
}

void TellGaps(const VisitedReport& report) {
  for (const std::string& gap : report.resolver->report().gaps) {
    TellError(report.file.path + ": " + gap);
  }
}

}  // namespace

int RunShow(const Options& options) {
  const auto symbols = MakeSymbols(options);
  const bool color = UseColor(options);
  StreamOutput output(stdout);
  bool first = true;
  const VisitResult result = VisitReports(options, symbols.get(), [&](const VisitedReport& report) {
    if (!first) output << "\n\n";
    first = false;
    TellGaps(report);
    RenderText(report.headline, report.resolver, color, &output);
  });
  TellPassedOver(result);
  return FinishOutput(&output, StatusOf(result));
}

int RunHtml(const Options& options) {
  const bool to_file = !options.output.empty() && options.output != "-";
  FILE* file = nullptr;
  const auto symbols = MakeSymbols(options);
  bool done = false;
  int status = kOk;
  const VisitResult result = VisitReports(options, symbols.get(), [&](const VisitedReport& report) {
    if (done) return;
    done = true;
    TellGaps(report);
    file = to_file ? fopen(options.output.c_str(), "wb") : stdout;
    if (file == nullptr) {
      status = TellError("cannot create " + options.output + ": " + strerror(errno));
      return;
    }
    StreamOutput output(file);
    RenderHtml(report.headline, report.resolver, report.file.name, &output);
    status = FinishOutput(&output, status);
    if (to_file && fclose(file) != 0) {
      status = TellError("cannot write " + options.output + ": " + strerror(errno));
    }
  });
  return status != kOk ? status : StatusOf(result);
}

}  // namespace oru_report
