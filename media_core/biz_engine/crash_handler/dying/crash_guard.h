// A crash's handling must not be left by an exception: the code behind the signal's frame has
// crashed, and whoever catches exceptions there would go on with it.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_GUARD_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_GUARD_H_

namespace CrashHandler {

// Runs what may raise: the host's functions, Foundation without memory. An exception of either
// language, or the thread's cancellation, ends the process by the crash's signal, with a rescued
// report. For the thread whose crash it is (crash_state.h). (Not a template with the `try` in it:
// Objective-C code catches no exceptions of C++ with GCC's runtime.)
void RunGuarded(void (*run)(const void*), const void* argument);

// Runs the step; false when it left by an exception of C++ or of this runtime's Objective-C. For
// installation.
bool RunWithoutExceptions(void (*step)());

template <typename Function>
void Guarded(const Function& function) {
  RunGuarded([](const void* argument) { (*static_cast<const Function*>(argument))(); }, &function);
}

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_DYING_CRASH_GUARD_H_
