// The frame that every public typed-buffer and field-buffer call runs in: it reports the entry, resets the error code,
// and reports the one return or failure. A call reads:
//
//   ApiCall call{texts, buf, key, nth};                     entry event, error code 0
//   if (!buf) return call.fail(FBEINVAL);                   error code set, failure event, -1 or null
//   return call.finish(fields::erase(...));                 return or failure event, by the operation's result
//
// An ErrorDomain says where the error code lives and what its texts are (fberror, tperrno).
#pragma once

#include <concepts>
#include <cstdint>
#include <type_traits>

#include "base/result.h"
#include "trace/hook.h"

namespace vxa {

// A public call's name and its three trace texts (printf formats).
struct ApiTexts {
  const char* name;
  const char* entry;
  const char* success;
  const char* failure;
};

namespace trace {

enum Event : int { kCall = 1, kReturn = 2, kFailure = 4 };
inline constexpr int kApiClass = 1;

// A long that its text prints whole, by "%ld".
struct WholeLong {
  long value;
};

// How values reach the hook: text as text, any other pointer as the unsigned that "%#x" prints, integers as int (the
// formats print longs with "%d" too).
inline long value_of(WholeLong number) { return number.value; }
inline const char* value_of(const char* text) { return text; }
template <class T>
requires(!std::same_as<T, const char>) inline unsigned value_of(T* pointer) {
  return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(pointer));
}
template <std::integral T>
inline int value_of(T number) {
  return static_cast<int>(number);
}
template <std::floating_point T>
inline double value_of(T number) {
  return number;
}

template <class... Values>
[[gnu::noinline]] void report(const char* name, Event event, const char* format, Values... values) {
  _vesk_trace(name, kApiClass, event, format, value_of(values)...);
}

}  // namespace trace

// What a failed call returns: -1 or null, whichever its caller's type asks for.
struct CallFailed {
  operator int() const { return -1; }
  operator long() const { return -1; }
  template <class T>
  operator T*() const {
    return nullptr;
  }
};

// Marks a call that leaves the error code of the call before it in place until it fails itself.
struct KeepCode {};
inline constexpr KeepCode keep_code;

template <class ErrorDomain>
class ApiCall {
 public:
  template <class... Args>
  explicit ApiCall(const ApiTexts& texts, Args... args) : ApiCall(keep_code, texts, args...) {
    ErrorDomain::set(0);
  }

  template <class... Args>
  ApiCall(KeepCode, const ApiTexts& texts, Args... args) : texts_(texts) {
    if (trace::hook_replaced()) [[unlikely]]
      trace::report(texts.name, trace::kCall, texts.entry, args...);
  }

  // Fails with the code; the failure text prints the code and its text.
  CallFailed fail(int code) const {
    ErrorDomain::set(code);
    return report_failure();
  }

  // Fails with whatever code stands; for calls whose inner work has set it.
  CallFailed report_failure() const {
    if (trace::hook_replaced()) [[unlikely]]
      trace::report(texts_.name, trace::kFailure, texts_.failure, ErrorDomain::get(),
                    ErrorDomain::text(ErrorDomain::get()));
    return {};
  }

  // Fails with the code and a result of the call's own; the failure text prints result, code and text.
  template <class T>
  T fail_with(T result, int code) const {
    ErrorDomain::set(code);
    if (trace::hook_replaced()) [[unlikely]]
      trace::report(texts_.name, trace::kFailure, texts_.failure, result, code, ErrorDomain::text(code));
    return result;
  }

  // Fails with the code and a result of the call's own, which its failure text names.
  template <class T>
  T fail_giving(T result, int code) const {
    (void)fail(code);
    return result;
  }

  // Fails with the code and a failure text of its own; that prints the leading values, the code and its text.
  template <class... Leading>
  CallFailed fail_as(const char* text, int code, Leading... leading) const {
    ErrorDomain::set(code);
    if (trace::hook_replaced()) [[unlikely]]
      trace::report(texts_.name, trace::kFailure, text, leading..., code, ErrorDomain::text(code));
    return {};
  }

  // Succeeds: the success text prints the result.
  template <class T>
  T done(T result) const {
    if (trace::hook_replaced()) [[unlikely]]
      trace::report(texts_.name, trace::kReturn, texts_.success, result);
    return result;
  }

  // Succeeds with a text of its own, which prints the shown values.
  template <class T, class... Values>
  T done_as(const char* text, T result, Values... shown) const {
    if (trace::hook_replaced()) [[unlikely]]
      trace::report(texts_.name, trace::kReturn, text, shown...);
    return result;
  }

  // Succeeds or fails as the operation did.
  template <class T>
  T finish(const Result<T>& result) const {
    if (result.failed()) [[unlikely]]
      return fail(result.code());
    return done(result.value());
  }

 private:
  const ApiTexts& texts_;
};

}  // namespace vxa
