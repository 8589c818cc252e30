#include "tests/support/host.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "vxa/vxa_host.h"

namespace host {

int log_level = 9;

namespace {

std::vector<LogRecord> records;
std::vector<TraceEvent> events;
int tracing = 0;

std::string formatted(const char* format, va_list values) {
  char text[9000];
  std::vsnprintf(text, sizeof text, format, values);
  return text;
}

int hex_digit(char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; }

}  // namespace

std::vector<LogRecord> take_log() { return std::exchange(records, {}); }
std::vector<TraceEvent> take_trace() { return std::exchange(events, {}); }

Tracing::Tracing() {
  events.clear();
  ++tracing;
}
Tracing::~Tracing() { --tracing; }

Environment::Environment(const char* name, const char* value) : name_(name), was_set_(std::getenv(name) != nullptr) {
  if (was_set_) before_ = std::getenv(name);
  if (value)
    setenv(name, value, 1);
  else
    unsetenv(name);
}

Environment::~Environment() {
  if (was_set_)
    setenv(name_.c_str(), before_.c_str(), 1);
  else
    unsetenv(name_.c_str());
}

std::string bytes(const char* hex) {
  std::string out;
  for (; *hex; ++hex) {
    if (*hex == ' ' || *hex == '\n') continue;
    if (*hex == '_')
      out.push_back('\0');
    else
      out.push_back(static_cast<char>(hex_digit(hex[0]) << 4 | hex_digit(hex[1])));
    ++hex;
  }
  return out;
}

}  // namespace host

using namespace host;

extern "C" int _vesk_check_loglvl(int level) { return level <= log_level; }

extern "C" int _real_errwork(int flag, int level, const char* code, const char* format, ...) {
  va_list values;
  va_start(values, format);
  records.push_back({flag, level, code, formatted(format, values)});
  va_end(values);
  return 1;
}

extern "C" int vesk_errwork(int flag, int level, const char* code, const char* format, ...) {
  va_list values;
  va_start(values, format);
  records.push_back({flag, level, code, formatted(format, values)});
  va_end(values);
  return 1;
}

extern "C" int _vesk_trace(const char* name, int, int event, const char* format, ...) {
  if (!tracing) return 1;
  va_list values;
  va_start(values, format);
  events.push_back({name, event, formatted(format, values)});
  va_end(values);
  return 1;
}
