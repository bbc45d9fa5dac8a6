#include "oru_report/report_model.h"

#include <algorithm>
#include <cstdlib>

namespace oru_report {

std::string Report::HeaderValue(const std::string& label) const {
  for (const auto& [name, value] : header) {
    if (name == label) return value;
  }
  return "";
}

const Thread* Report::CrashThread() const {
  const std::string number = HeaderValue("Crash Thread");
  // The header prints the number signed, the blocks unsigned.
  const auto wanted = static_cast<uint32_t>(strtoll(number.c_str(), nullptr, 10));
  const auto found = std::find_if(threads.begin(), threads.end(),
                                  [&](const Thread& thread) { return thread.number == wanted; });
  return number.empty() || found == threads.end() ? nullptr : &*found;
}

const Image* Report::ImageOf(uint64_t address) const {
  const auto found = std::find_if(images.begin(), images.end(), [&](const Image& image) {
    return image.start <= address && address <= image.end;
  });
  return found == images.end() ? nullptr : &*found;
}

}  // namespace oru_report
