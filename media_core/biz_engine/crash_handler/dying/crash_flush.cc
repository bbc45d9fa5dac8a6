#include "media_core/biz_engine/crash_handler/dying/crash_flush.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdint>

namespace CrashHandler {
namespace {

using FlushFunction = bool (*)(int64_t max_wait_ns);

constexpr char kFlushOfTraces[] = "OruRtcFlushTraceOfCrash";
constexpr int64_t kMaxWaitNs = 200'000'000;

std::atomic<FlushFunction> sFlushTrace{nullptr};

}  // namespace

void PrepareCrashFlush() {
  sFlushTrace.store(reinterpret_cast<FlushFunction>(dlsym(RTLD_DEFAULT, kFlushOfTraces)));
}

void FlushBeforeTheEnd() {
  const FlushFunction flush = sFlushTrace.load();
  if (flush != nullptr) flush(kMaxWaitNs);
}

}  // namespace CrashHandler
