// A broken heap: the allocator's own data overwritten, memory given back twice.
#include <malloc.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "tests/crash_matrix/scenario.h"

namespace crash_test {
namespace {

// A process of one thread does without the allocator's locks.
void BecomeThreaded() {
  std::thread([] { SleepForEver(); }).detach();
}

// The allocator keeps the size of a piece of memory right before it.
size_t* SizeField(void* memory) { return static_cast<size_t*>(memory) - 1; }

constexpr size_t kSmallest = 24;
constexpr size_t kSmall = 40;
// Beyond what each thread keeps for itself.
constexpr size_t kLarge = 5000;
// No hole is as large: such pieces come from the end of the heap, one behind the other.
constexpr size_t kFromTheEnd = 100008;

CHILD_FUNCTION void* Allocate(size_t size) {
  void* volatile memory = malloc(size);
  return memory;
}

SCENARIO(FreeInvalidPointer) {
  char* memory = static_cast<char*>(Allocate(kSmall));
  memset(memory, 0, kSmall);
  free(memory + 8);  // NOLINT: wrong on purpose
}

SCENARIO(FreeTheStack) {
  volatile char buffer[64] = {};
  void* volatile memory = const_cast<char*>(buffer) + 8;
  free(memory);  // NOLINT: wrong on purpose
}

CHILD_FUNCTION void FreeTwice(size_t size) {
  void* volatile memory = Allocate(size);
  void* volatile between = Allocate(size);
  free(memory);
  free(memory);  // NOLINT: wrong on purpose
  free(between);
}

SCENARIO(FreeSmallTwice) { FreeTwice(kSmall); }

// Found out with the allocator's lock held.
SCENARIO(FreeLargeTwice) {
  BecomeThreaded();
  FreeTwice(kLarge);
}

// Takes what lies free in front of a piece from the end. What is asked for next comes from the end
// too, whatever the process has done before.
CHILD_FUNCTION void FillTheHoles() {
  const void* const end = Allocate(kFromTheEnd);
  for (size_t size = kFromTheEnd / 2; size >= kSmallest; size -= size > 2048 ? size / 4 : 16) {
    while (Allocate(size) < end) {
    }
  }
}

// The rest of the heap is said to be larger than the machine.
CHILD_FUNCTION void SmashTheTop() {
  FillTheHoles();
  char* last = static_cast<char*>(Allocate(kFromTheEnd));
  memset(last + kFromTheEnd, 0xff, 24);
}

SCENARIO(AbortInMalloc) {
  BecomeThreaded();
  SmashTheTop();
  for (;;) Allocate(kLarge);
}

SCENARIO(FaultAfterSmashingTheTop) {
  SmashTheTop();
  WriteToNull();
}

SCENARIO(FaultAfterSmashingTheTopOfAThreadedProcess) {
  BecomeThreaded();
  SmashTheTop();
  WriteToNull();
}

// Between two that stay in use nobody looks at it.
SCENARIO(FaultAfterSmashingAHeader) {
  Allocate(kFromTheEnd);
  void* middle = Allocate(kFromTheEnd);
  Allocate(kFromTheEnd);
  *SizeField(middle) = 0x4141414141414141;
  WriteToNull();
}

// Makes the allocator hand out an address at the bottom of memory next but one: a free piece begins
// with the next one's address, mixed with the page of its own.
void SmashFreePiece(void* piece) {
  constexpr uintptr_t kBottom = 0x10;
  const uintptr_t next = kBottom ^ reinterpret_cast<uintptr_t>(piece) >> 12;
  memcpy(piece, &next, sizeof next);
}

SCENARIO(FaultAfterSmashingFreeMemory) {
  // No free piece is left, of whatever was given back before: then the last two are the thread's
  // only ones of the size.
  FillTheHoles();
  constexpr size_t kPieces = 10;
  for (size_t size = 16; size <= 1024; size += 16) {
    void* pieces[kPieces];
    for (void*& piece : pieces) piece = Allocate(size);
    void* const last = pieces[kPieces - 1];
    // One that is larger than need be belongs to another size.
    if (malloc_usable_size(last) != size + 8) continue;
    free(pieces[kPieces - 2]);
    free(last);
    SmashFreePiece(last);
  }
  WriteToNull();
}

// Both the report and its rescue have room there.
SCENARIO(SmashedFreeMemoryOnASmallStack) {
  UseGuardedAlternateStack(size_t{64} << 10);
  FaultAfterSmashingFreeMemory();
}

SCENARIO(SmashedTopOnASmallStack) {
  UseGuardedAlternateStack(size_t{64} << 10);
  FaultAfterSmashingTheTop();
}

}  // namespace

}  // namespace crash_test
