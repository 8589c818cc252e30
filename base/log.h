// Records for the host's error log. The three log functions are the host's: the library imports them weakly, so that it
// also loads into a process that has none, and then logs nothing.
#pragma once

#include <cerrno>

#include "vxa/vxa_host.h"

extern "C" {
__attribute__((weak)) decltype(_vesk_check_loglvl) _vesk_check_loglvl;
__attribute__((weak)) decltype(_real_errwork) _real_errwork;
__attribute__((weak)) decltype(vesk_errwork) vesk_errwork;
}

namespace vxa {

enum class SystemError : int { Omit = 0, Append = 1 };  // Append: the log service adds the text of errno

// Writes one record when the host wants records of that level (1 for trouble that ends a service, 2 for the rest).
template <class... Values>
inline void log_record(SystemError system_error, int level, const char* code, const char* text, Values... values) {
  if (!_vesk_check_loglvl || !_real_errwork) return;
  const int saved_errno = errno;
  if (_vesk_check_loglvl(level)) {
    errno = saved_errno;
    _real_errwork(static_cast<int>(system_error), level, code, text, values...);
  }
  errno = saved_errno;
}

// Writes one record whatever level the host wants.
template <class... Values>
inline void log_always(SystemError system_error, int level, const char* code, const char* text, Values... values) {
  if (!vesk_errwork) return;
  const int saved_errno = errno;
  vesk_errwork(static_cast<int>(system_error), level, code, text, values...);
  errno = saved_errno;
}

}  // namespace vxa
