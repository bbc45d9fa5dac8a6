#include <mach/mach.h>
#include <unistd.h>

#include "media_core/biz_engine/crash_handler/machine/host/host.h"

namespace CrashHandler::machine {

bool HostCpuType(int32_t* type) {
  host_basic_info_data_t facts;
  mach_msg_type_number_t count = HOST_BASIC_INFO_COUNT;
  const host_t host = mach_host_self();
  const kern_return_t result =
      host_info(host, HOST_BASIC_INFO, reinterpret_cast<host_info_t>(&facts), &count);
  mach_port_deallocate(mach_task_self(), host);
  if (result != KERN_SUCCESS) return false;
  *type = facts.cpu_type;
  return true;
}

bool RunsWithMoreRights() { return issetugid() != 0; }

}  // namespace CrashHandler::machine
