#import "helper/framework_bundle.h"

Class FrameworkBundleClass(void) { return [NSBundle class]; }
