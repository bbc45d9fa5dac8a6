// Facts about the machine.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_HOST_HOST_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_HOST_HOST_H_

#include <cstddef>
#include <cstdint>

namespace CrashHandler::machine {

// Processor types, with the values that the Mach kernel gives them.
constexpr int32_t kCpuTypeX86 = 7;
constexpr int32_t kCpuTypeArm = 12;
constexpr int32_t kCpuTypeX86_64 = 0x01000007;
constexpr int32_t kCpuTypeArm64 = 0x0100000c;

// Asks the host for its processor type. False when it does not say.
bool HostCpuType(int32_t* type);

// The machine field of `uname`, with a terminating zero; "" when the system does not say.
void MachineName(char* name, size_t room);

// The report's word for a processor type: "x86_64", "x86", "ARM", "ARM64", and "unSupport" for any
// other. A plain x86 host counts as "x86_64" when its machine name is "x86_64". The result is a
// literal.
const char* CpuTypeName(int32_t type, const char* machine_name);

// The report's word for this host: CpuTypeName of the two above, "unSupport" when it does not say.
const char* HostCpuTypeName();

// Whether the program has rights that its caller has not (set-user-id, file capabilities): what the
// caller's environment names is not to be trusted then. May run in a signal handler.
bool RunsWithMoreRights();

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_HOST_HOST_H_
