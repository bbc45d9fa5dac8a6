// escape, unescape, encode, decode and the file name characters.
#include "fuzz/fuzz_support.h"
#include "media_core/common/webrtc/rtc_base/string_encode.h"

using oru_fuzz::CheckBoth;
using oru_fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const size_t capacity = input.Size();
  const char escape = input.Char();
  // A terminated string, as the functions take it.
  std::string illegal = input.Text(input.Byte() % 8);
  illegal = illegal.substr(0, illegal.find('\0'));
  const std::string source = input.Rest();

  const std::string escaped =
      CheckBoth([&](char* b, size_t bl, const char* s,
                    size_t sl) { return rtc::escape(b, bl, s, sl, illegal.c_str(), escape); },
                oru_test::EscapeUnits(source, illegal, escape), source, capacity, "escape");
  const auto unescape = [&](char* b, size_t bl, const char* s, size_t sl) {
    return rtc::unescape(b, bl, s, sl, escape);
  };
  CheckBoth(unescape, oru_test::UnescapeUnits(source, escape), source, capacity, "unescape");
  const std::string unescaped = CheckBoth(unescape, oru_test::UnescapeUnits(escaped, escape),
                                          escaped, capacity, "unescape of escaped");
  Require(unescaped == source, "unescape undoes escape");

  const std::string encoded =
      CheckBoth([&](char* b, size_t bl, const char* s,
                    size_t sl) { return rtc::encode(b, bl, s, sl, illegal.c_str(), escape); },
                oru_test::EncodeUnits(source, illegal, escape), source, capacity, "encode");
  const auto decode = [&](char* b, size_t bl, const char* s, size_t sl) {
    return rtc::decode(b, bl, s, sl, escape);
  };
  CheckBoth(decode, oru_test::DecodeUnits(source, escape, false), source, capacity, "decode");
  const std::string decoded = CheckBoth(decode, oru_test::DecodeUnits(encoded, escape, false),
                                        encoded, capacity, "decode of encoded");
  Require(decoded == source, "decode undoes encode");

  for (const char ch : source) {
    const char safe = rtc::make_char_safe_for_filename(ch);
    Require(safe == ch || safe == '_', "file name character");
  }
  return 0;
}
