// Opens files that somebody else named or made.
#ifndef ORU_REPORT_INPUT_SAFE_OPEN_H_
#define ORU_REPORT_INPUT_SAFE_OPEN_H_

#include <string>

namespace oru_report {

// The file that the user named, whatever it is; a link is followed, and a pipe waited for. -1 on
// failure, with errno's text in `error`. The caller closes it.
int OpenNamedFile(const std::string& path, std::string* error);

// The file found in a folder that others may have filled: only a regular one, no link, and the open
// never waits. -1 otherwise, with the reason in `error`. The caller closes it.
int OpenFoundFile(const std::string& path, std::string* error);

// The file that a report names as an image's: only an absolute path of a regular file with bytes in
// it, behind whatever links, outside the folders in which the system shows itself as files (/proc,
// /sys, /dev). Known before it is opened, and the open never waits. -1 for anything else. The
// caller closes it.
int OpenImageFile(const std::string& path);

}  // namespace oru_report

#endif  // ORU_REPORT_INPUT_SAFE_OPEN_H_
