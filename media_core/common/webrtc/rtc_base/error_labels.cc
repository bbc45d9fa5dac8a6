#include "media_core/common/webrtc/rtc_base/error_labels.h"

#include <cstdio>

namespace rtc {

const char* FindLabel(int value, const ConstantLabel* table) {
  if (table == nullptr) {
    return nullptr;
  }
  for (const ConstantLabel* row = table; row->label != nullptr; ++row) {
    if (row->value == value) {
      return row->label;
    }
  }
  return nullptr;
}

std::string ErrorName(int err, const ConstantLabel* table) {
  if (err == 0) {
    return "No error";
  }
  if (const char* const label = FindLabel(err, table)) {
    return label;
  }
  char number[16];
  snprintf(number, sizeof(number), "0x%08x", static_cast<unsigned int>(err));
  return number;
}

}  // namespace rtc
