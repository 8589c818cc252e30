// What random bytes are made to do to field buffers, by tests and fuzz targets.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fields {

// Drives the library and the model through the calls that the bytes spell, comparing after each. Throws
// std::logic_error at the first difference.
void compare_with_model(const std::uint8_t* script, std::size_t size);

// Makes a field buffer of the bytes, whatever they say, and calls everything on two copies of it, one of which never
// has anything in the search cache. Throws std::logic_error when they differ; a sanitizer sees what leaves the buffer.
void call_on_damaged(const std::uint8_t* bytes, std::size_t size);

}  // namespace fields
