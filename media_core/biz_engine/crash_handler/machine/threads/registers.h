// The general registers of a thread of this processor.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_H_

#include "media_core/biz_engine/crash_handler/machine/threads/registers_arm64.h"
#include "media_core/biz_engine/crash_handler/machine/threads/registers_x86_64.h"

namespace CrashHandler::machine {

#if defined(__aarch64__)
using Registers = RegistersArm64;
inline constexpr auto& kRegisterNames = kRegisterNamesArm64;
#elif defined(__x86_64__)
using Registers = RegistersX8664;
inline constexpr auto& kRegisterNames = kRegisterNamesX8664;
#else
#error "A new processor: describe its registers as registers_x86_64.h does."
#endif

// Which of the registers are known; the others are 0.
enum class KnownRegisters : unsigned char { kAll, kInstructionAndStack };

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_H_
