#import "helper/framework_bundle.h"

Class FrameworkBundleClass() { return [NSBundle class]; }

bool FrameworkExists(const char *path) {
  return [[NSFileManager defaultManager] fileExistsAtPath:[NSString stringWithUTF8String:path]];
}
