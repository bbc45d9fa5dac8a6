// A folder that stands for a store (file:///DIR): archives arrive there readable by their owner
// alone, as the logs in them are.
#ifndef EXAMPLES_REFERENCE_SDK_STORE_FOLDER_H_
#define EXAMPLES_REFERENCE_SDK_STORE_FOLDER_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <string>

#include "examples/reference_sdk/log_files.h"

namespace reference_sdk {

// Whether a symbolic link in a store leads where its maker, and not somebody else, wanted: it is
// the user's own or the system's.
bool MayFollowLink(const struct stat& link, uid_t user);

// Opens the folder BASE/BUCKET/APP; what is missing is made with mode 0700. BASE is followed
// wherever it leads; bucket and app may be links only as MayFollowLink says. Not valid when that
// fails.
ScopedFd OpenStoreFolder(const std::string& base, const std::string& bucket,
                         const std::string& app);

// An archive on its way into a folder: written as NAME.part (mode 0600) and locked, so that the
// place only ever holds a whole one.
class PartFile {
 public:
  // `folder` must outlive the object.
  PartFile(const ScopedFd& folder, const std::string& name);
  // Removes the part unless it was kept.
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  // -1 when it could not be made.
  int fd() const { return fd_.get(); }
  // Gives the file its final name. False when that, or a delayed write, failed: it is gone then.
  bool Keep();

 private:
  const ScopedFd& folder_;
  const std::string name_;
  const std::string part_;
  ScopedFd fd_;
};

// Removes the parts in `folder` that nobody writes any more: their uploads were killed.
void RemoveAbandonedParts(const ScopedFd& folder);

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_STORE_FOLDER_H_
