// Packs a log directory into one zip archive.
#ifndef EXAMPLES_REFERENCE_SDK_LOG_ARCHIVE_H_
#define EXAMPLES_REFERENCE_SDK_LOG_ARCHIVE_H_

#include <cstdint>

#include "examples/reference_sdk/log_files.h"

namespace reference_sdk {

// The level of deflate, the same as zip's and gzip's own choice. Measured on text logs with zlib
// 1.2.13: level 1 is about 2.5 times as fast but leaves 30 % more to send, levels 8 and 9 take
// twice the time for less than 2 %. An upload is mostly bound by the network, so size comes first
// up to the point where it stops paying.
constexpr int kDeflateLevel = 6;

// Writes an archive of all `files` to `fd`, which is empty and open for writing, and its length to
// `size`. Memory does not depend on the files' sizes: a few pieces of 256 KiB a thread, and about
// 150 bytes a file for the directory at the archive's end.
//
// A file is packed up to the length that it has when its turn comes: what is appended meanwhile is
// left out, what is cut off is missing, and a file that is gone by then has no entry. Entries bear
// the file's time and permission bits and are marked as made on Unix, names in UTF-8.
//
// False when the archive could not be written; `fd` then holds garbage.
bool PackLogs(const LogFiles& files, long threads, int fd, uint64_t* size);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_LOG_ARCHIVE_H_
