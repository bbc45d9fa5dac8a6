// Support utilities of the crash capture: its diagnostic log, the names of crash kinds, strings and
// URLs, folders and files, and the names of crash files. Plain C++, usable alone.
//
// Strings are byte strings, UTF-8 where the system gives them a meaning. Unless a comment says
// otherwise a function may be called from any thread, allocates, and must not be called from a
// signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_HANDLER_UTILS_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_HANDLER_UTILS_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#pragma GCC visibility push(default)

// Cuts `text` at every character of `delims`. A run of other characters is one element, and with
// `keep_delims` every delimiter is an element of one character; leading and repeated delimiters
// give no empty elements. What follows the last delimiter is always an element, so that a text that
// ends with a delimiter ends with an empty element. An empty text or an empty `delims` gives `text`
// alone.
std::vector<std::string> SplitString(const std::string& text, const std::string& delims,
                                     bool keep_delims);

namespace CrashHandler {

// What a crash report is about.
enum CrashType : int32_t {
  Signal = 0,
  Exception = 1,
  MemoryError = 2,
  Terminate = 3,
};

// What a log message of the module tells.
enum CrashHandlerLogLevel : int32_t {
  // Progress.
  kCrashLogInfo = 1,
  // A failure.
  kCrashLogError = 2,
};

// Receives a log message. The strings live until the sink returns; it may change `message` in place
// (up to its terminating zero). Called on the thread that logs, which may be in a signal handler.
using CrashLogSink = void (*)(CrashHandlerLogLevel level, const char* tag, const char* file,
                              int32_t line, char* message);

// Formats a message as printf does, cuts it at 2047 bytes, prints "tag (file:line): message \n" to
// standard output when the console is switched on (the level is not printed), and hands it to the
// sink when one is set. Its own buffer is on the stack, so that signal and exception handlers may
// log; with the console on it goes through the C library's standard output. A line that finds that
// stream locked by another thread for half a second is not printed, nor the ones after it while
// that lasts. Writing into a pipe that nobody reads, by the console or by the sink, raises no
// SIGPIPE.
#if defined(__GNUC__)
__attribute__((format(printf, 5, 6)))
#endif
void PrintLog(CrashHandlerLogLevel level, const char* tag, const char* file, int32_t line,
              const char* format, ...);

// Switches the console on or off; off at the start. Meant to be called before crash capture is
// installed.
void EnableOutputLogToConsole(bool enable);

// Sets the one sink of the process, or none when null. The function must stay callable until it is
// replaced. Meant to be called before crash capture is installed.
void SetLogSink(CrashLogSink sink);

// "Signal", "Exception", "MemoryError", "Terminate"; "Unknown" for any other value.
std::string GetCrashTypeString(CrashType type);

// "Mac OS X", on every system.
std::string GetOsName();

// An identifier of `length` characters of A-Z, a-z, 0-9: first the digits of the hash of `key` (up
// to its first zero byte) to the base 62, the lowest first, then random characters. `length` is
// taken as a signed 32-bit count; nothing comes out when that is not positive. The first call's
// `seed` starts a counter of the process; every call seeds the C library's `rand` with that counter
// and the time in seconds and moves the counter on. Not suited for secrets.
std::string GenerateRandomString(int64_t seed, uint64_t length, const std::string& key);

// A URL in two parts: what stands before "?", and the parameters in ascending order of their names.
using UrlParts = std::pair<std::string, std::map<std::string, std::string>>;

// "base", or "base?key=value&key=value" in ascending order of the keys. Nothing is escaped.
std::string BuildUrl(const UrlParts& parts);

// `url` without the parameter `key`, the others in ascending order, each name with its first value.
// The value behind the removed key goes with it; when the key has no value the next key is dropped
// in its place, and that one's value stays under an empty name. An empty `key` removes all
// parameters.
std::string RemoveUrlKey(const std::string& url, const std::string& key);

// Whether the folder holds a regular file or a folder of exactly this name. Symbolic links do not
// count. A folder that cannot be opened is logged and gives false.
bool IsFileInDir(const std::string& dir, const std::string& name);

// The file's size in bytes. A file that cannot be opened for reading, and a folder, is logged and
// gives 0.
uint64_t GetFileSize(const std::string& path);

// Names of the folders in `dir`, without "." and ".." and without symbolic links, in the system's
// order. Empty when `dir` cannot be opened.
std::vector<std::string> GetDirInPath(const std::string& dir);

// Names of the regular files and folders in `dir` whose first character is one of the characters of
// `prefix` (an empty prefix admits nothing) and whose text behind the last "." is `suffix`; an
// empty suffix admits any name, a suffix is given without its dot. In the system's order; empty
// when `dir` cannot be opened.
std::vector<std::string> GetDirFileByPrefixAndSuffix(const std::string& dir,
                                                     const std::string& prefix,
                                                     const std::string& suffix);

// Takes a crash file's name PREFIX_A_B_C_D.EXTENSION apart. The name is cut at its last "." and
// what stands before at every "_": empty fields count, an empty last one does not. Exactly five
// fields give true and set the outputs to the second to the fifth; else, and without a "." or with
// nothing before it, the result is false and the outputs keep their values.
bool ParseCrashInfoFromFileName(const std::string& name, std::string* a, std::string* b,
                                std::string* c, std::string* d);

// The day `offset` seconds from now as eight digits, YYYYMMDD, in a fixed zone eight hours east of
// UTC.
std::string GetCurrentDate(int32_t offset);

// True when `path` is writable (a writable file counts too); otherwise creates a folder of mode
// 0755, one level only, and returns whether that succeeded.
bool DirExistsOrCreat(const std::string& path);

// Whether `path` names anything that exists; a symbolic link that leads nowhere does not.
bool IsFileExist(const std::string& path);

}  // namespace CrashHandler

#pragma GCC visibility pop

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_TOOLS_CRASH_HANDLER_UTILS_H_
