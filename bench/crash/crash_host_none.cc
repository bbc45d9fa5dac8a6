// No capture: what a crash and the end of the threads cost the system alone. Debuggers look at it.
#include "bench/crash/crash_host.h"

void InstallCapture(const char* /*program*/, const char* /*dump_dir*/) {}
