// The open string of the resource manager: options of the form key=value, separated by '+'.
#pragma once

#include "base/export.h"

namespace vxa::xa {

// Reads host (required), dbglvl and timeout into the link's variables. False when the host option fails; then nothing
// is changed. An option that is absent or empty leaves its variable as it was. info may be null.
bool read_open_string(const char* info);

}  // namespace vxa::xa

VXA_EXPORT int parse_xainfo(const char* info);
VXA_EXPORT int _get_val(const char* info, const char* key);
