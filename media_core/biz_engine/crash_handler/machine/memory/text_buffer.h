// Text that grows in memory of the kernel.
//
// All but StringOf may run in a signal handler, with the allocator's lock held by anyone.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_TEXT_BUFFER_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_TEXT_BUFFER_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "media_core/biz_engine/crash_handler/machine/memory/memory.h"

namespace CrashHandler::machine {

class TextBuffer {
 public:
  // Takes what has collected; false when that failed.
  using Drain = bool (*)(void* context, const char* bytes, size_t count);

  TextBuffer() = default;
  // Text of any length in a piece of memory that does not grow: whenever `room` bytes have
  // collected in `memory` they go to `drain`. A drain that fails counts as something left out.
  TextBuffer(char* memory, size_t room, Drain drain, void* context)
      : fixed_(memory), fixed_room_(room), drain_(drain), context_(context) {}
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

  // Where no memory is to be had, this is left out, and all that follows.
  void Append(const char* bytes, size_t count);
  // Up to the terminating zero; nothing for null.
  void Append(const char* text);
  void Append(char character) { Append(&character, 1); }
  void AppendBlanks(size_t count);
  // In the given base (at most 16), with at least so many digits.
  void AppendNumber(uint64_t value, unsigned base = 10, size_t digits = 1);
  // With "0x" in front.
  void AppendHex(uint64_t value, size_t digits = 1);

  // Whether something was left out.
  bool overflowed() const { return overflowed_; }
  // Makes room for `count` more bytes. False when it cannot, or when something was left out.
  bool Reserve(size_t count);
  // Takes back what stands from `size` on. Nothing counts as left out any more.
  void CutTo(size_t size);

  // Sends on what has collected; false when something was left out, now or before.
  bool Flush();

  // The whole text; not with a drain.
  const char* data() const {
    return memory_.data() == nullptr ? few_ : static_cast<const char*>(memory_.data());
  }
  // Of all that was appended.
  size_t size() const { return drained_ + size_; }

 private:
  bool Grow(size_t room);
  void AppendDraining(const char* bytes, size_t count);

  size_t size_ = 0;
  size_t drained_ = 0;
  bool overflowed_ = false;
  // Most lines need no memory of their own.
  char few_[512];
  ScratchMemory memory_;
  // With a drain.
  char* const fixed_ = nullptr;
  const size_t fixed_room_ = 0;
  const Drain drain_ = nullptr;
  void* const context_ = nullptr;
};

// Allocates; raises std::bad_alloc for a text that something was left out of.
std::string StringOf(const TextBuffer& text);

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_TEXT_BUFFER_H_
