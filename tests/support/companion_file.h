// Reads a crash report's companion back: strict JSON, an object a line.
#ifndef TESTS_SUPPORT_COMPANION_FILE_H_
#define TESTS_SUPPORT_COMPANION_FILE_H_

#include <string>
#include <vector>

#include "fuzz/json_reader.h"

namespace oru_test {

struct CompanionText {
  // What is wrong with it; empty when nothing is: every line is an object with a type, and the last
  // line is whole and the one that ends a companion.
  std::string error;
  std::vector<oru_fuzz::Json> lines;

  std::vector<const oru_fuzz::Json*> All(const std::string& type) const;
  // A value of the first line of the type, a name within an object as "values.rip"; "" without it.
  // A null is "null", as the text "null" is.
  std::string Value(const std::string& type, const std::string& name) const;
  bool Has(const std::string& type) const { return !All(type).empty(); }
};

CompanionText ParseCompanion(const std::string& text);

}  // namespace oru_test

#endif  // TESTS_SUPPORT_COMPANION_FILE_H_
