// Whether what lies at a path can be run with somebody's rights.
#ifndef HELPER_TRUSTED_PATH_H_
#define HELPER_TRUSTED_PATH_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <string>

// Who may be the owner of what is run, beside root.
struct TrustedOwners {
  // Of the process, not the one it was given by a set-user-ID bit.
  uid_t caller = 0;
  // Of the program itself: who could put another one in its place needs no other way.
  uid_t program = 0;
};

// True when nobody but root and these may change a file or folder: none of the others owns it, and
// it is not writable for them. A folder may be when only owners may rename or remove what is in it
// (the sticky bit). Of groups, only root's own counts as root.
bool OnlyTrustedMayChange(const struct stat& info, const TrustedOwners& owners);

// The first file or folder through which others could change what is at the absolute `path`: the
// path itself, its folders, and those that its links lead through; "" when there is none. Folders
// that `program`, too, lies in are passed over. A path that does not exist is its own answer.
std::string FirstChangeablePart(const std::string& path, const std::string& program,
                                const TrustedOwners& owners);

#endif  // HELPER_TRUSTED_PATH_H_
