// The text of a thread's call stack, without the platform's object runtime.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CALL_STACK_TEXT_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CALL_STACK_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "media_core/biz_engine/crash_handler/machine/images/images.h"
#include "media_core/biz_engine/crash_handler/machine/memory/text_buffer.h"
#include "media_core/biz_engine/crash_handler/machine/threads/thread_capture.h"
#include "media_core/biz_engine/crash_handler/machine/threads/threads.h"
#include "media_core/biz_engine/crash_handler/machine/unwind/stack_walk.h"

namespace CrashHandler {

// One frame's line with its newline: the image's name in a column of 30, the address, the symbol
// and the offset from it. Without a symbol the image's base stands for it, as "0x...", and the
// offset counts from there; without an image, its (null) base stands for the name.
std::string logBacktraceEntry(uintptr_t address, const machine::SymbolInformation& record);

// Appends a thread's whole text: "Thread NUMBER NAME:", a line per frame, an empty line. A chain
// that could not be walked gives one sentence without a newline instead. `records` has one record
// per entry of the chain. May run in a signal handler.
void AppendThreadText(machine::ThreadNumber number, const char* name,
                      const machine::CallChain& chain, const machine::SymbolInformation* records,
                      machine::TextBuffer* text);

// Resolves the `count` addresses of a chain: entry 0 at its own address, the others at one less,
// inside the call that they return to. With a nonzero number of skipped entries entry 0 is a return
// address like the others.
void symbolicate(machine::Symbolizer* symbolizer, const uintptr_t* addresses,
                 machine::SymbolInformation* records, size_t count, size_t skipped);

// The text of one thread, under its current name.
std::string TextOfThread(machine::ThreadNumber number);

// The texts of all threads, the calling one included, in the system's order, each as it stood when
// it was looked at (machine/threads/thread_capture.h). "Fail to get information of all threads"
// when the threads cannot be listed, and behind the last whole block when there is no memory for
// more. The precaution is that of the capture.
std::string TextOfAllThreads(const machine::Precaution& precaution = {});

// Frames of a thread that are known already, innermost first.
struct KnownFrames {
  machine::ThreadNumber thread = 0;
  void* const* frames = nullptr;
  size_t count = 0;
};

// The same; may run in a signal handler, with the allocator's lock held by anyone. The thread of
// `known` is told by those frames where a look at it does not lead to them: it crashed, and is now
// somewhere above that, perhaps where nothing tells the way back.
void AppendAllThreads(machine::TextBuffer* text, const KnownFrames& known = {},
                      const machine::Precaution& precaution = {});

// The block of the known thread, without a look at any, and the sentence in the others' place. May
// run in a signal handler.
void AppendKnownThread(machine::TextBuffer* text, const KnownFrames& known);

// Does what the first use would otherwise do (mapping memory, reading the list of images). For
// installation.
void PrepareCallStacks();

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CALL_STACK_TEXT_H_
