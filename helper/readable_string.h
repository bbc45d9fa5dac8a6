// Readable text as a Foundation string.
#ifndef HELPER_READABLE_STRING_H_
#define HELPER_READABLE_STRING_H_

#import <Foundation/Foundation.h>

#include <string>

// ReadableText(text) as an autoreleased string: never nil, whatever the bytes; a byte order mark at
// the start is text like any other.
NSString *ReadableString(const char *text);

// The way back, for any string: UTF-8 with U+FFFD for half a surrogate pair and "\x00" for U+0000;
// "(null)" for nil.
std::string Utf8Text(NSString *text);

#endif  // HELPER_READABLE_STRING_H_
