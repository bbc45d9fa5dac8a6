// Turns an address of a report into a place in the sources.
#ifndef ORU_REPORT_SOURCE_LOOKUP_H_
#define ORU_REPORT_SOURCE_LOOKUP_H_

#include <cstdint>
#include <memory>
#include <string>

#include "oru_report/report_model.h"

namespace oru_report {

struct SourcePlace {
  // Empty when unknown.
  std::string function;
  std::string file;
  int line = 0;
};

// Looks addresses up in the debug information of this machine: the image's own file, a file beside
// it, and the build-id folders below /usr/lib/debug and below the folders given. A file counts only
// if its build id is the report's, so that a rebuilt library never gives wrong lines. Not for use
// from two threads at once.
class SourceLookup {
 public:
  // `report` must outlive the object. `debug_dirs` are searched before the system's folder, divided
  // by ":".
  SourceLookup(const Report& report, const std::string& debug_dirs);
  ~SourceLookup();
  SourceLookup(const SourceLookup&) = delete;
  SourceLookup& operator=(const SourceLookup&) = delete;

  // False when nothing is known. `is_return_address`: the place of the call before it is meant.
  bool Find(uint64_t address, bool is_return_address, SourcePlace* place);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace oru_report

#endif  // ORU_REPORT_SOURCE_LOOKUP_H_
