#include "oru_report/analysis/fingerprint.h"
#include "oru_report/render/json_writer.h"
#include "oru_report/render/render.h"

namespace oru_report {
namespace {

// Grows when a field changes its meaning or goes; new fields may come at any time.
constexpr uint64_t kSchemaVersion = 1;

class JsonPage {
 public:
  JsonPage(Resolver* resolver, Output* output) : resolver_(*resolver), json_(output) {}

  void Write(const std::string& file, const Headline& headline);

 private:
  void WriteHeadline(const Headline& headline);
  void WriteFrame(const Frame& frame, size_t index);
  void WriteFrames(const char* name, const FrameList& frames);
  void WriteThreads();
  void WriteImages();
  void WriteCompanion();
  void WriteCompanionLine(const CompanionLine& line);

  Resolver& resolver_;
  JsonWriter json_;
};

void JsonPage::WriteHeadline(const Headline& headline) {
  json_.BeginObject("headline");
  json_.Text("text", HeadlineText(headline));
  json_.Text("kind", headline.kind);
  json_.Text("cause", headline.cause);
  json_.Text("exception", headline.exception_name);
  json_.Text("reason", headline.reason);
  json_.Text("first_frame", headline.first_text);
  json_.Text("sdk_frame", headline.sdk_text);
  json_.Text("app_frame", headline.app_text);
  json_.Text("app", headline.app);
  json_.Text("process", headline.process);
  json_.Text("sdk", headline.version);
  json_.Text("session", headline.session);
  json_.Text("time", headline.time);
  json_.Text("system", headline.system);
  json_.EndObject();
}

void JsonPage::WriteFrame(const Frame& frame, size_t index) {
  json_.BeginObject();
  json_.Number("index", index);
  if (!frame.parsed) {
    json_.Text("text", frame.text);
    json_.Text("mark", MarkName(Mark::kUnknown));
    json_.EndObject();
    return;
  }
  const ResolvedFrame& resolved = resolver_.Resolve(frame, index != 0);
  json_.Text("mark", MarkName(resolved.mark));
  json_.Address("address", frame.address);
  json_.Text("module", frame.image());
  if (resolved.image != nullptr) {
    json_.Text("build_id", resolved.image->uuid);
    json_.Address("offset", resolved.image_offset);
  }
  if (!resolved.symbol.empty()) {
    json_.Text("symbol", resolved.symbol);
    json_.Text("function", resolved.function);
  }
  if (resolved.has_offset) json_.Number("symbol_offset", resolved.offset);
  if (!resolved.file.empty()) {
    json_.Text("file", resolved.file);
    json_.Number("line", static_cast<uint64_t>(std::max(resolved.line, 0)));
  }
  if (!resolved.inlined.empty()) {
    json_.BeginList("inlined");
    for (const SourceFrame& inlined : resolved.inlined) {
      json_.BeginObject();
      json_.Text("function", inlined.function);
      json_.Text("file", inlined.file);
      json_.Number("line", static_cast<uint64_t>(std::max(inlined.line, 0)));
      json_.EndObject();
    }
    json_.EndList();
  }
  json_.EndObject();
}

void JsonPage::WriteFrames(const char* name, const FrameList& frames) {
  json_.BeginList(name);
  for (size_t i = 0; i < frames.size(); ++i) WriteFrame(*frames[i], i);
  json_.EndList();
}

void JsonPage::WriteThreads() {
  const Report& report = resolver_.report();
  const Thread* crashed = report.CrashThread();
  json_.BeginList("threads");
  for (const Thread& thread : report.threads) {
    json_.BeginObject();
    json_.Number("number", thread.number);
    json_.Text("name", thread.name);
    json_.Flag("crashed", &thread == crashed);
    WriteFrames("frames", thread.frames);
    json_.EndObject();
  }
  json_.EndList();
  json_.BeginList("thread_notes");
  for (const std::string_view note : report.thread_notes) json_.Text("", note);
  json_.EndList();
}

void JsonPage::WriteImages() {
  json_.BeginList("images");
  for (const Image& image : resolver_.report().images) {
    json_.BeginObject();
    json_.Text("name", image.name);
    json_.Address("start", image.start);
    json_.Address("end", image.end);
    json_.Text("build_id", image.uuid);
    json_.Text("path", image.path);
    const std::string symbols = SymbolsText(image, &resolver_);
    if (!symbols.empty()) json_.Text("symbols", symbols);
    json_.EndObject();
  }
  json_.EndList();
}

void JsonPage::WriteCompanionLine(const CompanionLine& line) {
  std::string object;
  json_.BeginObject();
  json_.Text("type", line.type);
  for (const CompanionValue& value : line.values) {
    if (value.object != object) {
      if (!object.empty()) json_.EndObject();
      if (!value.object.empty()) json_.BeginObject(value.object);
      object = value.object;
    }
    if (value.kind == CompanionValue::Kind::kText) {
      json_.Text(value.name, value.text);
    } else {
      json_.Plain(value.name, value.text);
    }
  }
  if (!object.empty()) json_.EndObject();
  json_.EndObject();
}

void JsonPage::WriteCompanion() {
  const Companion& companion = resolver_.report().companion;
  if (!companion.found) return;
  json_.BeginObject("companion");
  json_.BeginList("gaps");
  for (const std::string& gap : companion.gaps) json_.Text("", gap);
  json_.EndList();
  json_.BeginList("lines");
  for (const CompanionLine& line : companion.lines) WriteCompanionLine(line);
  json_.EndList();
  json_.EndObject();
}

void JsonPage::Write(const std::string& file, const Headline& headline) {
  const Report& report = resolver_.report();
  json_.BeginObject();
  json_.Number("schema", kSchemaVersion);
  json_.Text("report", file);
  json_.Flag("whole", report.gaps.empty());
  json_.BeginList("gaps");
  for (const std::string& gap : report.gaps) json_.Text("", gap);
  json_.EndList();
  json_.Text("fingerprint", FingerprintOf(report, headline).id);
  WriteHeadline(headline);
  json_.BeginList("header");
  for (const auto& [label, value] : report.header) {
    json_.BeginObject();
    json_.Text("label", label);
    json_.Text("value", value);
    json_.EndObject();
  }
  json_.EndList();
  json_.Text("exception", report.exception);
  json_.Number("handler_frames", headline.handler_frames);
  WriteFrames("crash_frames", report.crash_frames);
  WriteThreads();
  WriteImages();
  json_.Text("words", report.custom_info);
  WriteCompanion();
  json_.EndObject();
}

}  // namespace

void RenderJson(const std::string& file, const Headline& headline, Resolver* resolver,
                Output* output) {
  JsonPage(resolver, output).Write(file, headline);
  *output << "\n";
}

}  // namespace oru_report
