// What is known about a frame, from the report and from symbols.
#ifndef ORU_REPORT_ANALYSIS_RESOLVER_H_
#define ORU_REPORT_ANALYSIS_RESOLVER_H_

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "oru_report/analysis/frame_mark.h"
#include "oru_report/model/report_model.h"
#include "oru_report/symbols/symbol_store.h"

namespace oru_report {

struct ResolvedFrame {
  Mark mark = Mark::kUnknown;
  // As stored (mangled), and readable; both empty when nobody knows it.
  std::string symbol;
  std::string function;
  // Distance from the symbol's start, for names that the report itself gave.
  uint64_t offset = 0;
  bool has_offset = false;
  // The image that holds the address, or null, and the distance from its start.
  const Image* image = nullptr;
  uint64_t image_offset = 0;
  // Empty when unknown. The file's path without detours.
  std::string file;
  int line = 0;
  // Readable functions that were inlined here, innermost first, each with its own place.
  std::vector<SourceFrame> inlined;
};

// Not for use from two threads at once.
class Resolver {
 public:
  // Both must outlive the object; `symbols` may be null.
  Resolver(const Report& report, SymbolStore* symbols);

  // Looks all frames up in advance: before all of a report is shown.
  void Prepare();

  // `is_return_address`: the place of the call before it is meant, as for every frame of a thread
  // but its first. The result stays until the next call.
  const ResolvedFrame& Resolve(const Frame& frame, bool is_return_address);

  // "OruRTC::Engine::join(int)", the image and the distance for a nameless frame, or the line of a
  // frame of no known form.
  std::string NameOf(const Frame& frame, bool is_return_address);

  // "engine.cc:42", or empty. The innermost inlined function's when there is one.
  static std::string PlaceOf(const ResolvedFrame& frame);

  const Report& report() const { return report_; }
  SymbolStore* symbols() const { return symbols_; }

 private:
  void Fill(const Frame& frame, bool is_return_address, ResolvedFrame* resolved);
  // The report's name of the address: the frame's own, or that of the thread blocks, which know
  // local functions too. Null when there is none.
  const Frame* NamedFrame(const Frame& frame) const;

  const Report& report_;
  SymbolStore* symbols_;
  std::unordered_map<uint64_t, const Frame*> names_;
  // By frame; the lowest bit tells return addresses.
  std::unordered_map<uintptr_t, ResolvedFrame> known_;
};

// "image + 0x12", what symbolising tools ask for; "?" outside all images.
std::string OffsetName(const ResolvedFrame& frame);

}  // namespace oru_report

#endif  // ORU_REPORT_ANALYSIS_RESOLVER_H_
