// Records of numbers in slots of 8 bytes: char, short, int, long, float. The bulk of most field buffers.
#pragma once

#include <bit>
#include <cstdint>

#include "fb/fbcommon.h"
#include "wire/direction.h"

namespace vxa::codec {

static_assert(std::endian::native == std::endian::little, "slots are put together as little-endian words");

constexpr bool is_number_slot(int type) { return type >= fb::kChar && type <= fb::kFloat; }

// A slot of that type between host form and wire form, the same both ways. A narrow value's unused bytes are shifted
// out, so that its own come first and zero bytes follow.
inline std::uint64_t convert_number_slot(int type, std::uint64_t slot) {
  constexpr std::uint8_t kUnusedBits[] = {0, 24, 16, 0, 0, 0};
  const std::uint32_t key = byteswap(static_cast<std::uint32_t>(slot));
  const std::uint32_t value = byteswap(static_cast<std::uint32_t>(slot >> 32)) >> kUnusedBits[type];
  return std::uint64_t{value} << 32 | key;
}

inline constexpr std::int64_t kNumberBlock = 64;  // eight slots

// Whether the processor can convert a block at a time.
bool can_convert_number_blocks();

// Converts the number slots that come first in room bytes, as far as those hold whole blocks; src and dst are the same
// area or apart. Gives the bytes of the slots.
std::int64_t convert_number_blocks(To to, const char* src, char* dst, std::int64_t room);

}  // namespace vxa::codec
