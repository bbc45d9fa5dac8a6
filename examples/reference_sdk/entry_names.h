// Names of files inside the archive: always valid UTF-8, never two the same.
#ifndef EXAMPLES_REFERENCE_SDK_ENTRY_NAMES_H_
#define EXAMPLES_REFERENCE_SDK_ENTRY_NAMES_H_

#include <string>
#include <vector>

#include "examples/reference_sdk/log_files.h"

namespace reference_sdk {

// True for well-formed UTF-8 (no overlong forms, no surrogates, nothing above U+10FFFF).
bool IsUtf8(const std::string& text);

// `text` with every byte that is no part of a well-formed character, and every one of a backslash
// or a control character, written as "%XX", and every "%" as "%25", so that different texts stay
// different and the bytes can be restored.
std::string EscapeToUtf8(const std::string& text);

// One name for each of `files`, in their order. A path in UTF-8 without backslashes and
// control characters stands as it is; any other is escaped, and if a file of exactly that name
// exists too, "~1", "~2", ... is appended.
std::vector<std::string> MakeEntryNames(const std::vector<LogFile>& files);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_ENTRY_NAMES_H_
