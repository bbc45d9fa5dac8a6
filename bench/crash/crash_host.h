// A program that crashes; what records the crash differs from side to side.
#ifndef BENCH_CRASH_CRASH_HOST_H_
#define BENCH_CRASH_CRASH_HOST_H_

// Sets up the side's crash capture. Reports that are files go to `dump_dir`; others go to standard
// error. Called once, on the main thread, before there are others.
void InstallCapture(const char* program, const char* dump_dir);

#endif  // BENCH_CRASH_CRASH_HOST_H_
