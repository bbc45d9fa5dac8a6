// For systems without elfutils: no place is ever known, and reports are shown with their symbols
// alone.
#include "oru_report/source_lookup.h"

namespace oru_report {

struct SourceLookup::State {};

SourceLookup::SourceLookup(const Report& /*report*/, const std::string& /*debug_dirs*/) {}
SourceLookup::~SourceLookup() = default;

bool SourceLookup::Find(uint64_t /*address*/, bool /*is_return_address*/, SourcePlace* /*place*/) {
  return false;
}

}  // namespace oru_report
