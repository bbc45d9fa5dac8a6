#import "helper/framework_bundle.h"

Class FrameworkBundleClass() { return [NSBundle class]; }
