// What the sanitizers leave out, built into every program of a sanitizer build: it holds for tests,
// for the programs they start with whatever environment, and for runs by hand.
//
// Only libraries and functions of the system are named, never anything of this project: the C
// library's reading of the time zone takes a lock that the thread sanitizer does not see, in a
// function that has no name where the library's debug symbols are not installed. GCC's
// Objective-C runtime and GNUstep keep blocks for the life of the process without a pointer the
// leak check can follow, and take their start-up locks in both orders on one thread. As the leak
// check loses the stack inside them, an object that this project forgets to release looks like
// theirs: such leaks are memcheck's to find (scripts/valgrind).
//
// Environment variables (LSAN_OPTIONS, TSAN_OPTIONS) still override these.

#define ORU_SANITIZER_HOOK \
  extern "C" __attribute__((used, visibility("default"), no_sanitize("all"))) const char*

// The list of suppressions that matched is no report; it would only mix with a program's own lines.
ORU_SANITIZER_HOOK __lsan_default_options() { return "print_suppressions=0"; }

ORU_SANITIZER_HOOK __lsan_default_suppressions() {
  return "leak:libobjc.so\n"
         "leak:libgnustep-base.so\n";
}

// A forked child of ours may start threads: locks that it finds are made anew.
ORU_SANITIZER_HOOK __tsan_default_options() { return "die_after_fork=0"; }

ORU_SANITIZER_HOOK __tsan_default_suppressions() {
  return "called_from_lib:libc.so.6\n"
         "deadlock:libobjc.so\n"
         "deadlock:libgnustep-base.so\n";
}
