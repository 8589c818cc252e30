// The environment variables that this host obeys. They are read at every use, so that what an environment file sets
// counts too.
#pragma once

#include <cstdlib>
#include <cstring>

namespace vxa::host {

// The value, or "" when the variable is not set, or not to be trusted (in a set-user-id program).
inline const char* setting(const char* name) {
  const char* value = secure_getenv(name);
  return value ? value : "";
}

inline bool setting_is(const char* name, const char* value) { return std::strcmp(setting(name), value) == 0; }

}  // namespace vxa::host
