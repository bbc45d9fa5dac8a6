// The companion of a report: one JSON object a line, as crash capture writes it
// (docs/crash-companion.md). It comes from other machines like the report: any bytes are read, and
// what is no line of a companion is counted and passed over.
#ifndef ORU_REPORT_MODEL_COMPANION_H_
#define ORU_REPORT_MODEL_COMPANION_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace oru_report {

struct CompanionValue {
  enum class Kind : unsigned char {
    kText,
    // As it stands in the file: a number, or true, false or null.
    kPlain,
  };

  // The name of the object within the line's that it is in; empty for most.
  std::string object;
  std::string name;
  Kind kind = Kind::kPlain;
  std::string text;

  bool IsNull() const { return kind == Kind::kPlain && text == "null"; }
};

struct CompanionLine {
  std::string type;
  // Without the type.
  std::vector<CompanionValue> values;

  // The text of a value; "" when it is not there or null.
  const std::string& Text(std::string_view name) const;
};

struct Companion {
  bool found = false;
  std::vector<CompanionLine> lines;
  // Sentences about what is missing or wrong; empty for a whole companion.
  std::vector<std::string> gaps;

  // The first line of the type, or null.
  const CompanionLine* Find(std::string_view type) const;
};

// Of a file's content, or its beginning.
Companion ParseCompanion(std::string_view text);

}  // namespace oru_report

#endif  // ORU_REPORT_MODEL_COMPANION_H_
