#include "oru_report/text/demangle.h"

#include <cxxabi.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>

namespace oru_report {
namespace {

// Of two hundred thousand names in a browser's, a compiler's and the system's libraries the longest
// has 1042 bytes and reads as 6 KiB; fourteen are estimated too long.
constexpr size_t kMaxMangled = 4 * 1024;
// A report of such names must not become many times as long when it is shown.
size_t MaxReadable(const std::string& symbol) { return 2048 + 8 * symbol.size(); }
constexpr uint64_t kMaxEstimate = 4 * 1024 * 1024;

// Length of the reference at `at` to an earlier part of the name ("S_", "S1A_", "T_"), or 0.
size_t ReferenceLength(const std::string& symbol, size_t at) {
  if (symbol[at] != 'S' && symbol[at] != 'T') return 0;
  const size_t end = symbol.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ", at + 1);
  return end != std::string::npos && symbol[end] == '_' ? end + 1 - at : 0;
}

// Whether at `at` a pack begins that repeats more than its elements ("DpRKT_" does not).
bool RepeatsPattern(const std::string& symbol, size_t at) {
  if (symbol.compare(at, 2, "Dp") != 0) return false;
  const size_t pattern = symbol.find_first_not_of("KOPRV", at + 2);
  return pattern != std::string::npos && symbol[pattern] != 'T';
}

// Roughly how long the readable form can become, too high rather than too low: what a reference
// stands for is no longer than all before its first use, and a pack repeats what stands behind it
// for each of its elements.
uint64_t EstimateLength(const std::string& symbol) {
  std::map<std::string, uint64_t> parts;
  uint64_t length = 0;
  for (size_t at = 0; at < symbol.size() && length < kMaxEstimate;) {
    const size_t reference = ReferenceLength(symbol, at);
    if (reference != 0) {
      length += parts.emplace(symbol.substr(at, reference), length).first->second;
      at += reference;
    } else {
      length = RepeatsPattern(symbol, at) ? length * symbol.size() : length + 1;
      ++at;
    }
  }
  return length;
}

}  // namespace

std::string Demangle(const std::string& symbol) {
  // Mach-O tools strip one leading underscore of a name; the mangling itself begins with "_Z".
  if (symbol.compare(0, 2, "_Z") != 0 || symbol.size() > kMaxMangled) return symbol;
  if (EstimateLength(symbol) >= kMaxEstimate) return symbol;
  int status = 0;
  const std::unique_ptr<char, decltype(&free)> readable(
      abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status), &free);
  if (status != 0 || readable == nullptr) return symbol;
  std::string text = readable.get();
  return text.size() <= MaxReadable(symbol) ? text : symbol;
}

}  // namespace oru_report
