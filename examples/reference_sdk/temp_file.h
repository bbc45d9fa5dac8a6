// Files that exist only for the length of an upload.
#ifndef EXAMPLES_REFERENCE_SDK_TEMP_FILE_H_
#define EXAMPLES_REFERENCE_SDK_TEMP_FILE_H_

#include <string>

namespace reference_sdk {

// A file in `folder` that has no name any more when the function returns, so that it is gone with
// the descriptor however the process ends. -1 when it cannot be made. The caller closes it.
int OpenNamelessFile(const std::string& folder);

// Creates the folder and the missing ones above it, with mode 0700. False when it is not a folder
// afterwards.
bool MakeFolders(const std::string& path);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_TEMP_FILE_H_
