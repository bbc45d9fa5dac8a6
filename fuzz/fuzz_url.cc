// url_encode, url_decode and the transforms over them.
#include "fuzz/fuzz_support.h"
#include "media_core/common/webrtc/rtc_base/string_encode.h"

using oru_fuzz::CheckBoth;
using oru_fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const size_t capacity = input.Size();
  const std::string source = input.Rest();

  const std::string encoded =
      CheckBoth(rtc::url_encode, oru_test::UrlEncodeUnits(source), source, capacity, "url_encode");
  CheckBoth(rtc::url_decode, oru_test::UrlDecodeUnits(source), source, capacity, "url_decode");
  const std::string decoded = CheckBoth(rtc::url_decode, oru_test::UrlDecodeUnits(encoded), encoded,
                                        capacity, "url_decode of encoded");
  Require(decoded == source, "url_decode undoes url_encode");

  Require(rtc::s_transform(source, rtc::url_encode) == encoded, "s_transform");
  Require(rtc::url_encode(nullptr, capacity, source.data(), source.size()) > encoded.size(),
          "size asked for");
  std::string value = source;
  const size_t length = rtc::transform(value, capacity, value, rtc::url_encode);
  Require(length == value.size() && encoded.compare(0, length, value) == 0, "transform");
  return 0;
}
