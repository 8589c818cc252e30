// Taking file names apart and putting them together. A separator is '/' or, as names from elsewhere have it, '\'.
#pragma once

#include <cstddef>

namespace vxa::env {

// Capacity of the buffers that hold a path, terminator included; longer paths are refused.
inline constexpr std::size_t kPathSize = 256;

// The last separator of the path, null when it has none.
const char* last_separator(const char* path);

// Appends '/' unless the path ends in one; there must be room for it. Whether it already did.
bool end_with_slash(char* path);

// Removes empty and "." components, and ".." together with the component before it, in place. A last component with no
// separator behind it stays as it is.
void normalise(char* path);

}  // namespace vxa::env
