// HTML and XML entities and the UTF-8 below them.
#include "fuzz/fuzz_support.h"
#include "media_core/common/webrtc/rtc_base/string_encode.h"

using oru_fuzz::CheckBoth;
using oru_fuzz::Require;

namespace {

void CheckUtf8(const std::string& source, size_t capacity) {
  unsigned long code = 0;
  unsigned long expected = 0;
  const size_t length = rtc::utf8_decode(source.data(), source.size(), &code);
  Require(length == oru_test::Utf8Length(source, &expected), "utf8_decode length");
  Require(code == expected, "utf8_decode value");

  // Any number, not only those that decoding yields.
  unsigned long number = 0;
  for (size_t i = 0; i < source.size() && i < 3; ++i) {
    number = number << 8 | static_cast<unsigned char>(source[i]);
  }
  const std::string form = oru_test::Utf8Of(number);
  oru_test::GuardedBuffer buffer(capacity % 6);
  const size_t written = rtc::utf8_encode(buffer.data(), buffer.capacity(), number);
  Require(buffer.Intact(), "utf8_encode stays inside");
  if (form.empty() || form.size() > buffer.capacity()) {
    Require(written == 0 && buffer.Untouched(), "utf8_encode refuses");
    return;
  }
  Require(buffer.Text(written) == form, "utf8_encode");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const size_t capacity = input.Size();
  const std::string source = input.Rest();

  CheckUtf8(source, capacity);
  CheckBoth(rtc::html_encode, oru_test::HtmlEncodeUnits(source), source, capacity, "html_encode");
  CheckBoth(rtc::html_decode, oru_test::XmlDecodeUnits(source), source, capacity, "html_decode");
  CheckBoth(rtc::xml_decode, oru_test::XmlDecodeUnits(source), source, capacity, "xml_decode");
  const std::string encoded =
      CheckBoth(rtc::xml_encode, oru_test::XmlEncodeUnits(source), source, capacity, "xml_encode");
  const std::string decoded = CheckBoth(rtc::xml_decode, oru_test::XmlDecodeUnits(encoded), encoded,
                                        capacity, "xml_decode of encoded");
  Require(decoded == source, "xml_decode undoes xml_encode");
  return 0;
}
