#include "oru_report/analysis/doctor.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

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

// On a Mac every name of the symbol table is seen, on Linux only exported ones.
bool IsSeen(const Program& program, const Symbol& symbol) {
  return symbol.exported || program.kind == BinaryKind::kMachO;
}

size_t CountSeen(const Program& program, bool with_word) {
  return static_cast<size_t>(
      std::count_if(program.functions.begin(), program.functions.end(), [&](const Symbol& symbol) {
        return IsSeen(program, symbol) && (!with_word || HasFilterWord(symbol.name));
      }));
}

Finding Names(const Program& program) {
  const size_t seen = CountSeen(program, false);
  // A few names are exported by every program; one that exports its own exports main().
  const auto seen_main = [&](const Symbol& symbol) {
    return symbol.name == "main" && IsSeen(program, symbol);
  };
  const bool is_program = std::any_of(program.functions.begin(), program.functions.end(),
                                      [](const Symbol& symbol) { return symbol.name == "main"; });
  const bool good = is_program
                        ? std::any_of(program.functions.begin(), program.functions.end(), seen_main)
                        : seen > 8;
  std::string text = std::to_string(seen) + " of " + std::to_string(program.functions.size()) +
                     " functions have a name that a crash can see";
  if (!good && program.kind == BinaryKind::kElf) {
    text += ": link with -rdynamic (in CMake ENABLE_EXPORTS)";
  } else if (!good) {
    text += ": the symbol table was stripped";
  }
  return {"names", good, text};
}

Finding FilterWord(const Program& program) {
  if (HasFilterWord(program.path)) {
    return {"filter word", true,
            "OruRTC stands in the path: every crash of the program counts as the SDK's"};
  }
  const size_t named = CountSeen(program, true);
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
  return {"filter word", false,
          "OruRTC stands neither in the path nor in a name that is seen nor in that of a linked "
          "library: no crash is reported, unless a library loaded later has it"};
}

Finding Function(const Program& program, const std::string& wanted) {
  const auto is_wanted = [&](const Symbol& symbol) {
    if (symbol.name == wanted) return true;
    const std::string readable = Demangle(std::string(symbol.name));
    return readable == wanted || readable.substr(0, readable.find('(')) == wanted;
  };
  const auto found = std::find_if(program.functions.begin(), program.functions.end(), is_wanted);
  const std::string crash = "a crash in " + wanted + " ";
  if (found == program.functions.end()) {
    return {"function", false, "there is no function " + wanted + " in the symbol table"};
  }
  if (HasFilterWord(program.path)) {
    return {"function", true, crash + "would be reported: OruRTC stands in the program's path"};
  }
  const bool seen = std::any_of(
      program.functions.begin(), program.functions.end(),
      [&](const Symbol& symbol) { return is_wanted(symbol) && IsSeen(program, symbol); });
  const std::string otherwise = ", unless one of its callers is the SDK's";
  if (!seen) {
    return {"function", false,
            crash + "would not be reported" + otherwise +
                ": it is not exported, so its name is not seen"};
  }
  if (HasFilterWord(found->name)) {
    return {"function", true, crash + "would be reported: its name has OruRTC, and is seen"};
  }
  return {"function", false,
          crash + "would not be reported" + otherwise + ": its name has no OruRTC in it"};
}

Finding DumpFolder(std::string folder) {
  if (folder.empty()) {
    const char* home = getenv("HOME");
    if (home == nullptr) return {"dump folder", false, "HOME is not set, and no folder was given"};
    folder = std::string(home) + "/Library/Caches/Oru_RTC_Crash";
  }
  struct stat status = {};
  if (stat(folder.c_str(), &status) == 0) {
    if (!S_ISDIR(status.st_mode)) return {"dump folder", false, folder + " is no folder"};
    if (access(folder.c_str(), W_OK | X_OK) == 0) {
      return {"dump folder", true, folder + " can be written"};
    }
    return {"dump folder", false, folder + " cannot be written: " + strerror(errno)};
  }
  // It is made when it is wanted, with what is missing above it.
  std::string above = folder;
  while (!above.empty() && above != "/" && stat(above.c_str(), &status) != 0) {
    above = std::string(FolderOf(above));
  }
  if (above.empty()) above = ".";
  const bool good = access(above.c_str(), W_OK | X_OK) == 0;
  return {"dump folder", good,
          folder + (good ? " can be made" : " cannot be made: " + std::string(strerror(errno)))};
}

bool ReadProgram(const std::string& path, Program* program, std::vector<Finding>* findings,
                 const std::string& function, std::string* error) {
  const int descriptor = OpenNamedFile(path, error);
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
  return true;
}

}  // namespace oru_report
