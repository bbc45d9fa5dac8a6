// Bytes of a file or of memory, read so that a bad position gives false instead of a fault.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_BYTE_SOURCE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_BYTE_SOURCE_H_

#include <cstddef>
#include <cstdint>

namespace CrashHandler::machine {

// Where bytes come from. A position is a file offset or an address, as the source sees it.
struct ByteSource {
  // All `count` bytes at `position`, or false.
  bool (*read)(const void* context, uint64_t position, void* destination, size_t count);
  const void* context;

  bool Read(uint64_t position, void* destination, size_t count) const {
    return read(context, position, destination, count);
  }
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_BYTE_SOURCE_H_
