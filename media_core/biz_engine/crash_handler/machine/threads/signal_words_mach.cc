#include "media_core/biz_engine/crash_handler/machine/threads/signal_words.h"

namespace CrashHandler::machine {

const char* SystemCodeName(int /*signo*/, int /*code*/) { return nullptr; }

}  // namespace CrashHandler::machine
