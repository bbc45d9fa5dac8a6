#include "media_core/biz_engine/crash_handler/report/image_list_text.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace CrashHandler::machine {

namespace {

void AppendUuid(const char* uuid, TextBuffer* text) {
  for (; *uuid != '\0'; ++uuid) {
    if (*uuid == '-') continue;
    const bool upper = *uuid >= 'A' && *uuid <= 'Z';
    text->Append(upper ? static_cast<char>(*uuid - 'A' + 'a') : *uuid);
  }
}

void AppendLine(const ImageListEntry& entry, TextBuffer* text) {
  // Two addresses of at most 18 characters each.
  char range[48];
  const char* format =
      entry.is_64_bit ? "%#18" PRIx64 " - %#18" PRIx64 "  " : "%#10" PRIx64 " - %#10" PRIx64 "  ";
  snprintf(range, sizeof(range), format, entry.start, entry.end);
  const char* path = entry.path == nullptr ? "" : entry.path;
  const char* slash = strrchr(path, '/');
  text->Append(range);
  text->Append(slash == nullptr ? path : slash + 1);
  text->Append(entry.is_64_bit ? " arm64  <" : " armv7  <");
  AppendUuid(entry.uuid == nullptr ? "" : entry.uuid, text);
  text->Append("> ");
  text->Append(path);
  text->Append('\n');
}

void VisitImage(void* context, const ImageListEntry& entry) {
  AppendLine(entry, static_cast<TextBuffer*>(context));
}

}  // namespace

std::string ImageLine(const ImageListEntry& entry) {
  TextBuffer line;
  AppendLine(entry, &line);
  return StringOf(line);
}

std::string ImageListText() {
  TextBuffer text;
  AppendImageList(&text);
  return StringOf(text);
}

void AppendImageList(TextBuffer* text) { VisitImages(&VisitImage, text); }

}  // namespace CrashHandler::machine
