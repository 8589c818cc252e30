// Rounding of lengths to the 8-byte grid on which field records lie.
#pragma once

#include <cstdint>

namespace vxa {

inline constexpr std::int64_t align8(std::int64_t n) { return (n + 7) & ~std::int64_t{7}; }

}  // namespace vxa
