// Small reads of a byte source, served out of copies of whole blocks.
//
// May run in a signal handler. One object serves one thread.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_BLOCK_CACHE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_BLOCK_CACHE_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "media_core/biz_engine/crash_handler/machine/memory/byte_source.h"

namespace CrashHandler::machine {

// Divides the size of a page, so that a block of memory can be read wherever one byte of it can.
constexpr size_t kBlockSize = 4096;

// Blocks are copied when first asked for, and found again by their position: direct-mapped. Large
// reads pass by the blocks, and so do those of a block that cannot be read whole: every read gives
// what the source itself would give.
template <size_t kBlocks>
class BlockCache {
 public:
  BlockCache() { Forget(); }
  BlockCache(const BlockCache&) = delete;
  BlockCache& operator=(const BlockCache&) = delete;

  // All `count` bytes at `position` of `source`, or false. `end` is where the source ends, if that
  // is known: its last block may be short. Until Forget() it must be the same source, and what
  // changes in it may go unseen.
  bool Read(const ByteSource& source, uint64_t position, void* destination, size_t count,
            uint64_t end = UINT64_MAX) {
    if (count > kBlockSize || position > end || count > end - position) {
      return source.Read(position, destination, count);
    }
    auto* to = static_cast<char*>(destination);
    while (count != 0) {
      const uint64_t in_block = position % kBlockSize;
      const size_t piece = count < kBlockSize - in_block ? count : kBlockSize - in_block;
      const char* block = Block(source, position - in_block, end);
      if (block == nullptr) return source.Read(position, to, count);
      memcpy(to, block + in_block, piece);
      to += piece;
      position += piece;
      count -= piece;
    }
    return true;
  }

  void Forget() {
    for (uint64_t& tag : tags_) tag = kEmpty;
  }

 private:
  static constexpr uint64_t kEmpty = 1;  // no multiple of the block size

  const char* Block(const ByteSource& source, uint64_t start, uint64_t end) {
    const size_t slot = start / kBlockSize % kBlocks;
    if (tags_[slot] == start) return blocks_[slot];
    tags_[slot] = kEmpty;
    const size_t size = end - start < kBlockSize ? end - start : kBlockSize;
    if (!source.Read(start, blocks_[slot], size)) return nullptr;
    tags_[slot] = start;
    return blocks_[slot];
  }

  uint64_t tags_[kBlocks];            // positions of the blocks
  char blocks_[kBlocks][kBlockSize];  // left as they come
};

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_BLOCK_CACHE_H_
