// Looks many addresses of one file up, on several processors at once.
#ifndef ORU_REPORT_SYMBOLS_PARALLEL_LOOKUP_H_
#define ORU_REPORT_SYMBOLS_PARALLEL_LOOKUP_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "oru_report/symbols/debug_info.h"

namespace oru_report {

using FramesByAddress = std::unordered_map<uint64_t, std::vector<SourceFrame>>;

// `open` is called on several threads, and again and again: a reader keeps what it has read, and is
// let go when that becomes much. It may return null. `addresses` are sorted, each once.
FramesByAddress LookUpAll(const std::function<std::unique_ptr<DebugInfo>()>& open,
                          const std::vector<uint64_t>& addresses);

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_PARALLEL_LOOKUP_H_
