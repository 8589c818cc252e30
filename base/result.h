// What an internal operation gives back: a value, or the error code with which it failed. Which numbering the code
// belongs to (fberror, tperrno) is the operation's business; only the public layer writes those variables.
#pragma once

#include <climits>
#include <utility>

namespace vxa {

struct Error {
  int code;
};

// Value and state are two words of equal weight, so that a result of a number or a pointer travels in registers.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : value_(std::move(value)) {}
  Result(Error error) : state_(error.code) {}

  bool failed() const { return state_ != kSucceeded; }
  explicit operator bool() const { return !failed(); }
  int code() const { return failed() ? state_ : 0; }
  Error error() const { return Error{code()}; }
  T value() const { return value_; }
  T take() { return std::move(value_); }  // for values that are owned

 private:
  static constexpr int kSucceeded = INT_MIN;  // no error code

  T value_{};
  int state_ = kSucceeded;  // or the code of the failure
};

// The plain outcome of calls that answer 1 or fail.
using Outcome = Result<int>;
inline Outcome success() { return Outcome{1}; }

}  // namespace vxa
