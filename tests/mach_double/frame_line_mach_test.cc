// The columns of macOS's `backtrace_symbols`.
#include <gtest/gtest.h>

#include <string>

#include "media_core/biz_engine/crash_handler/report/frame_line.h"

namespace CrashHandler::machine {
namespace {

std::string Line(size_t index, uintptr_t address, const SymbolInformation& record) {
  TextBuffer text;
  AppendFrameLine(index, address, record, &text);
  return std::string(text.data(), text.size());
}

TEST(FrameLineOnMach, ANamedFrame) {
  const SymbolInformation record = {"/usr/lib/libx.dylib", reinterpret_cast<void*>(0x10000),
                                    "start", reinterpret_cast<void*>(0x10100)};
  EXPECT_EQ(Line(3, 0x10101, record),
            "3   libx.dylib                          0x0000000000010101 start + 1");
}

TEST(FrameLineOnMach, AFrameWithoutASymbolIsCountedFromItsImage) {
  const SymbolInformation record = {"libx.dylib", reinterpret_cast<void*>(0x10000), nullptr,
                                    nullptr};
  EXPECT_EQ(Line(12, 0x10101, record),
            "12  libx.dylib                          0x0000000000010101 0x10000 + 257");
}

TEST(FrameLineOnMach, AFrameOutsideEveryImage) {
  EXPECT_EQ(Line(0, 0x10101, {}),
            "0   ???                                 0x0000000000010101 0x0 + 65793");
}

}  // namespace
}  // namespace CrashHandler::machine
