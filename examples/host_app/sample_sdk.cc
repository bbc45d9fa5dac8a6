#include "examples/host_app/sample_sdk.h"

#include "examples/host_app/crash_deeds.h"

int OruRTCSampleCrash(const char* name, int threads) {
  const bool known = host_app::DoCrashDeed(name, threads);
  // The test after the call keeps this function on the stack during it.
  return known ? 0 : 1;
}
