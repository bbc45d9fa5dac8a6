#include <glog/logging.h>

#include "bench/crash/crash_host.h"

void InstallCapture(const char* program, const char* /*dump_dir*/) {
  google::InitGoogleLogging(program);
  google::InstallFailureSignalHandler();
}
