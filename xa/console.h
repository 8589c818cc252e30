// The lines that the gateway client prints about its own failures on standard output.
#pragma once

#include "base/export.h"

namespace vxa {

// Prints "[VeskXA] " and the formatted text, which brings its own newline.
[[gnu::format(printf, 1, 2), gnu::cold]] void console(const char* format, ...);

}  // namespace vxa

VXA_EXPORT void _print_err(const char* format, ...);
