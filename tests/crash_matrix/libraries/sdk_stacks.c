#include "tests/crash_matrix/libraries/sdk_stacks.h"

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

// What the compiler leaves at a frame pointer: the caller's frame pointer and the return address.
#define FRAME() ((volatile uintptr_t*)__builtin_frame_address(0))

// No pointer can have the first one; nothing is mapped at the second.
static const uintptr_t kNoAddress = 0x5a5a5a5a5a5a5a5a;
static const uintptr_t kNowhere = 0x5a5a5a5a5a5a;
static const size_t kSmashedEntries = 32;
static volatile int result;

// Readable, and neither code nor a stack.
static uintptr_t Data(void) { return (uintptr_t)stdin; }

static SDK_FUNCTION Fault(void) {
  int* volatile nowhere = NULL;
  *nowhere = 1;
}

SDK_FUNCTION CallFromTheSdk(void (*function)(void)) {
  function();
  Fault();
}

static __attribute__((noinline, disable_tail_calls, no_sanitize("address", "undefined"))) int
Recurse(int depth) {
  volatile char frame[1024];
  frame[0] = (char)depth;
  return depth < 0 ? 0 : Recurse(depth + 1) + frame[0];
}

SDK_FUNCTION OverflowTheStack(void) { result = Recurse(0); }

SDK_FUNCTION LoseTheStackPointer(void) {
  __asm__ volatile(
      "movq %0, %%rsp\n"
      "movl $1, 0\n"
      :
      : "r"(kNowhere)
      : "memory");
}

SDK_FUNCTION LoseTheFramePointer(void) {
  __asm__ volatile(
      "movq %0, %%rbp\n"
      "movl $1, 0\n"
      :
      : "r"(kNoAddress)
      : "memory");
}

SDK_FUNCTION LoseTheFramePointerToData(void) {
  __asm__ volatile(
      "movq %0, %%rbp\n"
      "movl $1, 0\n"
      :
      : "r"(Data())
      : "memory");
}

SDK_FUNCTION SmashTheFramePointer(void) {
  FRAME()[0] = kNoAddress;
  Fault();
}

SDK_FUNCTION SmashTheFramePointerByData(void) {
  FRAME()[0] = Data();
  Fault();
}

SDK_FUNCTION TieTheFramePointer(void) {
  FRAME()[0] = (uintptr_t)FRAME();
  Fault();
}

SDK_FUNCTION SmashTheReturnAddress(void) {
  FRAME()[1] = kNowhere;
  Fault();
}

SDK_FUNCTION SmashTheReturnAddressByData(void) {
  FRAME()[1] = Data();
  Fault();
}

SDK_FUNCTION SmashAllAbove(void) {
  for (size_t i = 0; i < kSmashedEntries; ++i) FRAME()[i] = kNoAddress;
  Fault();
}

SDK_FUNCTION SmashAllAboveAndAbort(void) {
  for (size_t i = 0; i < kSmashedEntries; ++i) FRAME()[i] = kNoAddress;
  abort();
}

SDK_FUNCTION ReturnNowhere(void) { FRAME()[1] = kNowhere; }

SDK_FUNCTION ReturnToNoAddress(void) { FRAME()[1] = kNoAddress; }

SDK_FUNCTION ReturnToNull(void) { FRAME()[1] = 0; }

SDK_FUNCTION ReturnIntoData(void) { FRAME()[1] = Data(); }

SDK_FUNCTION ReturnNowhereWithAllAboveSmashed(void) {
  for (size_t i = 0; i < kSmashedEntries; ++i) FRAME()[i] = kNowhere;
}
