// The names of crash files, taken apart and put together again.
#include "fuzz/fuzz_support.h"
#include "media_core/biz_engine/crash_handler/tools/crash_handler_utils.h"

using oru_fuzz::Require;
using Fields = std::vector<std::string>;

namespace {

// True with the four fields behind the prefix.
bool Parse(const std::string& name, Fields* fields) {
  *fields = {"A", "B", "C", "D"};
  return CrashHandler::ParseCrashInfoFromFileName(name, &(*fields)[0], &(*fields)[1], &(*fields)[2],
                                                  &(*fields)[3]);
}

void CheckAnyName(const std::string& name) {
  Fields fields;
  const bool good = Parse(name, &fields);
  const size_t dot = name.rfind('.');
  Fields expected;
  if (dot != std::string::npos && dot != 0) {
    expected = oru_test::PiecesOf(name.substr(0, dot), '_', true);
    if (expected.back().empty()) expected.pop_back();
  }
  Require(good == (expected.size() == 5), "crash file name");
  if (!good) expected = {"", "A", "B", "C", "D"};
  for (size_t i = 0; i < 4; ++i) Require(fields[i] == expected[i + 1], "crash file field");
}

// A report's name as the crash module makes it, from an application and a session with any bytes.
void CheckMadeName(const std::string& app, const std::string& session, uint8_t kind,
                   const std::string& time) {
  const auto type = static_cast<CrashHandler::CrashType>(kind % 5);
  const std::string word = CrashHandler::GetCrashTypeString(type);
  const std::string name = "Crash_" + app + "_" + session + "_" + word + "_" + time + ".log";
  CheckAnyName(name);
  const bool plain = (app + session + time).find('_') == std::string::npos && !time.empty();
  Fields fields;
  const bool good = Parse(name, &fields);
  if (!plain) return;
  Require(good && fields == Fields({app, session, word, time}), "made name comes back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const uint8_t kind = input.Byte();
  const uint8_t app_length = input.Byte();
  const uint8_t session_length = input.Byte();
  const std::string name = oru_fuzz::Input(input).Rest();
  CheckAnyName(name);
  const std::string app = input.Text(app_length);
  const std::string session = input.Text(session_length);
  CheckMadeName(app, session, kind, input.Rest());
  return 0;
}
