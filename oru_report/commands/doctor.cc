// `oru-report doctor`.
#include "oru_report/analysis/doctor.h"

#include <cstdio>

#include "oru_report/commands/commands.h"
#include "oru_report/commands/visit.h"
#include "oru_report/render/json_writer.h"
#include "oru_report/text/escape.h"

namespace oru_report {

int RunDoctor(const Options& options) {
  std::vector<Finding> findings;
  std::string error;
  const bool named = options.inputs.size() > 1;
  const std::string& function = named ? options.inputs[1] : options.function;
  if (!ExamineProgram(options.inputs[0], function, options.dump_dir, &findings, &error)) {
    return TellError(error);
  }
  StreamOutput output(stdout);
  bool good = true;
  JsonWriter json(&output);
  if (options.json) json.BeginList();
  for (const Finding& finding : findings) {
    good = good && finding.good;
    if (options.json) {
      json.BeginObject();
      json.Text("subject", finding.subject);
      json.Flag("good", finding.good);
      json.Text("text", finding.text);
      json.EndObject();
    } else {
      output << (finding.good ? "good  " : "BAD   ")
             << ForTerminal(finding.subject + ": " + finding.text) << "\n";
    }
  }
  if (options.json) {
    json.EndList();
    output << "\n";
  }
  return FinishOutput(&output, good ? kOk : kFailed);
}

}  // namespace oru_report
