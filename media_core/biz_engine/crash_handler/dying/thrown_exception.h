// The C++ exception that a thread ends the process over: thrown and caught by nobody, or being
// handled where the process was aborted.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_THROWN_EXCEPTION_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_THROWN_EXCEPTION_H_

#include <cstddef>

namespace CrashHandler {

// The mangled name of its type, as `type_info::name` has it; null when the calling thread handles
// none, or one of another language. It stays. May run in a signal handler.
const char* TypeOfThrown();

// Copies what its `what` says, cut to the room, with a terminating zero; "" for an exception that
// is no std::exception. Calls the host's function, and may fault with it. No heap and no lock of
// its own.
void CopyWordsOfThrown(char* words, size_t room);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_THROWN_EXCEPTION_H_
