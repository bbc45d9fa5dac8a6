// Lines of crash reports as the crash module writes them, read back.
#include "fuzz/fuzz_support.h"
#include "media_core/biz_engine/crash_handler/report/call_stack_text.h"
#include "media_core/biz_engine/crash_handler/report/image_list_text.h"
#include "oru_report/model/frame_line.h"
#include "oru_report/model/report_parser.h"

using CrashHandler::machine::CallChain;
using CrashHandler::machine::ChainStatus;
using CrashHandler::machine::SymbolInformation;
using oru_fuzz::Require;
using oru_report::Frame;
using oru_report::Report;

namespace {

uint64_t Number(oru_fuzz::Input* input) {
  uint64_t number = 0;
  for (size_t bytes = input->Byte() % 9; bytes > 0; --bytes) number = number * 256 + input->Byte();
  return number;
}

// Characters that a line can hold.
std::string Text(oru_fuzz::Input* input, size_t most) {
  std::string text = input->Text(input->Byte() % most);
  for (char& c : text) {
    if (c == '\0' || c == '\n') c = '.';
  }
  return text;
}

std::string LastPart(const std::string& path) { return path.substr(path.rfind('/') + 1); }

void* Address(uint64_t number) { return reinterpret_cast<void*>(number); }

// One frame's strings and numbers, and the record that points at them.
struct MadeFrame {
  explicit MadeFrame(oru_fuzz::Input* input)
      : path(Text(input, 80)),
        symbol(Text(input, 80)),
        base(Number(input)),
        from(Number(input)),
        address(Number(input)),
        with_path(input->Byte() % 8 != 0),
        with_symbol(input->Byte() % 4 != 0) {}

  SymbolInformation Record() const {
    return {with_path ? path.c_str() : nullptr, Address(base),
            with_symbol ? symbol.c_str() : nullptr, Address(from)};
  }

  std::string path;
  std::string symbol;
  uint64_t base;
  uint64_t from;
  uint64_t address;
  bool with_path;
  bool with_symbol;
};

// Names that a line does not keep apart from the columns around them.
bool IsPlainImage(const std::string& name) {
  const bool padded = !name.empty() && (name.front() == ' ' || name.back() == ' ');
  const bool numbered = name.find_first_not_of("0123456789") < name.size() &&
                        name[name.find_first_not_of("0123456789")] == ' ';
  return !name.empty() && !padded && !numbered && name.find(" 0x") == std::string::npos;
}

bool IsPlainSymbol(const std::string& name) {
  const bool padded = !name.empty() && (name.front() == ' ' || name.back() == ' ');
  return !padded && name.compare(0, 2, "0x") != 0;
}

void CheckFrame(const Frame& frame, const MadeFrame& made) {
  const std::string image = LastPart(made.path);
  if (made.with_path && !IsPlainImage(image)) return;
  if (made.with_symbol && !IsPlainSymbol(made.symbol)) return;
  Require(frame.parsed, "a frame of a known form");
  if (made.with_path) Require(frame.image() == image, "frame's image");
  Require(frame.address == made.address, "frame's address");
  Require(frame.symbol() == (made.with_symbol ? made.symbol : ""), "frame's symbol");
  const uint64_t from = made.with_symbol ? made.from : made.base;
  Require(frame.offset == made.address - from, "frame's offset");
}

// A crash thread's line as the C library makes it.
void CheckBracketForm(const MadeFrame& made) {
  const bool plain = LastPart(made.path).find_first_of("()") == std::string::npos &&
                     LastPart(made.path).find(" [0x") == std::string::npos &&
                     made.symbol.find_first_of("()") == std::string::npos;
  if (!plain) return;
  char numbers[64];
  snprintf(numbers, sizeof(numbers), "+0x%llx) [0x%llx]",
           static_cast<unsigned long long>(made.from),
           static_cast<unsigned long long>(made.address));
  const std::string line = made.path + "(" + made.symbol + numbers;
  const Frame frame = oru_report::ParseFrame(line);
  Require(frame.parsed && frame.image() == LastPart(made.path), "image of the bracket form");
  Require(frame.symbol() == made.symbol && frame.offset == made.from, "symbol of the bracket form");
  Require(frame.address == made.address, "address of the bracket form");
}

struct MadeImage {
  explicit MadeImage(oru_fuzz::Input* input)
      : path("/" + Text(input, 100)),
        start(Number(input) | 1),
        end(Number(input) | 1),
        wide(input->Byte() % 8) {
    for (size_t i = 0; i < 32; ++i) uuid += "0123456789abcdef"[input->Byte() % 16];
  }

  std::string Line() const {
    return CrashHandler::machine::ImageLine({start, end, wide, uuid.c_str(), path.c_str()});
  }

  // Absolute: its last part is the name, whatever else that looks like.
  std::string path;
  std::string uuid;
  // Never 0, where nothing is loaded and which would be printed without its "0x".
  uint64_t start;
  uint64_t end;
  bool wide;
};

void CheckImage(const oru_report::Image& image, const MadeImage& made) {
  Require(image.start == made.start && image.end == made.end, "image's addresses");
  Require(image.path == made.path, "image's path");
  Require(image.name == LastPart(made.path), "image's name");
  Require(image.uuid == made.uuid, "image's uuid");
}

Report Read(const std::string& crash, const std::string& threads, const std::string& images) {
  Report report;
  std::string error;
  const bool good = oru_report::ParseReport(
      "Crash Thread:      1\n\nCrash Thread Backtrace:\n" + crash + "\nAll Thread Backtrace:\n" +
          threads + "\nBinary Images:\n" + images + "\nUserCustomInfo:\n\n",
      &report, &error);
  Require(good, "a made report is a report");
  return report;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const auto number = static_cast<uint32_t>(Number(&input));
  const std::string name = Text(&input, 20);
  const auto status = static_cast<ChainStatus>(input.Byte() % 16 < 4 ? input.Byte() % 4 : 0);
  const MadeImage image(&input);
  std::vector<MadeFrame> frames;
  while (frames.size() < 4 && !input.empty()) frames.emplace_back(&input);

  CallChain chain = {};
  chain.status = status;
  std::vector<SymbolInformation> records;
  std::string crash;
  for (const MadeFrame& frame : frames) {
    CheckBracketForm(frame);
    records.push_back(frame.Record());
    chain.entries[chain.length++] = frame.address;
    crash += CrashHandler::logBacktraceEntry(frame.address, records.back());
  }
  CrashHandler::machine::TextBuffer buffer;
  CrashHandler::AppendThreadText(number, name.c_str(), chain, records.data(), &buffer);
  // Behind a failure's text, which has no line end.
  CrashHandler::AppendThreadText(7, "next", chain, records.data(), &buffer);
  const std::string threads = StringOf(buffer);
  const Report report = Read(crash, threads, image.Line());

  Require(report.images.size() == 1, "one image");
  CheckImage(report.images[0], image);
  if (status != ChainStatus::kComplete) {
    Require(report.threads.empty() && report.thread_notes.size() == 2, "failures are notes");
    return 0;
  }
  Require(report.threads.size() == 2, "two threads");
  Require(report.threads[0].number == number && report.threads[0].name == name, "thread");
  for (size_t i = 0; i < frames.size(); ++i) {
    Require(report.threads[0].frames.size() == frames.size(), "thread's frames");
    CheckFrame(*report.threads[0].frames[i], frames[i]);
    CheckFrame(*report.crash_frames[i], frames[i]);
  }
  return 0;
}
