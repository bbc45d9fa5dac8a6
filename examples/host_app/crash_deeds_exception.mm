#import <Foundation/Foundation.h>

#include "examples/host_app/crash_deeds.h"

namespace host_app {

void RaiseException() {
  [NSException raise:@"HostAppException" format:@"raised on request: %d", 42];
}

}  // namespace host_app
