// The 8 bytes in front of a field buffer's records: what makes a stretch of memory a field buffer.
#pragma once

#include <cstdint>

#include "base/bytes.h"

namespace vxa::fb {

inline constexpr std::uint32_t kMagic = 8888;
inline constexpr std::int32_t kBufferHeader = 8;  // magic, then the used length, which counts these 8 bytes

inline std::uint32_t magic_of(const char* data) { return load<std::uint32_t>(data); }
inline std::int32_t used_of(const char* data) { return load<std::int32_t>(data + 4); }
inline void set_used(char* data, std::int32_t used) { store(data + 4, used); }

// Writes the header of an empty buffer.
inline void write_empty(char* data) {
  store(data, kMagic);
  set_used(data, kBufferHeader);
}

}  // namespace vxa::fb
