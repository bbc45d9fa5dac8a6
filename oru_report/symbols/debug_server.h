// Asks servers for debug information.
#ifndef ORU_REPORT_SYMBOLS_DEBUG_SERVER_H_
#define ORU_REPORT_SYMBOLS_DEBUG_SERVER_H_

#include <string>

namespace oru_report {

// The debug file of a build id, whole and in hexadecimal digits, from the servers that
// DEBUGINFOD_URLS names, as an open descriptor, which the caller closes. -1 when it is not to be
// had. Takes as long as they do.
int FetchDebugFile(const std::string& build_id);

}  // namespace oru_report

#endif  // ORU_REPORT_SYMBOLS_DEBUG_SERVER_H_
