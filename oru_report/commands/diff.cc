// `oru-report diff`: what differs between two reports, or between two collections of them.
#include <algorithm>

#include "oru_report/analysis/crash_groups.h"
#include "oru_report/commands/commands.h"
#include "oru_report/commands/visit.h"
#include "oru_report/render/json_writer.h"
#include "oru_report/render/output.h"
#include "oru_report/text/escape.h"

namespace oru_report {
namespace {

struct Side {
  CrashGroups groups;
  VisitResult result;
  // Of the last report: fields and names of the crashed thread's frames.
  std::vector<std::pair<std::string, std::string>> fields;
  std::vector<std::string> frames;
  // Ids of images by path.
  std::map<std::string, std::string> images;
};

// Frames of a report that are compared: more are cut.
constexpr size_t kMostFrames = 512;

void ReadFields(const VisitedReport& report, Side* side) {
  const Headline& headline = report.headline;
  side->fields = {{"kind", headline.kind},
                  {"cause", headline.cause},
                  {"exception", headline.exception_name},
                  {"reason", headline.reason},
                  {"app", headline.app},
                  {"SDK", headline.version},
                  {"session", headline.session},
                  {"time", headline.time},
                  {"system", headline.system}};
  const FrameList& frames = report.resolver->report().crash_frames;
  side->frames.clear();
  for (size_t i = headline.first; i < std::min(frames.size(), headline.first + kMostFrames); ++i) {
    const ResolvedFrame& frame = report.resolver->Resolve(*frames[i], i != 0);
    side->frames.push_back(frame.function.empty() ? report.resolver->NameOf(*frames[i], i != 0)
                                                  : frame.function);
  }
  side->images.clear();
  for (const Image& image : report.resolver->report().images) {
    side->images.emplace(image.path, image.uuid);
  }
}

Side ReadSide(const Options& options, const std::string& path) {
  Options one = options;
  one.inputs = {path};
  Side side;
  side.result = VisitReports(one, nullptr, [&](const VisitedReport& report) {
    side.groups.Add(report.file.path, report.resolver->report(), report.headline);
    ReadFields(report, &side);
  });
  return side;
}

// Lines with "-", "+" or " " in front: the shortest way from one list to the other.
std::vector<std::string> DiffLines(const std::vector<std::string>& a,
                                   const std::vector<std::string>& b) {
  std::vector<std::vector<size_t>> common(a.size() + 1, std::vector<size_t>(b.size() + 1, 0));
  for (size_t i = a.size(); i-- > 0;) {
    for (size_t j = b.size(); j-- > 0;) {
      common[i][j] =
          a[i] == b[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
    }
  }
  std::vector<std::string> lines;
  size_t i = 0;
  size_t j = 0;
  while (i < a.size() || j < b.size()) {
    if (i < a.size() && j < b.size() && a[i] == b[j]) {
      lines.push_back("  " + a[i]);
      ++i;
      ++j;
    } else if (j == b.size() || (i < a.size() && common[i + 1][j] >= common[i][j + 1])) {
      lines.push_back("- " + a[i++]);
    } else {
      lines.push_back("+ " + b[j++]);
    }
  }
  return lines;
}

void WriteReports(const Side& a, const Side& b, Output* output) {
  const auto line = [&](const std::string& text) { *output << ForTerminal(text) << "\n"; };
  for (size_t i = 0; i < a.fields.size(); ++i) {
    const auto& [name, old_value] = a.fields[i];
    const std::string& new_value = b.fields[i].second;
    if (old_value == new_value) continue;
    line("- " + name + ": " + old_value);
    line("+ " + name + ": " + new_value);
  }
  line("frames of the crashed thread:");
  for (const std::string& text : DiffLines(a.frames, b.frames)) line(text);
  line("images:");
  for (const auto& [path, id] : a.images) {
    const auto other = b.images.find(path);
    if (other == b.images.end() || other->second != id) line("- " + id + " " + path);
  }
  for (const auto& [path, id] : b.images) {
    const auto other = a.images.find(path);
    if (other == a.images.end() || other->second != id) line("+ " + id + " " + path);
  }
}

void WriteGroups(const Side& a, const Side& b, bool json, Output* output) {
  const auto write = [&](const CrashGroup& group, size_t before, size_t after) {
    if (json) {
      JsonWriter writer(output);
      writer.BeginObject();
      writer.Text("fingerprint", group.fingerprint.id);
      writer.Number("before", before);
      writer.Number("after", after);
      writer.Text("kind", group.kind);
      writer.Text("place", group.place);
      writer.Text("example", group.example);
      writer.EndObject();
      *output << "\n";
      return;
    }
    const char* mark = before == 0 ? "+ " : after == 0 ? "- " : "  ";
    *output << ForTerminal(mark + std::to_string(before) + " to " + std::to_string(after) + "  " +
                           group.kind + " in " + group.place + "  " + group.fingerprint.id)
            << "\n";
  };
  for (const CrashGroup* group : b.groups.Sorted()) {
    const CrashGroup* before = a.groups.Find(group->fingerprint.id);
    write(*group, before == nullptr ? 0 : before->count, group->count);
  }
  for (const CrashGroup* group : a.groups.Sorted()) {
    if (b.groups.Find(group->fingerprint.id) == nullptr) write(*group, group->count, 0);
  }
}

}  // namespace

int RunDiff(const Options& options) {
  const Side a = ReadSide(options, options.inputs[0]);
  const Side b = ReadSide(options, options.inputs[1]);
  StreamOutput output(stdout);
  WriteGroups(a, b, options.json, &output);
  const bool single = a.groups.reports() == 1 && b.groups.reports() == 1;
  if (single && !options.json) WriteReports(a, b, &output);
  for (const Side* side : {&a, &b}) TellIncomplete(side->result);
  const int status = std::max(StatusOf(a.result), StatusOf(b.result));
  return FinishOutput(&output, status);
}

}  // namespace oru_report
