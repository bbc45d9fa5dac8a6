// The words that the ordinary and the rescued report have in common, and the rules that hang on
// them. All but what returns a std::string may run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_WORDS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_WORDS_H_

#include <cstddef>
#include <string>

#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

namespace CrashHandler {

// The header's labels, in order.
constexpr char kModelLabel[] = "Harware Model:     ";
constexpr char kProcessLabel[] = "Process:           ";
constexpr char kPathLabel[] = "Path:              ";
constexpr char kCodeTypeLabel[] = "Code Type:         ";
constexpr char kTimeLabel[] = "Date/Time:         ";
constexpr char kThreadLabel[] = "Crash Thread:      ";

// The sections' titles, in order, and the exception's line in its three pieces.
constexpr char kExceptionTitle[] = "Application Specific Information:\n";
constexpr char kExceptionName[] = "*** Terminating app due to uncaught exception '";
constexpr char kExceptionReason[] = "', reason: '";
constexpr char kExceptionEnd[] = "'\n";
constexpr char kFramesTitle[] = "Crash Thread Backtrace:\n";
constexpr char kThreadsTitle[] = "All Thread Backtrace:\n";
constexpr char kImagesTitle[] = "Binary Images:\n";
constexpr char kInfoTitle[] = "UserCustomInfo:\n";

// What stands for an identity that is empty; the SDK's version has no such word.
constexpr char kUnknownApp[] = "Unknown-App";
constexpr char kUnknownSession[] = "Unknown-Session";
// As Foundation prints what is not there.
constexpr char kNull[] = "(null)";

// A crash with this word in one of its frames is the SDK's.
constexpr char kSdkFilter[] = "OruRTC";
// The module's own frames, which carry the word too and do not count. They are those that can stand
// above the crash: the module's other functions are below the hook, which is frame 0.
constexpr const char* kOwnFrameNames[] = {"OruRTCCrashReport", "OruRTCTerminateCatchHandler",
                                          "OruRTCSignalCatchHandler", "OruRTCExceptionHandler"};

// Whether a frame's line (not that of frame 0) is one of the SDK's.
bool IsSdkFrame(const char* line, size_t length);

// The kind that a report's name tells: a report made from frames alone is a "MemoryError".
CrashType ReportedKind(CrashType kind);

// The folder of reports where the host has set none: below HOME, which is expected to be set.
std::string DefaultDumpDir();
// The same for a report that is rescued; false when HOME is not set or the path is too long.
bool DefaultDumpDir(char* path, size_t room);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_REPORT_WORDS_H_
