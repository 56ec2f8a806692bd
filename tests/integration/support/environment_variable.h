#pragma once

#include <stdlib.h>

#include <optional>
#include <string>

namespace tovalin::test {

// Sets a variable of the environment, or unsets it, for the length of a scope.
class EnvironmentVariable {
 public:
  // A null `value` unsets it.
  EnvironmentVariable(const char* name, const char* value) : name_(name) {
    if (const char* present = getenv(name)) before_ = present;
    set(value);
  }
  ~EnvironmentVariable() { set(before_ ? before_->c_str() : nullptr); }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

 private:
  void set(const char* value) {
    if (value != nullptr) setenv(name_, value, 1);
    if (value == nullptr) unsetenv(name_);
  }

  const char* const name_;
  std::optional<std::string> before_;
};

}  // namespace tovalin::test
