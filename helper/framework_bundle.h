// The class that stands for a framework on disk.
#ifndef HELPER_FRAMEWORK_BUNDLE_H_
#define HELPER_FRAMEWORK_BUNDLE_H_

#import <Foundation/Foundation.h>

// A class that answers these three messages as Apple's NSBundle does:
//
//   + bundleWithPath:        nil unless the path, absolute or relative, is a directory
//   - loadAndReturnError:    maps the framework's code; on failure NO and an error whose
//                            localizedDescription carries the dynamic linker's own reason
//   - unload                 ends the use of the code
//
// On macOS it is NSBundle itself. GNUstep's cannot load with a reason, refuses relative paths and
// flat frameworks, and reads its own resources and the user's defaults before it does anything: on
// Linux it is a class of this program that goes to the dynamic linker.
Class FrameworkBundleClass();

#endif  // HELPER_FRAMEWORK_BUNDLE_H_
