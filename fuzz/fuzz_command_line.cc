// The command line of `varnook`, and its arguments as the log shows them.
#include <limits>

#include "fuzz/environment_variable.h"
#include "fuzz/fuzz_support.h"
#include "fuzz/utf8_check.h"
#include "helper/command_line.h"
#include "helper/readable_text.h"

using oru_fuzz::Require;
using Strings = std::vector<std::string>;

namespace {

struct Pair {
  int index;
  std::string key;
  std::string value;
};

// The rules for pairs, walked over whole strings. A null argument is the text below.
const std::string kNull("\0null", 5);

std::vector<Pair> PairsOf(const Strings& arguments) {
  std::vector<Pair> pairs;
  for (size_t i = 0; i + 1 < arguments.size(); ++i) {
    const std::string& word = arguments[i];
    if (word.size() < 2 || word[0] != '-') continue;
    const std::string& value = arguments[i + 1];
    pairs.push_back({static_cast<int>(i), word, value == kNull ? "" : value});
    ++i;
  }
  return pairs;
}

std::string LastValue(const std::vector<Pair>& pairs, const std::string& key) {
  std::string value;
  for (const Pair& pair : pairs) {
    if (pair.key == key) value = pair.value;
  }
  return value;
}

int LastKnownAction(const std::vector<Pair>& pairs) {
  const Strings names = {"", "init", "uploadLog", "uploadCrash", "requestDump"};
  int action = 0;
  for (const Pair& pair : pairs) {
    if (pair.key != "-action") continue;
    for (size_t code = 1; code < names.size(); ++code) {
      if (pair.value == names[code]) action = static_cast<int>(code);
    }
  }
  return action;
}

void CheckFields(const CommandLine& command, const std::vector<Pair>& pairs) {
  Require(command.action == LastKnownAction(pairs), "action");
  Require(command.app_id == LastValue(pairs, "-apid"), "apid");
  Require(command.session_id == LastValue(pairs, "-seid"), "seid");
  Require(command.sdk_version == LastValue(pairs, "-ver"), "ver");
  Require(command.delay == LastValue(pairs, "-delay"), "delay");
  Require(command.access_key_id == LastValue(pairs, "-akid"), "akid");
  Require(command.access_key_secret == LastValue(pairs, "-akscrt"), "akscrt");
  Require(command.security_token == LastValue(pairs, "-sectkn"), "sectkn");
  Require(command.endpoint == LastValue(pairs, "-edpt"), "edpt");
  Require(command.bucket == LastValue(pairs, "-bukt"), "bukt");
  Require(command.log_path == LastValue(pairs, "-logp"), "logp");
  Require(command.library_path == LastValue(pairs, "-libp"), "libp");
  Require(command.extra_info == LastValue(pairs, "-ext"), "ext");
}

CommandLine CheckCommandLine(const Strings& arguments) {
  std::vector<const char*> argv;
  for (const std::string& argument : arguments) {
    argv.push_back(argument == kNull ? nullptr : argument.c_str());
  }
  const std::vector<Pair> pairs = PairsOf(arguments);
  size_t seen = 0;
  const ArgumentObserver observer = [&](int index, const char* key, const char* value) {
    Require(seen < pairs.size(), "number of pairs");
    const Pair& pair = pairs[seen++];
    Require(pair.index == index && pair.key == key && pair.value == value, "pair");
  };
  const auto count = static_cast<int>(argv.size());
  const CommandLine command = ParseCommandLine(count, argv.data(), observer);
  Require(seen == pairs.size(), "every pair is told of");
  CheckFields(command, pairs);
  return command;
}

// Digit by digit, stopping at the ends of the range.
uint64_t LeadingNumber(const std::string& text) {
  using Limits = std::numeric_limits<int64_t>;
  size_t at = text.find_first_not_of(" \t\n\v\f\r");
  if (at == std::string::npos) return 0;
  const bool negative = text[at] == '-';
  if (negative || text[at] == '+') ++at;
  int64_t number = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    const int64_t digit = negative ? '0' - text[at] : text[at] - '0';
    if (!negative && number > (Limits::max() - digit) / 10) return Limits::max();
    if (negative && number < (Limits::min() - digit) / 10) {
      return static_cast<uint64_t>(Limits::min());
    }
    number = number * 10 + digit;
  }
  return static_cast<uint64_t>(number);
}

// The bytes that a text with escapes stands for.
std::string BytesOf(const std::string& readable) {
  static const std::string kDigits = "0123456789ABCDEF";
  std::string bytes;
  for (size_t i = 0; i < readable.size(); ++i) {
    if (readable[i] != '\\') {
      bytes += readable[i];
      continue;
    }
    ++i;
    Require(i < readable.size(), "an escape has more than its backslash");
    if (readable[i] == '\\') {
      bytes += '\\';
      continue;
    }
    Require(readable[i] == 'x' && i + 2 < readable.size(), "an escape of a byte");
    const size_t high = kDigits.find(readable[i + 1]);
    const size_t low = kDigits.find(readable[i + 2]);
    Require(high < 16 && low < 16, "two digits of an escape");
    bytes += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return bytes;
}

void CheckReadable(const std::string& argument) {
  const bool good = oru_fuzz::IsWellFormed(argument);
  Require(IsUtf8(argument.c_str()) == good, "IsUtf8");
  const std::string readable = ReadableText(argument.c_str());
  Require(oru_fuzz::IsWellFormed(readable), "readable text is UTF-8");
  Require((good ? readable : BytesOf(readable)) == argument, "no byte is lost to the reader");
  // Every position, as the walk over broken text reaches it.
  for (size_t i = 0; i < argument.size(); ++i) {
    Require(Utf8SequenceLength(argument.c_str() + i) == oru_fuzz::CharacterLength(argument, i),
            "Utf8SequenceLength");
  }
}

void CheckDefaultPath(const std::string& value) {
  static auto* const home = new oru_fuzz::EnvironmentVariable("HOME");
  home->Set(value);
  Require(GetDefaultLogDirPath() == home->Get() + "/Documents/Oru_RTC_Log/", "default path");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  oru_fuzz::Input input(data, size);
  const size_t null_place = input.Byte();
  Strings arguments = oru_test::PiecesOf(input.Rest(), '\0', true);
  for (const std::string& argument : arguments) CheckReadable(argument);
  CheckDefaultPath(arguments[0]);
  if (null_place < arguments.size()) arguments[null_place] = kNull;
  const CommandLine command = CheckCommandLine(arguments);
  for (const std::string& text : {arguments[0], command.delay}) {
    if (text != kNull) Require(DelaySeconds(text) == LeadingNumber(text), "DelaySeconds");
  }
  return 0;
}
