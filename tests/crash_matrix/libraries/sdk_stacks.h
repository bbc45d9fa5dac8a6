// Functions of a library whose path carries the filter's word, as an SDK's does.
#ifndef TESTS_CRASH_MATRIX_LIBRARIES_SDK_STACKS_H_
#define TESTS_CRASH_MATRIX_LIBRARIES_SDK_STACKS_H_

#ifdef __cplusplus
extern "C" {
#endif

#define SDK_FUNCTION                                                  \
  __attribute__((noinline, disable_tail_calls, visibility("default"), \
                 no_sanitize("address", "undefined", "thread"))) void

// Unless they say otherwise these keep frame pointers, and fault or abort below what they smash.
SDK_FUNCTION CallFromTheSdk(void (*function)(void));
SDK_FUNCTION OverflowTheStack(void);

// The registers; the frame above is whole.
SDK_FUNCTION LoseTheStackPointer(void);
SDK_FUNCTION LoseTheFramePointer(void);
SDK_FUNCTION LoseTheFramePointerToData(void);

// The caller's frame pointer: to no address, to data, to a chain without an end.
SDK_FUNCTION SmashTheFramePointer(void);
SDK_FUNCTION SmashTheFramePointerByData(void);
SDK_FUNCTION TieTheFramePointer(void);

// The return address, and everything above, as a string that is too long for its buffer does.
SDK_FUNCTION SmashTheReturnAddress(void);
SDK_FUNCTION SmashTheReturnAddressByData(void);
SDK_FUNCTION SmashAllAbove(void);
SDK_FUNCTION SmashAllAboveAndAbort(void);

// The fault comes with the return.
SDK_FUNCTION ReturnNowhere(void);
SDK_FUNCTION ReturnToNoAddress(void);
SDK_FUNCTION ReturnToNull(void);
SDK_FUNCTION ReturnIntoData(void);
SDK_FUNCTION ReturnNowhereWithAllAboveSmashed(void);

// With the compiler's guard between the buffer and the return address.
SDK_FUNCTION OverflowABuffer(void);

// Without frame pointers; the fault is in FramelessLeaf, called by FramelessMiddle.
SDK_FUNCTION FaultWithoutFramePointers(void);
// Without unwind tables either: TablelessLeaf, called by TablelessMiddle.
SDK_FUNCTION FaultWithoutUnwindTables(void);

#ifdef __cplusplus
}
#endif

#endif  // TESTS_CRASH_MATRIX_LIBRARIES_SDK_STACKS_H_
