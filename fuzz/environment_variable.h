// An environment variable that an input changes.
#ifndef FUZZ_ENVIRONMENT_VARIABLE_H_
#define FUZZ_ENVIRONMENT_VARIABLE_H_

#include <cstdlib>
#include <string>

namespace oru_fuzz {

// Lives as long as the process. The value is changed in place: setenv would keep every value that
// ever was, and putenv would look through the environment each time.
class EnvironmentVariable {
 public:
  explicit EnvironmentVariable(const std::string& name) : text_(name + "="), start_(text_.size()) {
    text_.reserve(kRoom);
    putenv(&text_[0]);
  }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

  // Cuts what is longer than any input of scripts/fuzz.
  void Set(const std::string& value) {
    text_.resize(start_);
    text_.append(value, 0, kRoom - start_);
  }
  std::string Get() const { return text_.substr(start_); }

 private:
  static constexpr size_t kRoom = 8192;

  std::string text_;
  const size_t start_;
};

}  // namespace oru_fuzz

#endif  // FUZZ_ENVIRONMENT_VARIABLE_H_
