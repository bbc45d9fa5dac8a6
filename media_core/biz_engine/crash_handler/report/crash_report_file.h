// Writing a report file in one step, and the directory for it. Paths are bytes; nothing here
// depends on the process's locale.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CRASH_REPORT_FILE_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CRASH_REPORT_FILE_H_

#include <cstddef>

namespace CrashHandler {

// Creates the directory and the missing ones above it, with the permissions of ordinary new ones.
// What is there already counts as success, whatever it is. False when something cannot be created;
// the part that could be stays. May run in a signal handler.
bool CreateDirectories(const char* path);

// Makes `path` a file with these bytes, replacing a file of that name: the bytes go to a temporary
// file beside it ("report.PID.N.tmp"), which is then renamed, so that a reader finds the whole
// report or none. On failure, the limit of file sizes included, nothing is left and false
// is returned; nothing is logged and no signal is raised. The file gets the permissions that an
// ordinary new file gets. May run in a signal handler.
bool ReplaceFile(const char* path, const void* bytes, size_t count);

// Bytes that are somewhere.
struct Piece {
  const char* bytes;
  size_t count;
};

// The same with pieces one behind the other.
bool ReplaceFileByPieces(const char* path, const Piece* pieces, size_t piece_count);

}  // namespace CrashHandler

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_REPORT_CRASH_REPORT_FILE_H_
