// Console lines of the gateway client.
#include "xa/console.h"

#include <cstdarg>
#include <cstdio>

namespace {

void print_line(const char* format, va_list values) {
  std::printf("[VeskXA] ");
  std::vfprintf(stdout, format, values);
}

}  // namespace

void vxa::console(const char* format, ...) {
  va_list values;
  va_start(values, format);
  print_line(format, values);
  va_end(values);
}

extern "C" void _print_err(const char* format, ...) {
  va_list values;
  va_start(values, format);
  print_line(format, values);
  va_end(values);
}
