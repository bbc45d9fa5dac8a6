// For systems without debuginfod's client.
#include "oru_report/symbols/debug_server.h"

namespace oru_report {

int FetchDebugFile(const std::string& /*build_id*/) { return -1; }

}  // namespace oru_report
