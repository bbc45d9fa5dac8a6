// Readable text as a Foundation string.
#ifndef HELPER_READABLE_STRING_H_
#define HELPER_READABLE_STRING_H_

#import <Foundation/Foundation.h>

// ReadableText(text) as an autoreleased string: never nil, whatever the bytes.
NSString *ReadableString(const char *text);

#endif  // HELPER_READABLE_STRING_H_
