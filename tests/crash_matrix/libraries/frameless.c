// Compiled twice, with unwind tables and without; never with frame pointers.
#include "tests/crash_matrix/libraries/sdk_stacks.h"

#ifdef WITHOUT_TABLES
#define LEAF TablelessLeaf
#define MIDDLE TablelessMiddle
#define OUTER FaultWithoutUnwindTables
#else
#define LEAF FramelessLeaf
#define MIDDLE FramelessMiddle
#define OUTER FaultWithoutFramePointers
#endif

SDK_FUNCTION LEAF(int number);
SDK_FUNCTION MIDDLE(int number);

SDK_FUNCTION LEAF(int number) {
  volatile int numbers[4] = {number, number, number, number};
  int* volatile nowhere = 0;
  *nowhere = numbers[number & 3];
}

SDK_FUNCTION MIDDLE(int number) {
  volatile int own = number;
  LEAF(own + 1);
  own = 0;
}

SDK_FUNCTION OUTER(void) {
  volatile int own = 1;
  MIDDLE(own);
  own = 0;
}
