// The least a program of this platform's Foundation does: the floor under the command's own time.
#import <Foundation/Foundation.h>

int main() {
  @autoreleasepool {
  }
  return 0;
}
