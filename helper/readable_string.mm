#import "helper/readable_string.h"

#include "helper/readable_text.h"

NSString *ReadableString(const char *text) {
  return [NSString stringWithUTF8String:ReadableText(text).c_str()];
}
