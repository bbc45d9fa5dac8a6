// Lines of the image list.
#include <iomanip>
#include <sstream>

#include "fuzz/fuzz_support.h"
#include "media_core/biz_engine/crash_handler/report/image_list_text.h"

using oru_fuzz::Require;

namespace {

uint64_t Number(oru_fuzz::Input* input) {
  uint64_t value = 0;
  for (int left = input->Byte() % 9; left > 0; --left) value = value << 8 | input->Byte();
  return value;
}

std::string Hexadecimal(uint64_t value, int width) {
  std::ostringstream text;
  text << std::hex << value;
  std::ostringstream padded;
  padded << std::right << std::setw(width) << (value == 0 ? "" : "0x") + text.str();
  return padded.str();
}

std::string WithoutDashes(const std::string& uuid) {
  std::string text;
  for (const char ch : uuid) {
    if (ch >= 'A' && ch <= 'Z') text += static_cast<char>(ch + 32);
    if (ch != '-' && (ch < 'A' || ch > 'Z')) text += ch;
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const uint8_t bits = input.Byte();
  const bool wide = (bits & 1) != 0;
  const uint64_t start = Number(&input);
  const uint64_t end = Number(&input);
  std::string uuid = input.Text(bits >> 2);
  std::string path = input.Rest();
  uuid.resize(std::min(uuid.size(), uuid.find('\0')));
  path.resize(std::min(path.size(), path.find('\0')));
  const bool no_path = (bits & 2) != 0 && path.empty();
  const bool no_uuid = (bits & 2) != 0 && uuid.empty();

  const std::string line = CrashHandler::machine::ImageLine(
      {start, end, wide, no_uuid ? nullptr : uuid.c_str(), no_path ? nullptr : path.c_str()});
  const int width = wide ? 18 : 10;
  const std::string name = path.substr(path.rfind('/') + 1);
  Require(line == Hexadecimal(start, width) + " - " + Hexadecimal(end, width) + "  " + name +
                      (wide ? " arm64  <" : " armv7  <") + WithoutDashes(uuid) + "> " + path + "\n",
          "a line");
  return 0;
}
