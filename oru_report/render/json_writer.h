// Writes JSON: objects and lists with their commas.
#ifndef ORU_REPORT_RENDER_JSON_WRITER_H_
#define ORU_REPORT_RENDER_JSON_WRITER_H_

#include <cstdint>
#include <string_view>

#include "oru_report/render/output.h"

namespace oru_report {

class JsonWriter {
 public:
  explicit JsonWriter(Output* output) : output_(*output) {}

  // Each value of an object is given with its name, that of a list or the outermost with "".
  void BeginObject(std::string_view name = {});
  void EndObject();
  void BeginList(std::string_view name = {});
  void EndList();
  void Text(std::string_view name, std::string_view value);
  void Number(std::string_view name, uint64_t value);
  // A number or a word of JSON as it stands.
  void Plain(std::string_view name, std::string_view value);
  void Flag(std::string_view name, bool value);
  // "0x1c" as a text: not every reader of JSON keeps 64 bits.
  void Address(std::string_view name, uint64_t value);

 private:
  void Begin(std::string_view name);

  Output& output_;
  bool first_ = true;
};

}  // namespace oru_report

#endif  // ORU_REPORT_RENDER_JSON_WRITER_H_
