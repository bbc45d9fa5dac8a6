#include "media_core/biz_engine/crash_handler/report/frame_line.h"

#include <execinfo.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

extern "C" __attribute__((visibility("default"))) int FrameLineTestFunction() { return 1; }

namespace CrashHandler::machine {
namespace {

std::string Line(uintptr_t address, const SymbolInformation& record) {
  TextBuffer text;
  AppendFrameLine(3, address, record, &text);
  return std::string(text.data(), text.size());
}

std::string SystemLine(uintptr_t address) {
  void* frame = reinterpret_cast<void*>(address);
  char** lines = backtrace_symbols(&frame, 1);
  std::string line = lines[0];
  free(lines);
  return line;
}

TEST(FrameLineTest, ANamedFrameIsAsTheSystemPrintsIt) {
  const auto address = reinterpret_cast<uintptr_t>(&FrameLineTestFunction) + 1;
  Symbolizer symbolizer;
  SymbolInformation record;
  ASSERT_TRUE(symbolizer.ResolveOne(address, &record));
  std::string wanted = SystemLine(address);
  // The system has the program's name as it was called.
  wanted.replace(0, wanted.find('('), record.dli_fname);
  EXPECT_EQ(Line(address, record), wanted);
}

TEST(FrameLineTest, AFrameWithoutASymbolIsCountedFromItsImage) {
  const SymbolInformation record = {"/lib/x.so", reinterpret_cast<void*>(0x10000), nullptr,
                                    nullptr};
  EXPECT_EQ(Line(0x10123, record), "/lib/x.so(+0x123) [0x10123]");
}

TEST(FrameLineTest, AFrameOutsideEveryImageIsItsAddress) {
  EXPECT_EQ(Line(0x5a5a5a5a5a5a, {}), SystemLine(0x5a5a5a5a5a5a));
}

// Nothing outside this file sees it.
__attribute__((noinline)) int SeenByNobody(int x) { return x * 5; }

TEST(FrameLinesTest, AHiddenFunctionIsNamedFromTheFilesSymbolTable) {
  volatile int sink = SeenByNobody(1);
  EXPECT_EQ(sink, 5);
  void* const start = reinterpret_cast<void*>(&SeenByNobody);
  void* const frames[] = {static_cast<char*>(start) + 2, start};
  const FrameLines lines(frames, 2, start);
  ASSERT_EQ(lines.size(), 2U);
  TextBuffer text;
  lines.Append(0, &text);
  text.Append('\n');
  lines.Append(1, &text);
  lines.Append(2, &text);
  const std::string both(text.data(), text.size());
  EXPECT_NE(both.find("SeenByNobody"), both.rfind("SeenByNobody")) << both;
}

TEST(FrameLinesTest, AReturnAddressAtAFunctionsStartBelongsToTheOneBefore) {
  void* const start = reinterpret_cast<void*>(&SeenByNobody);
  const FrameLines lines(&start, 1, nullptr);
  TextBuffer text;
  lines.Append(0, &text);
  EXPECT_EQ(std::string(text.data(), text.size()).find("SeenByNobody"), std::string::npos);
}

}  // namespace
}  // namespace CrashHandler::machine
