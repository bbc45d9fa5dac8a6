#include <dwarf.h>
#include <elfutils/libdw.h>
#include <elfutils/libdwfl.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>

#include "media_core/common/webrtc/rtc_base/string_encode.h"
#include "oru_report/source_lookup.h"

namespace oru_report {
namespace {

// The report keeps the first 16 bytes of the build id.
constexpr size_t kUuidBytes = 16;

std::string BuildIdText(Dwfl_Module* module) {
  const unsigned char* bits = nullptr;
  GElf_Addr address = 0;
  const int size = dwfl_module_build_id(module, &bits, &address);
  if (size <= 0) return "";
  const size_t kept = std::min(static_cast<size_t>(size), kUuidBytes);
  return rtc::hex_encode(reinterpret_cast<const char*>(bits), kept);
}

// The line record of an address. Only units listed in .debug_aranges are found by the module's own
// search, and clang writes no such table, so all units are asked in the end.
bool FindLine(Dwfl_Module* module, GElf_Addr address, SourcePlace* place) {
  if (Dwfl_Line* line = dwfl_module_getsrc(module, address)) {
    const char* file = dwfl_lineinfo(line, nullptr, &place->line, nullptr, nullptr, nullptr);
    if (file != nullptr) place->file = file;
    return file != nullptr;
  }
  Dwarf_Addr bias = 0;
  for (Dwarf_Die* unit = dwfl_module_nextcu(module, nullptr, &bias); unit != nullptr;
       unit = dwfl_module_nextcu(module, unit, &bias)) {
    if (dwarf_haspc(unit, address - bias) != 1) continue;
    Dwarf_Line* line = dwarf_getsrc_die(unit, address - bias);
    const char* file = line == nullptr ? nullptr : dwarf_linesrc(line, nullptr, nullptr);
    if (file == nullptr || dwarf_lineno(line, &place->line) != 0) continue;
    place->file = file;
    return true;
  }
  return false;
}

}  // namespace

struct SourceLookup::State {
  State(const Report& report_in, const std::string& debug_dirs)
      : report(report_in),
        debug_path(debug_dirs + (debug_dirs.empty() ? "" : ":") + ":.debug:/usr/lib/debug") {
    debug_path_text = debug_path.data();
    callbacks.find_elf = dwfl_build_id_find_elf;
    callbacks.find_debuginfo = dwfl_standard_find_debuginfo;
    callbacks.debuginfo_path = &debug_path_text;
    dwfl = dwfl_begin(&callbacks);
  }
  ~State() {
    if (dwfl != nullptr) dwfl_end(dwfl);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  // The image's file with its debug information, loaded where the report says; null when it is not
  // at hand.
  Dwfl_Module* ModuleOf(const Image& image) {
    const auto known = modules.find(image.start);
    if (known != modules.end()) return known->second;
    dwfl_report_begin_add(dwfl);
    Dwfl_Module* module =
        dwfl_report_elf(dwfl, image.name.c_str(), image.path.c_str(), -1, image.start, false);
    dwfl_report_end(dwfl, nullptr, nullptr);
    if (module != nullptr && BuildIdText(module) != image.uuid) module = nullptr;
    modules[image.start] = module;
    return module;
  }

  const Report& report;
  std::string debug_path;
  char* debug_path_text = nullptr;
  Dwfl_Callbacks callbacks{};
  Dwfl* dwfl = nullptr;
  std::map<uint64_t, Dwfl_Module*> modules;
};

SourceLookup::SourceLookup(const Report& report, const std::string& debug_dirs)
    : state_(new State(report, debug_dirs)) {}

SourceLookup::~SourceLookup() = default;

bool SourceLookup::Find(uint64_t address, bool is_return_address, SourcePlace* place) {
  *place = SourcePlace();
  if (state_->dwfl == nullptr || address == 0) return false;
  const GElf_Addr wanted = is_return_address ? address - 1 : address;
  const Image* image = state_->report.ImageOf(wanted);
  if (image == nullptr) return false;
  Dwfl_Module* module = state_->ModuleOf(*image);
  if (module == nullptr) return false;
  if (const char* name = dwfl_module_addrname(module, wanted)) place->function = name;
  return FindLine(module, wanted, place) || !place->function.empty();
}

}  // namespace oru_report
