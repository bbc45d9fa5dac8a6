// Hashes, identifiers, UTC times and bytes of integers.
#include <cstdlib>
#include <ctime>

#include "fuzz/fuzz_support.h"
#include "tests/support/identifier_reference.h"
#include "utils/byte_utils.h"
#include "utils/random_utils.h"
#include "utils/time_utils.h"

using oru_fuzz::Require;
using oru_test::kIdentifierAlphabet;

namespace {

void CheckIdentifier(const std::string& key, uint8_t length) {
  const std::string identifier = tessik::utils::randomString(1, length, key);
  Require(identifier.size() == length, "identifier length");
  Require(identifier.find_first_not_of(kIdentifierAlphabet) == std::string::npos,
          "identifier alphabet");
  uint32_t hash = oru_test::ApHash(key.substr(0, key.find('\0')));
  Require(static_cast<uint32_t>(tessik::utils::APHash(key.c_str())) == hash, "APHash");
  for (size_t i = 0; i < length && hash != 0; ++i, hash /= 62) {
    Require(identifier[i] == kIdentifierAlphabet[hash % 62], "identifier begins with the hash");
  }
}

void CheckBytes(const std::string& text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  const auto length = static_cast<int32_t>(text.size());
  // Bit by bit: each bit of each byte lands eight places higher for each byte behind it.
  uint64_t expected = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const size_t place = (text.size() - 1 - i) * 8 % 64;
    expected |= static_cast<uint64_t>(bytes[i]) << place;
  }
  const int64_t value = tessik::utils::charArr2Long(bytes, length);
  Require(static_cast<uint64_t>(value) == expected, "charArr2Long");
  oru_test::GuardedBuffer buffer(8);
  auto* out = reinterpret_cast<unsigned char*>(buffer.data());
  Require(tessik::utils::long2CharArr(value, out, length), "long2CharArr");
  Require(buffer.Intact(), "long2CharArr stays inside");
  Require(tessik::utils::charArr2Long(out, 8) == value, "charArr2Long undoes long2CharArr");
}

void CheckTime(const std::string& text) {
  const int64_t moment = tessik::utils::ConvertUTCTimeStringToTime(text);
  if (text.size() < 19) {
    Require(moment == 0, "short time");
    return;
  }
  // What was read comes back for times in the usual form and range.
  const auto time = static_cast<std::time_t>(moment);
  std::tm fields = {};
  Require(gmtime_r(&time, &fields) != nullptr, "time in range");
  char form[96];
  std::snprintf(form, sizeof(form), "%04d-%02d-%02dT%02d:%02d:%02dZ", fields.tm_year + 1900,
                fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec);
  if (fields.tm_year + 1900 < 0 || fields.tm_year + 1900 > 9999) return;
  Require(tessik::utils::ConvertUTCTimeStringToTime(form) == moment, "time goes round");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  setenv("TZ", "UTC", 1);
  tzset();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const uint8_t length = input.Byte();
  const std::string text = input.Rest();
  CheckIdentifier(text, length % 64);
  CheckBytes(text);
  CheckTime(text);
  return 0;
}
