// The command line of `varnook`: dash-prefixed keys, each followed by its value.
#ifndef HELPER_COMMAND_LINE_H_
#define HELPER_COMMAND_LINE_H_

#include <cstdint>
#include <functional>
#include <string>

// The four actions by name, in the order of their codes.
extern const std::string kInitAction;
extern const std::string kUploadLogAction;
extern const std::string kUploadCrashAction;
extern const std::string kRequestDumpAction;
extern const std::string kConnector;
extern const std::string kSeparate;
extern const std::string kQuotationMark;
extern const std::string kProgramName;

enum ActionCode : int {
  kNoActionCode = 0,
  kInitActionCode = 1,
  kUploadLogActionCode = 2,
  kUploadCrashActionCode = 3,
  kRequestDumpActionCode = 4,
};

// What the command line said. Values are the arguments' bytes as they stood, in whatever encoding;
// a key that was not given leaves its value empty.
struct CommandLine {
  ActionCode action = kNoActionCode;
  std::string app_id;
  std::string session_id;
  std::string sdk_version;
  // Seconds, as text: see DelaySeconds.
  std::string delay;
  std::string access_key_id;
  std::string access_key_secret;
  std::string security_token;
  std::string endpoint;
  std::string bucket;
  std::string log_path;
  std::string library_path;
  std::string extra_info;
};

// Told of every key and value pair in turn, known key or not: the key's position in argv, the key
// with its dash, the value. The pointers are valid during the call.
using ArgumentObserver = std::function<void(int index, const char* key, const char* value)>;

// Reads the pairs in argv[0] to argv[argc - 1]; with fewer than two arguments nothing is read.
// argv[0] counts as an argument like any other, so a program path that begins with a dash is a key.
// Words that are no keys (null, shorter than two characters, without a dash) are passed over one by
// one; a key consumes the next argument whatever it looks like; a key standing last is not looked
// at. The last occurrence of a key wins, except that an unknown action leaves the earlier one. A
// null pointer in the place of a value counts as an empty one. Nothing here fails.
CommandLine ParseCommandLine(int argc, const char* const* argv, const ArgumentObserver& observer);

// The leading number of `delay`, as atoll reads it: 0 without one; a negative number comes out as
// its 64-bit two's complement.
uint64_t DelaySeconds(const std::string& delay);

// "Documents/Oru_RTC_Log/" under the folder that the environment variable HOME names, its bytes
// unchanged, with a slash at the end. An unset HOME counts as empty; nothing is checked on disk.
std::string GetDefaultLogDirPath();

#endif  // HELPER_COMMAND_LINE_H_
