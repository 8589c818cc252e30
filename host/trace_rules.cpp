// The level, the destination and the action of the trace specification, put to use.
#include "host/trace_rules.h"

#include <fnmatch.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "base/heap.h"
#include "host/settings.h"
#include "trace/spec.h"
#include "vxa/vxa_host.h"

namespace vxa::host {

namespace {

enum Action : int {
  kAbort = 0x10000,
  kUlog = 0x20000,
  kSystem = 0x40000,
  kTrace = 0x80000,
  kDye = 0x100000,
  kUndye = 0x200000,
  kSleep = 0x400000,
};

bool traced(int call_class) { return (_level & call_class) != 0; }

bool matches(const char* pattern, const char* name) { return !pattern || fnmatch(pattern, name, 0) == 0; }

bool triggers(const char* name) { return matches(_act_spec, name); }

// The settings hold the receiver of an earlier specification on, and not whether a destination was given: the
// specification itself tells.
Show destination_of(const char* name) {
  char text[sizeof _obuf];
  char* fields[trace::kFields] = {};
  std::strcpy(text, _obuf);
  split_trcfld(text, fields);
  const char* destination = fields[trace::kDestinationField - 1];
  if (!destination) return Show::AsLine;
  if (std::strchr(destination, '/') && !matches(_recv_spec, name)) return Show::No;
  return Show::AsRecord;
}

// _dye_level, which every specification resets, is 1 once a call has triggered "dye" or "undye".
bool dyed(const char* name) {
  switch (_action) {
    case kDye:
      if (triggers(name)) _dye_level = 1;
      return _dye_level != 0;
    case kUndye: {
      const bool before = _act_spec && _dye_level == 0;
      if (triggers(name)) _dye_level = 1;
      return before;
    }
    default:
      return true;
  }
}

// Whether VXA_TRACE_ALLOW, words separated by commas, holds the word. Says so once when it does not.
bool allowed(const char* word) {
  const std::size_t length = std::strlen(word);
  for (const char* at = setting("VXA_TRACE_ALLOW"); *at; at += std::strcspn(at, ",")) {
    at += std::strspn(at, ", ");
    if (std::strncmp(at, word, length) == 0 && std::strcspn(at, ", ") == length) return true;
  }
  static bool said = false;
  if (!said) vesk_errwork(0, 2, "TRC9001", "9001 trace action not allowed, name it in VXA_TRACE_ALLOW : %s", word);
  said = true;
  return false;
}

// _chk_trace forgets the blocks of message and target without releasing them; they end here.
void trace_anew() {
  const HeapPtr<char> specification(_act_msg), target(_act_spec);
  if (_chk_trace(specification.get(), 0) < 0) _level = 0;
}

[[noreturn]] void abort_in(const char* name) {
  vesk_errwork(0, 1, "TRC9003", "9003 aborted by the trace specification : %s", name);
  std::abort();
}

}  // namespace

Show show(const char* name, int call_class) {
  return traced(call_class) && dyed(name) ? destination_of(name) : Show::No;
}

void act(const char* name, int call_class) {
  if (!traced(call_class) || !triggers(name)) return;
  switch (_action) {
    case kAbort:
      if (allowed("abort")) abort_in(name);
      break;
    case kUlog:
      vesk_errwork(0, 2, "TRC9002", "9002 %s : %s", name, _act_msg);
      break;
    case kSystem:
      if (allowed("system")) _vesk_system(_act_msg);
      break;
    case kTrace:
      trace_anew();
      break;
    case kSleep:
      if (_act_sleep > 0) sleep(static_cast<unsigned>(_act_sleep));
      break;
    default:
      break;
  }
}

}  // namespace vxa::host
