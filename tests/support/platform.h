// What tests need of the system and the platforms spell differently.
#ifndef TESTS_SUPPORT_PLATFORM_H_
#define TESTS_SUPPORT_PLATFORM_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace oru_test {

// As pipe(), socket() and accept(), with descriptors that started programs do not inherit.
int MakePipe(int ends[2]);
int MakeSocket(int domain, int type);
int AcceptConnection(int listener);

// Names the calling thread as the system's tools show it; at most 15 bytes.
void NameThisThread(const char* name);
// The number by which the system knows the calling thread.
uint64_t NumberOfThisThread();
size_t StackSizeOfThisThread();
// Whether thread `number` of this process sleeps (not merely waits for a processor).
bool IsThreadAsleep(uint64_t number);

// Signals are 1 to this.
int LastSignal();

// Puts an empty file system of `bytes` on the folder, seen by this process and its children, gives
// it another size, takes it away. False where the system or its rights do not allow it.
bool MountSmallDisk(const std::string& folder, size_t bytes);
bool ResizeSmallDisk(const std::string& folder, size_t bytes);
void UnmountSmallDisk(const std::string& folder);

}  // namespace oru_test

#endif  // TESTS_SUPPORT_PLATFORM_H_
