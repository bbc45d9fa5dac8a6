// The general registers in what the kernel and the C library save of a thread. For Linux only.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_LINUX_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_LINUX_H_

#include <ucontext.h>

#include <cstdint>

#include "media_core/biz_engine/crash_handler/machine/threads/registers.h"

namespace CrashHandler::machine {

inline Registers RegistersOf(const ucontext_t& context) {
  const auto& from = context.uc_mcontext.gregs;
  const auto get = [&from](int index) { return static_cast<uint64_t>(from[index]); };
  Registers out;
  out.rax = get(REG_RAX);
  out.rbx = get(REG_RBX);
  out.rcx = get(REG_RCX);
  out.rdx = get(REG_RDX);
  out.rdi = get(REG_RDI);
  out.rsi = get(REG_RSI);
  out.rbp = get(REG_RBP);
  out.rsp = get(REG_RSP);
  out.r8 = get(REG_R8);
  out.r9 = get(REG_R9);
  out.r10 = get(REG_R10);
  out.r11 = get(REG_R11);
  out.r12 = get(REG_R12);
  out.r13 = get(REG_R13);
  out.r14 = get(REG_R14);
  out.r15 = get(REG_R15);
  out.rip = get(REG_RIP);
  return out;
}

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_THREADS_REGISTERS_LINUX_H_
