// The class that stands for a framework on disk.
#ifndef HELPER_FRAMEWORK_BUNDLE_H_
#define HELPER_FRAMEWORK_BUNDLE_H_

#import <Foundation/Foundation.h>

// A class that answers these messages as Apple's NSBundle does:
//
//   + bundleWithPath:        nil unless the path, an absolute one, is a directory
//   - executablePath         the file with the framework's code
//   - loadAndReturnError:    maps the framework's code; on failure NO and an error whose
//                            localizedDescription carries the dynamic linker's own reason
//   - unload                 ends the use of the code
//
// On macOS it is NSBundle itself. GNUstep's cannot load with a reason, refuses flat frameworks, and
// reads its own resources and the user's defaults before it does anything: on Linux it is a class
// of this program that goes to the dynamic linker.
Class FrameworkBundleClass();

// Whether there is a file or folder at this path, given as bytes in UTF-8. On Linux it is the
// system that is asked: GNUstep would turn the path into the encoding that GNUSTEP_STRING_ENCODING
// names, and raise where it has no such characters.
bool FrameworkExists(const char *path);

#endif  // HELPER_FRAMEWORK_BUNDLE_H_
