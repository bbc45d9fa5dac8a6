// System calls without the C library, whose error number lies in thread-local storage: a thread
// that was made by a bare `clone` may have none. For Linux only.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_SYSTEM_CALL_LINUX_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_SYSTEM_CALL_LINUX_H_

namespace CrashHandler::machine {

// The kernel's own result: the negative error number on failure. May run in a signal handler.
inline long RawSystemCall(long number, long a, long b, long c, long d, long e, long f) {
  long result = 0;
  register long r10 asm("r10") = d;
  register long r8 asm("r8") = e;
  register long r9 asm("r9") = f;
  asm volatile("syscall"
               : "=a"(result)
               : "a"(number), "D"(a), "S"(b), "d"(c), "r"(r10), "r"(r8), "r"(r9)
               : "rcx", "r11", "memory");
  return result;
}

inline long SystemWord(const void* pointer) { return reinterpret_cast<long>(pointer); }
inline long SystemWord(unsigned long word) { return static_cast<long>(word); }
inline long SystemWord(unsigned word) { return static_cast<long>(word); }
inline long SystemWord(long word) { return word; }
inline long SystemWord(int word) { return word; }

template <typename... Arguments>
long SystemCall(long number, const Arguments&... arguments) {
  static_assert(sizeof...(arguments) <= 6);
  const long words[6] = {SystemWord(arguments)...};
  return RawSystemCall(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_MEMORY_SYSTEM_CALL_LINUX_H_
