// A library with a class that crashes while it is loaded: `load` runs with the locks of the
// Objective-C runtime and of the dynamic linker held.
#import <Foundation/Foundation.h>
#include <stdio.h>

extern "C" void LoadedMatrixClass();

@interface MatrixLoaded : NSObject
@end

@implementation MatrixLoaded
+ (void)load {
  LoadedMatrixClass();
  fputs("loaded\n", stderr);
}
@end
