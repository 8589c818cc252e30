// The trace settings and the parse that makes them. The library itself consults none of them: they are for the trace
// hook of a host.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/heap.h"
#include "base/log.h"
#include "trace/spec.h"

std::int32_t _level = 0;
std::int32_t _action = 0;
char* _recv_spec = nullptr;
char* _act_spec = nullptr;
char* _act_msg = nullptr;
std::int32_t _act_sleep = -1;
std::int32_t _dye_level = 0;
std::int32_t _tmtrace = 0;
char _obuf[4096] = {};
std::int32_t _trc_set = 0;
std::int32_t _trc_count = 0;
std::int32_t _pflag = 0;
std::int32_t _call = 0;

namespace vxa::trace {

namespace {

// Values of _tmtrace.
constexpr std::int32_t kProcessed = 1;
constexpr std::int32_t kNotConfigured = 2;

void set(std::int32_t level, std::int32_t action) {
  _level = level;
  _action = action;
}

bool invalid(const char* code, const char* text) {
  log_record(SystemError::Omit, 2, code, kInvalidText, text);
  return false;
}

// A leading plus or minus edits the level that stands.
bool apply_level(const char* field) {
  if (!field) {
    _level = kLevelAtmi;
    return true;
  }
  if (std::strcmp(field, "*") == 0) {
    _level = kLevelAll;
    return true;
  }
  const bool edits = *field == '+' || *field == '-';
  const int value = value_of_word(edits ? field + 1 : field, kLevelField);
  if (value < 0) return false;
  if (*field == '+')
    _level |= value;
  else if (*field == '-')
    _level &= ~value;
  else
    _level = value;
  return true;
}

bool apply_destination(char* field) {
  if (!field) return true;
  const char* word = word_of_field(field, kDestinationField);
  return word && value_of_word(word, kDestinationField) >= 0;
}

bool apply_action(char* field) {
  if (!field) {
    _action = kActionDye;
    return true;
  }
  const char* word = word_of_field(field, kActionField);
  const int value = word ? value_of_word(word, kActionField) : -1;
  if (value < 0) return false;
  _action = value;
  return true;
}

bool apply_fields(const char* text) {
  char working[sizeof _obuf];
  std::strcpy(working, text);
  char* fields[kFields];
  if (split_fields(working, fields) > kFields) return invalid("TRC5003", text);
  const auto [level, destination, action] = fields;
  if (!level && !destination) return invalid("TRC5003", working);
  return apply_level(level) && apply_destination(destination) && apply_action(action);
}

bool parse(const char* text) {
  _dye_level = 0;
  const HeapPtr<char> last_message{std::exchange(_act_msg, nullptr)};
  if (!replace_holder(_act_msg, "", "TRC5001")) return false;
  if (!text) text = std::getenv("VESK_TRACE");
  if (!text) {
    _tmtrace = kNotConfigured;
    return true;
  }
  const std::size_t length = std::strlen(text);
  if (length >= sizeof _obuf) return invalid("TRC5002", text);
  std::memmove(_obuf, text, length + 1);

  _tmtrace = kProcessed;
  if (std::strcmp(_obuf, "on") == 0) {
    set(kLevelAtmi, kActionDye);
    return true;
  }
  if (std::strcmp(_obuf, "off") == 0) {
    set(0, kActionUndye);
    return true;
  }
  return apply_fields(_obuf);
}

void print_text(const char* name, const char* text) {
  if (text) std::printf("%s = [%s], ", name, text);
}

void print_settings() {
  std::printf("_level = [%#x], ", static_cast<unsigned>(_level));
  print_text("_recv_spec", _recv_spec);
  std::printf("_action = [%#x], ", static_cast<unsigned>(_action));
  print_text("_act_spec", _act_spec);
  print_text("_act_msg", _act_msg);
  std::printf("_act_sleep = [%d], \n", _act_sleep);
}

}  // namespace

}  // namespace vxa::trace

using namespace vxa;

extern "C" int _parse_trace(const char* spec, int) { return trace::parse(spec) ? 1 : -1; }

extern "C" int _chk_trace(const char* spec, int) {
  trace::set(0, 0);
  _act_sleep = 0;
  _act_spec = nullptr;  // forgotten, not released: the host may still hold it, and the message
  _act_msg = nullptr;
  return trace::parse(spec) ? 1 : -1;
}

extern "C" int _trace_dbg() {
  trace::print_settings();
  return 1;
}
