// What an internal operation gives back: a value, or the error code with which it failed. Which numbering the code
// belongs to (fberror, tperrno) is the operation's business; only the public layer writes those variables.
#pragma once

#include <utility>

namespace vxa {

struct Error {
  int code;
};

template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : value_(std::move(value)) {}
  Result(Error error) : failed_(true), code_(error.code) {}

  bool failed() const { return failed_; }
  explicit operator bool() const { return !failed_; }
  int code() const { return code_; }
  Error error() const { return Error{code_}; }
  T value() const { return value_; }
  T take() { return std::move(value_); }  // for values that are owned

 private:
  T value_{};
  bool failed_ = false;
  int code_ = 0;
};

// The plain outcome of calls that answer 1 or fail.
using Outcome = Result<int>;
inline Outcome success() { return Outcome{1}; }

}  // namespace vxa
