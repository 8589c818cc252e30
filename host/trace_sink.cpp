// The trace sink: a definition of the trace hook that shows each call with its arguments, its result and the time it
// took, as a line or as a record in the log.
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "host/line.h"
#include "host/trace_output.h"
#include "host/trace_rules.h"
#include "vxa/vxa_host.h"

namespace vxa::host {

namespace {

constexpr int kEntry = 1;  // the event; every other one leaves the call

// The call that was entered last, if it is shown.
struct Pending {
  Show show = Show::No;
  const char* name = "";
  std::int64_t entered = 0;
  Line arguments;  // for the log, which takes the call as one record
};
Pending pending;

std::int64_t nanoseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

void add_process(Line& line) { line.add("%s[%d] ", program_invocation_short_name, getpid()); }

void add_duration(Line& line, std::int64_t ns) {
  const auto amount = static_cast<double>(ns);
  if (ns < 1'000)
    line.add("  <%.0f ns>", amount);
  else if (ns < 1'000'000)
    line.add("  <%.1f us>", amount / 1e3);
  else if (ns < 1'000'000'000)
    line.add("  <%.1f ms>", amount / 1e6);
  else
    line.add("  <%.2f s>", amount / 1e9);
}

void enter(const char* name, int call_class, const char* format, va_list values) {
  break_line();  // another thread, a signal handler, a jump out of the call: its end is not seen
  const Show wanted = show(name, call_class);
  act(name, call_class);
  pending.show = wanted;
  if (wanted == Show::No) return;

  Line line;
  if (wanted == Show::AsLine) add_process(line);
  line.add_values(format, values);
  if (wanted == Show::AsLine)
    begin_line(line);
  else
    pending.arguments = line;
  pending.name = name;
  pending.entered = nanoseconds();
}

// The rest of a text behind the name of the call that it begins with.
const char* behind_name(const char* text, const char* name) {
  const std::size_t length = std::strlen(name);
  return std::strncmp(text, name, length) == 0 ? text + length : text;
}

void leave(const char* name, const char* format, va_list values) {
  const std::int64_t duration = nanoseconds() - pending.entered;
  if (pending.show == Show::No || std::strcmp(name, pending.name) != 0) return;
  Line result, line;
  result.add_values(format, values);
  if (pending.show == Show::AsRecord) {
    line.add("%s%s", pending.arguments.text(), behind_name(result.text(), name));
    add_duration(line, duration);
    vesk_errwork(0, 2, "TRC9000", "9000 %s", line.text());
  } else {
    if (!line_open()) add_process(line);
    line.add("%s", line_open() ? behind_name(result.text(), name) : result.text());
    add_duration(line, duration);
    end_line(line);
  }
  pending.show = Show::No;
}

// Byte order first, so that doubles travel whole; then the specification that the environment holds.
[[gnu::constructor]] void start() {
  _check_node();
  if (_chk_trace(nullptr, 0) < 0) _level = 0;
}

}  // namespace

}  // namespace vxa::host

using namespace vxa;

extern "C" int _vesk_trace(const char* name, int call_class, int event, const char* format, ...) {
  const int saved_errno = errno;
  va_list values;
  va_start(values, format);
  if (event == host::kEntry)
    host::enter(name, call_class, format, values);
  else
    host::leave(name, format, values);
  va_end(values);
  errno = saved_errno;
  return 1;
}
