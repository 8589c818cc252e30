// The behaviours that VESK_SEMANTICS switches. The variable is read on first use, and again at every use until it was
// there and well formed.
#pragma once

#include <cstdint>

#include "base/export.h"
#include "vxa/vxa_host.h"

namespace vxa::semantics {

// What happens to a string or carray that is longer than the length that its reader gave.
enum class LengthPolicy : std::int32_t {
  Unset = 0,     // copied whole
  Old = 1,       // the same
  Truncate = 2,  // cut to the reader's length
  Refuse = 3,    // the copy fails
};

// Reads the settings unless they were read. False when one is malformed: the policy then stays as it was.
bool read();

inline LengthPolicy length_policy() {
  if (!_vesk_semantics_flag) [[unlikely]]
    (void)read();
  return static_cast<LengthPolicy>(_vesk_flen_flag);
}

}  // namespace vxa::semantics

VXA_EXPORT int _get_sem_value(const char* item);
VXA_EXPORT int _get_sem_key(const char** cursor);
