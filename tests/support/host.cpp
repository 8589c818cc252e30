#include "tests/support/host.h"

#include <algorithm>
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

}  // namespace

std::vector<LogRecord> take_log() { return std::exchange(records, {}); }
std::vector<TraceEvent> take_trace() { return std::exchange(events, {}); }

Tracing::Tracing() {
  events.clear();
  ++tracing;
}
Tracing::~Tracing() { --tracing; }

Environment::Environment(const char* name, const char* value) : name_(name) {
  if (const char* before = std::getenv(name)) before_ = before;
  set(value);
}

void Environment::set(const char* value) const { value ? setenv(name_.c_str(), value, 1) : unsetenv(name_.c_str()); }

std::string bytes(std::string hex) {
  std::erase(hex, ' ');
  std::ranges::replace(hex, '_', '0');
  std::string out;
  for (std::size_t at = 0; at < hex.size(); at += 2)
    out.push_back(static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16)));
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

extern "C" [[gnu::alias("_real_errwork")]] int vesk_errwork(int flag, int level, const char* code, const char* format,
                                                            ...);

extern "C" int _vesk_trace(const char* name, int, int event, const char* format, ...) {
  if (!tracing) return 1;
  va_list values;
  va_start(values, format);
  events.push_back({name, event, formatted(format, values)});
  va_end(values);
  return 1;
}
