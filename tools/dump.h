// What `vxa dump` shows, for the command and its tests.
#pragma once

#include <cstdio>
#include <string>

namespace vxa::tools {

// Shows a field buffer image or a stream of messages, whichever the bytes begin with. What was shown before damage
// stays shown; the damage itself is thrown as std::runtime_error.
void dump(const std::string& bytes, std::FILE* out);

}  // namespace vxa::tools
