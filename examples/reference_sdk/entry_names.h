// Names of files inside the archive: always valid UTF-8, never two the same.
#ifndef EXAMPLES_REFERENCE_SDK_ENTRY_NAMES_H_
#define EXAMPLES_REFERENCE_SDK_ENTRY_NAMES_H_

#include <string>
#include <vector>

#include "examples/reference_sdk/log_files.h"

namespace reference_sdk {

// One name for each of `files`, in their order. A path in UTF-8 without backslashes and
// control characters stands as it is; any other is escaped, and if a file of exactly that name
// exists too, "~1", "~2", ... is appended.
std::vector<std::string> MakeEntryNames(const std::vector<LogFile>& files);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_ENTRY_NAMES_H_
