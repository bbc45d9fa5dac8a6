#include "oru_report/analysis/doctor.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <functional>
#include <set>
#include <string_view>

#include "media_core/biz_engine/crash_handler/report/report_verdicts.h"
#include "media_core/biz_engine/crash_handler/report/report_words.h"
#include "oru_report/analysis/frame_mark.h"
#include "oru_report/input/safe_open.h"
#include "oru_report/model/line_text.h"
#include "oru_report/symbols/mapped_file.h"
#include "oru_report/symbols/needed_libraries.h"
#include "oru_report/symbols/symbol_table.h"
#include "oru_report/text/demangle.h"
#include "oru_report/text/path_text.h"

namespace oru_report {
namespace {

// A program as its file shows it.
struct Program {
  std::string path;
  BinaryKind kind = BinaryKind::kElf;
  std::vector<Symbol> functions;
  std::vector<std::string> libraries;
};

// The image as a frame's line shows it: on a Mac without its folders.
std::string ShownImage(const Program& program) {
  const bool mac = program.kind == BinaryKind::kMachO;
  return mac ? std::string(LastPathEntry(program.path)) : program.path;
}

size_t CountNames(const Program& program, const std::function<bool(const Symbol&)>& counts) {
  std::set<std::string_view> names;
  for (const Symbol& symbol : program.functions) {
    if (counts(symbol)) names.insert(symbol.name);
  }
  return names.size();
}

// A crash sees every name that is in the file: on Linux stripping leaves the exported ones alone,
// on a Mac it leaves the external ones.
Finding Names(const Program& program) {
  const size_t all = CountNames(program, [](const Symbol&) { return true; });
  const size_t lasting = CountNames(program, [](const Symbol& symbol) { return symbol.exported; });
  // A few names are exported by every program and library; main() is of those that are not.
  constexpr size_t kFew = 8;
  const auto has_main = [&](bool exported) {
    return CountNames(program, [&](const Symbol& symbol) {
             return symbol.name == "main" && (symbol.exported || !exported);
           }) != 0;
  };
  const std::string how = program.kind == BinaryKind::kElf
                              ? "link with -rdynamic (in CMake ENABLE_EXPORTS)"
                              : "strip with -x, which leaves the external names";
  std::string text = "a crash can see the names of " + std::to_string(all) + " functions";
  if (all <= kFew && !has_main(false))
    return {"names", false, text + ": the file is stripped; " + how};
  text += ", those of " + std::to_string(lasting) + " also when the file is stripped";
  if (lasting <= kFew && !has_main(true)) text += "; for more " + how;
  return {"names", true, text};
}

Finding FilterWord(const Program& program) {
  if (HasFilterWord(ShownImage(program))) {
    return {"filter word", true,
            "OruRTC stands in the image's path: every crash of the program counts as the SDK's"};
  }
  const size_t named =
      CountNames(program, [](const Symbol& symbol) { return HasFilterWord(symbol.name); });
  if (named > 0) {
    return {"filter word", true,
            "OruRTC stands in the names of " + std::to_string(named) +
                " functions: crashes below them are reported"};
  }
  for (const std::string& library : program.libraries) {
    if (!HasFilterWord(library)) continue;
    return {"filter word", true,
            "linked with " + library + ": crashes in it, and below it, are reported"};
  }
  return {
      "filter word", false,
      "OruRTC stands neither in the path nor in a name that is in the file nor in that of a linked "
      "library: no crash is reported, unless a library loaded later has it"};
}

Finding Function(const Program& program, const std::string& wanted) {
  const auto is_wanted = [&](const Symbol& symbol) {
    if (symbol.name == wanted) return true;
    const std::string readable = Demangle(std::string(symbol.name));
    return readable == wanted || readable.substr(0, readable.find('(')) == wanted;
  };
  const auto found = std::find_if(program.functions.begin(), program.functions.end(), is_wanted);
  if (found == program.functions.end()) {
    const CrashHandler::Verdict by_path =
        CrashHandler::JudgeFunction({wanted, "", ShownImage(program)});
    return {"function", by_path.good,
            "no function in the file is called " + wanted + ", or it was stripped of its name; " +
                by_path.text};
  }
  const CrashHandler::Verdict verdict =
      CrashHandler::JudgeFunction({wanted, std::string(found->name), ShownImage(program)});
  return {"function", verdict.good, verdict.text};
}

Finding DumpFolder(const std::string& folder) {
  if (folder.empty() && getenv("HOME") == nullptr) {
    return {"dump folder", false, "HOME is not set, and no folder was given"};
  }
  const CrashHandler::Verdict verdict =
      CrashHandler::JudgeDumpFolder(folder.empty() ? CrashHandler::DefaultDumpDir() : folder);
  return {"dump folder", verdict.good, verdict.text};
}

bool ReadProgram(const std::string& path, Program* program, std::vector<Finding>* findings,
                 const std::string& function, std::string* error) {
  struct stat status = {};
  // Opening a pipe would wait for who writes into it.
  const bool other = stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
  if (other) *error = "it is no regular file";
  const int descriptor = other ? -1 : OpenNamedFile(path, error);
  if (descriptor < 0) {
    *error = path + ": " + *error;
    return false;
  }
  const MappedFile file(descriptor);
  std::vector<BinarySlice> slices = ReadBinarySlices(descriptor);
  close(descriptor);
  if (slices.empty()) {
    *error = path + ": it is no program or library with a build id or UUID";
    return false;
  }
  char real[PATH_MAX];
  program->path = realpath(path.c_str(), real) != nullptr ? real : path;
  program->kind = slices[0].kind;
  const SymbolTable table(file.bytes(), slices[0]);
  program->functions = table.symbols();
  program->libraries = NeededLibraries(file.bytes(), slices[0]);
  findings->push_back(Names(*program));
  findings->push_back(FilterWord(*program));
  if (!function.empty()) findings->push_back(Function(*program, function));
  return true;
}

}  // namespace

bool ExamineProgram(const std::string& path, const std::string& function,
                    const std::string& dump_dir, std::vector<Finding>* findings,
                    std::string* error) {
  Program program;
  if (!ReadProgram(path, &program, findings, function, error)) return false;
  findings->push_back(DumpFolder(dump_dir));
  const CrashHandler::Verdict descriptors = CrashHandler::JudgeDescriptors();
  findings->push_back({"descriptors", descriptors.good, descriptors.text});
  findings->push_back({"at run time", true,
                       "alternate stacks and other handlers show in the running program alone: "
                       "CrashHandler::ExamineCrashCapture() tells"});
  return true;
}

}  // namespace oru_report
