#include "media_core/biz_engine/crash_handler/machine/image_list_text.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace CrashHandler::machine {

namespace {

void AppendUuid(const char* uuid, std::string* text) {
  for (; *uuid != '\0'; ++uuid) {
    if (*uuid == '-') continue;
    const bool upper = *uuid >= 'A' && *uuid <= 'Z';
    text->push_back(upper ? static_cast<char>(*uuid - 'A' + 'a') : *uuid);
  }
}

void AppendLine(void* context, const ImageListEntry& entry) {
  static_cast<std::string*>(context)->append(ImageLine(entry));
}

}  // namespace

std::string ImageLine(const ImageListEntry& entry) {
  // Two addresses of at most 18 characters each.
  char range[48];
  const char* format =
      entry.is_64_bit ? "%#18" PRIx64 " - %#18" PRIx64 " " : "%#10" PRIx64 " - %#10" PRIx64 " ";
  snprintf(range, sizeof(range), format, entry.start, entry.end);
  const char* path = entry.path == nullptr ? "" : entry.path;
  const char* slash = strrchr(path, '/');
  std::string line = range;
  line += slash == nullptr ? path : slash + 1;
  line += entry.is_64_bit ? " arm64  <" : " armv7  <";
  AppendUuid(entry.uuid == nullptr ? "" : entry.uuid, &line);
  line += "> ";
  line += path;
  line += '\n';
  return line;
}

std::string ImageListText() {
  std::string text;
  VisitImages(&AppendLine, &text);
  return text;
}

}  // namespace CrashHandler::machine
