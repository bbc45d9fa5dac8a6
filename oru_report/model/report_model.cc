#include "oru_report/model/report_model.h"

#include <algorithm>
#include <cstdlib>

namespace oru_report {

std::string_view Report::HeaderValue(std::string_view label) const {
  for (const auto& [name, value] : header) {
    if (name == label) return value;
  }
  return {};
}

const Thread* Report::CrashThread() const {
  const std::string number(HeaderValue("Crash Thread"));
  // The header prints the number signed, the blocks unsigned.
  const auto wanted = static_cast<uint32_t>(strtoll(number.c_str(), nullptr, 10));
  const auto found = std::find_if(threads.begin(), threads.end(),
                                  [&](const Thread& thread) { return thread.number == wanted; });
  return number.empty() || found == threads.end() ? nullptr : &*found;
}

const Image* Report::ImageOf(uint64_t address) const {
  const auto behind = std::upper_bound(
      images_by_start.begin(), images_by_start.end(), address,
      [&](uint64_t wanted, uint32_t index) { return wanted < images[index].start; });
  if (behind == images_by_start.begin()) return nullptr;
  const Image& image = images[*(behind - 1)];
  return address <= image.end ? &image : nullptr;
}

}  // namespace oru_report
