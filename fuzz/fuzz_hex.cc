// Hexadecimal with and without delimiters.
#include "fuzz/fuzz_support.h"
#include "media_core/common/webrtc/rtc_base/string_encode.h"

using oru_fuzz::Require;
using oru_test::GuardedBuffer;

namespace {

void CheckEncode(const std::string& source, size_t capacity, char delimiter) {
  const std::string expected = oru_test::HexOf(source, delimiter);
  Require(rtc::hex_encode_with_delimiter(source.data(), source.size(), delimiter) == expected,
          "hex string");
  GuardedBuffer buffer(capacity % (expected.size() + 3));
  const size_t length = rtc::hex_encode_with_delimiter(buffer.data(), buffer.capacity(),
                                                       source.data(), source.size(), delimiter);
  Require(buffer.Intact(), "hex_encode stays inside");
  if (buffer.capacity() <= expected.size()) {
    Require(length == 0 && buffer.Untouched(), "hex_encode refuses");
    return;
  }
  Require(buffer.Text(length) == expected && buffer.data()[length] == '\0', "hex_encode");
}

void CheckDecode(const std::string& source, size_t capacity, char delimiter) {
  std::string expected;
  const bool good = oru_test::BytesOfHex(source, delimiter, &expected);
  GuardedBuffer buffer(capacity % (source.size() + 2));
  const size_t length =
      rtc::hex_decode_with_delimiter(buffer.data(), buffer.capacity(), source, delimiter);
  Require(buffer.Intact(), "hex_decode stays inside");
  if (!good || expected.size() > buffer.capacity()) {
    Require(length == 0, "hex_decode refuses");
    return;
  }
  Require(buffer.Text(length) == expected, "hex_decode");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const size_t capacity = input.Size();
  const char delimiter = input.Char();
  const std::string source = input.Rest();
  for (const char between : {'\0', delimiter}) {
    CheckEncode(source, capacity, between);
    CheckDecode(source, capacity, between);
    const std::string text = oru_test::HexOf(source, between);
    CheckDecode(text, source.size(), between);
    std::string back(source.size(), '\0');
    const size_t length = rtc::hex_decode_with_delimiter(&back[0], back.size(), text, between);
    Require(length == source.size() && back == source, "hex_decode undoes hex_encode");
  }
  return 0;
}
