// What this process may do beyond its user, and where its own program lies.
#ifndef HELPER_PRIVILEGE_H_
#define HELPER_PRIVILEGE_H_

#include <string>

// True for root, and for a program that the system started with more rights than its user's
// (set-user-ID and the like).
bool RunsPrivileged();

// The program's file; "" when the system does not say.
std::string OwnProgramPath();

#endif  // HELPER_PRIVILEGE_H_
