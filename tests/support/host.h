// The host process as the tests play it: it keeps the library's log records and trace events for inspection.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace host {

struct LogRecord {
  int flag;
  int level;
  std::string code;
  std::string text;  // formatted
  bool operator==(const LogRecord&) const = default;
};

struct TraceEvent {
  std::string name;
  int event;
  std::string text;  // formatted
  bool operator==(const TraceEvent&) const = default;
};

// The records that the library has logged, and those it wrote past the level test; both are handed over and forgotten.
std::vector<LogRecord> take_log();
// The trace events since the last call; recorded only while a Tracing object lives.
std::vector<TraceEvent> take_trace();

// Which levels _vesk_check_loglvl admits: those up to this one. 9 at start.
extern int log_level;

struct Tracing {
  Tracing();
  ~Tracing();
};

// Sets an environment variable, or removes it (null), for as long as the object lives.
class Environment {
 public:
  Environment(const char* name, const char* value);
  ~Environment() { set(before_ ? before_->c_str() : nullptr); }

 private:
  void set(const char* value) const;

  std::string name_;
  std::optional<std::string> before_;
};

// "0a 1b __" to the bytes it shows, blanks skipped; "__" stands for a byte 0.
std::string bytes(std::string hex);

}  // namespace host
