#include "oru_report/symbols/parallel_lookup.h"

#include <algorithm>
#include <system_error>
#include <thread>

namespace oru_report {
namespace {

// More hardly helps: the files are read from one memory.
constexpr size_t kMostThreads = 8;
// Some MB each.
constexpr size_t kMostUnits = 32;

using Open = std::function<std::unique_ptr<DebugInfo>()>;
using At = std::vector<uint64_t>::const_iterator;

// Neighbours are of one unit, which is so read once.
void LookUp(const Open& open, At from, At end, FramesByAddress* found) {
  std::unique_ptr<DebugInfo> info;
  for (At at = from; at != end; ++at) {
    if (info != nullptr && info->units_read() > kMostUnits) info = nullptr;
    if (info == nullptr) info = open();
    if (info == nullptr) return;
    (*found)[*at] = info->Find(*at);
  }
}

}  // namespace

FramesByAddress LookUpAll(const Open& open, const std::vector<uint64_t>& addresses) {
  const size_t count = std::clamp<size_t>(std::thread::hardware_concurrency(), 1, kMostThreads);
  std::vector<FramesByAddress> found(count);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < count; ++i) {
    const auto place = [&](size_t part) {
      return addresses.begin() + static_cast<std::ptrdiff_t>(addresses.size() * part / count);
    };
    const auto work = [&open, from = place(i), end = place(i + 1), result = &found[i]] {
      LookUp(open, from, end, result);
    };
    try {
      threads.emplace_back(work);
    } catch (const std::system_error&) {
      work();
    }
  }
  for (std::thread& thread : threads) thread.join();
  for (size_t i = 1; i < count; ++i) found[0].merge(found[i]);
  return std::move(found[0]);
}

}  // namespace oru_report
