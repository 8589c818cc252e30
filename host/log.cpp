// The three log functions, for a host that has none of its own: a line per record, on standard error or in syslog.
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "host/line.h"
#include "host/settings.h"
#include "host/trace_output.h"
#include "vxa/vxa_host.h"

namespace vxa::host {

namespace {

constexpr int kAppendSystemError = 1;
constexpr int kEndsService = 1;  // the level of trouble that ends a service
constexpr int kDefaultLevel = 2;

int wanted_level() {
  const char* level = setting("VXA_LOG_LEVEL");
  return *level ? std::atoi(level) : kDefaultLevel;
}

void add_time(Line& line) {
  timespec now;
  tm local;
  clock_gettime(CLOCK_REALTIME, &now);
  localtime_r(&now.tv_sec, &local);
  char seconds[32];
  strftime(seconds, sizeof seconds, "%Y-%m-%d %H:%M:%S", &local);
  line.add("%s.%03ld ", seconds, now.tv_nsec / 1'000'000);
}

void write_record(int flag, int level, const char* code, const char* format, va_list values) {
  const int system_error = errno;
  Line record;
  record.add("%s ", code);
  record.add_values(format, values);
  if (flag == kAppendSystemError) record.add(" (%s)", std::strerror(system_error));

  if (setting_is("VXA_LOG_TO", "syslog")) {
    syslog(LOG_USER | (level == kEndsService ? LOG_ERR : LOG_WARNING), "%s", record.text());
  } else {
    break_line();
    Line line;
    add_time(line);
    line.add("%s[%d] %s", program_invocation_short_name, getpid(), record.text());
    line.write_to(STDERR_FILENO, true);
  }
  errno = system_error;
}

}  // namespace

}  // namespace vxa::host

using namespace vxa;

extern "C" int _vesk_check_loglvl(int level) { return level <= host::wanted_level() ? 1 : 0; }

extern "C" int _real_errwork(int flag, int level, const char* code, const char* format, ...) {
  va_list values;
  va_start(values, format);
  host::write_record(flag, level, code, format, values);
  va_end(values);
  return 1;
}

extern "C" int vesk_errwork(int flag, int level, const char* code, const char* format, ...) {
  va_list values;
  va_start(values, format);
  host::write_record(flag, level, code, format, values);
  va_end(values);
  return 1;
}
