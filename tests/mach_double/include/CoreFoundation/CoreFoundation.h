// Stand-in for the platform's <CoreFoundation/CoreFoundation.h>: strings, the main bundle, boolean
// preferences.
#ifndef TESTS_MACH_DOUBLE_INCLUDE_COREFOUNDATION_COREFOUNDATION_H_
#define TESTS_MACH_DOUBLE_INCLUDE_COREFOUNDATION_COREFOUNDATION_H_

#include <stdint.h>

typedef unsigned char Boolean;
typedef uint32_t CFStringEncoding;
typedef const void* CFTypeRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef struct __CFBundle* CFBundleRef;

enum { kCFStringEncodingUTF8 = 0x08000100 };

extern "C" {
extern const CFAllocatorRef kCFAllocatorDefault;

// The caller releases the string.
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text,
                                      CFStringEncoding encoding);
void CFRelease(CFTypeRef object);

// Borrowed; null without a bundle (or identifier).
CFBundleRef CFBundleGetMainBundle(void);
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);

// `valid` may be null; false when the key is missing or holds no boolean.
Boolean CFPreferencesGetAppBooleanValue(CFStringRef key, CFStringRef application, Boolean* valid);
}

#endif  // TESTS_MACH_DOUBLE_INCLUDE_COREFOUNDATION_COREFOUNDATION_H_
