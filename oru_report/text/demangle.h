// Readable names of C++ functions.
#ifndef ORU_REPORT_TEXT_DEMANGLE_H_
#define ORU_REPORT_TEXT_DEMANGLE_H_

#include <string>

namespace oru_report {

// The readable form of a mangled C++ name; any other name as it is. So is a name whose readable
// form would be out of proportion: a few hundred bytes can stand for more text than memory holds,
// and the names come from files of other machines.
std::string Demangle(const std::string& symbol);

}  // namespace oru_report

#endif  // ORU_REPORT_TEXT_DEMANGLE_H_
