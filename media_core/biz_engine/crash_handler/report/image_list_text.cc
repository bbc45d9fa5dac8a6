#include "media_core/biz_engine/crash_handler/report/image_list_text.h"

#include <cstdint>

#include "media_core/biz_engine/crash_handler/report/last_path_entry.h"

namespace CrashHandler::machine {

namespace {

void AppendUuid(const char* uuid, TextBuffer* text) {
  for (; *uuid != '\0'; ++uuid) {
    if (*uuid == '-') continue;
    const bool upper = *uuid >= 'A' && *uuid <= 'Z';
    text->Append(upper ? static_cast<char>(*uuid - 'A' + 'a') : *uuid);
  }
}

// As printf's "%#18llx" with the column's width: right-aligned, and no prefix for 0.
void AppendAddress(uint64_t address, size_t column, TextBuffer* text) {
  size_t digits = 1;
  while (digits < 16 && address >> (4 * digits) != 0) ++digits;
  const size_t length = address == 0 ? 1 : digits + 2;
  if (length < column) text->AppendBlanks(column - length);
  if (address != 0) text->Append("0x");
  text->AppendNumber(address, 16);
}

void AppendLine(const ImageListEntry& entry, TextBuffer* text) {
  const size_t column = entry.is_64_bit ? 18 : 10;
  AppendAddress(entry.start, column, text);
  text->Append(" - ");
  AppendAddress(entry.end, column, text);
  text->Append("  ");
  const char* path = entry.path == nullptr ? "" : entry.path;
  text->Append(lastPathEntry(path));
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
