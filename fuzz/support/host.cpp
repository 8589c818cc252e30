// The host process as fuzz targets play it: log records and trace events are formatted, so that bad arguments show,
// and dropped.
#include <cstdarg>
#include <cstdio>

#include "vxa/vxa_host.h"

extern "C" int _vesk_check_loglvl(int) { return 1; }

extern "C" int _real_errwork(int, int, const char*, const char* format, ...) {
  char text[512];
  va_list values;
  va_start(values, format);
  std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  return 1;
}

extern "C" [[gnu::alias("_real_errwork")]] int vesk_errwork(int, int, const char*, const char*, ...);

extern "C" int _vesk_trace(const char*, int, int, const char* format, ...) {
  char text[512];
  va_list values;
  va_start(values, format);
  std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  return 1;
}
