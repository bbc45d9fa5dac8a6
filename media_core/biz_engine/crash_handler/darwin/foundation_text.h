// Text between Foundation and bytes. For Objective-C++ files.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FOUNDATION_TEXT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FOUNDATION_TEXT_H_

#import <Foundation/Foundation.h>

#include <cstddef>
#include <string>

namespace CrashHandler {

// An autoreleased string of UTF-8 bytes; a byte that belongs to no character is taken as Latin-1,
// so that a path or a name in another encoding is never lost. Never nil.
NSString* TextFromBytes(const char* bytes, size_t length);
NSString* TextFromBytes(const std::string& bytes);

// The text as UTF-8, "" for nil. Half a surrogate pair, for which there is no UTF-8, becomes
// U+FFFD: Foundation's own conversions give nothing then, or raise.
std::string BytesOfText(NSString* text);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DARWIN_FOUNDATION_TEXT_H_
