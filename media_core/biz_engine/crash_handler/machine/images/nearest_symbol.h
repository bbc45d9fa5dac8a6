// Which of an image's symbols an address is named by: the one with the greatest value not above the
// address, of equal values the last one in the table. May run in a signal handler.
#ifndef MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_NEAREST_SYMBOL_H_
#define MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_NEAREST_SYMBOL_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace CrashHandler::machine {

// An address that is looked for, and the nearest symbol so far.
struct SymbolQuery {
  uint64_t relative = 0;  // the address as the image has it, without what the loader added
  uint64_t value = 0;
  uint32_t name = 0;  // index in the strings
  uint8_t type = 0;
  bool found = false;
};

// A search offers every symbol of a table, in the table's order, to queries in ascending order of
// their addresses, and completes them. `Query` is a SymbolQuery or has one as its base.
template <typename Query>
void OfferSymbol(uint64_t value, uint32_t name, uint8_t type, Query* queries, size_t count) {
  Query* query =
      std::lower_bound(queries, queries + count, value,
                       [](const Query& one, uint64_t wanted) { return one.relative < wanted; });
  if (query == queries + count || (query->found && value < query->value)) return;
  query->value = value;
  query->name = name;
  query->type = type;
  query->found = true;
}

// An address without a symbol of its own has the one of the address before it.
template <typename Query>
void CompleteQueries(Query* queries, size_t count) {
  for (size_t i = 1; i < count; ++i) {
    if (queries[i].found) continue;
    const uint64_t relative = queries[i].relative;
    static_cast<SymbolQuery&>(queries[i]) = queries[i - 1];
    queries[i].relative = relative;
  }
}

}  // namespace CrashHandler::machine

#endif  // MEDIA_CORE_BIZ_ENGINE_CRASH_HANDLER_MACHINE_IMAGES_NEAREST_SYMBOL_H_
