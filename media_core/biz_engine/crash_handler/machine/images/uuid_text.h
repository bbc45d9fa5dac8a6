// The text of an image's UUID.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_UUID_TEXT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_UUID_TEXT_H_

#include <cstddef>
#include <cstdint>

namespace CrashHandler::machine {

constexpr size_t kUuidSize = 16;

struct UuidText {
  char text[2 * kUuidSize + 5] = "";
};

// "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX" of kUuidSize bytes.
inline void FormatUuid(const uint8_t* bytes, UuidText* uuid) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  char* to = uuid->text;
  for (size_t i = 0; i < kUuidSize; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) *to++ = '-';
    *to++ = kDigits[bytes[i] >> 4];
    *to++ = kDigits[bytes[i] & 15];
  }
  *to = '\0';
}

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_UUID_TEXT_H_
