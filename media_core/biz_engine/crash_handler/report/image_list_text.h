// The text of a report's image list.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_IMAGE_LIST_TEXT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_IMAGE_LIST_TEXT_H_

#include <string>

#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"

namespace CrashHandler::machine {

// One line with its newline: "START - END  NAME ARCH  <UUID> PATH". The addresses are right-aligned
// hexadecimal with "0x", 18 characters wide for a 64-bit image and 10 for a 32-bit one. NAME is the
// path's last component; ARCH is "arm64" or "armv7" after the image's width alone, whatever the
// processor is. The UUID is in lower case without "-". Paths are bytes as the loader gave them.
std::string ImageLine(const ImageListEntry& entry);

// The lines of all loaded images, in the loader's order. Allocates, and raises std::bad_alloc
// rather than leave one out.
std::string ImageListText();

// The same; may run in a signal handler.
void AppendImageList(TextBuffer* text);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_IMAGE_LIST_TEXT_H_
