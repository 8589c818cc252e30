// Doubles on the wire: the rule that _endian selects.
#pragma once

#include <bit>
#include <cstdint>

#include "base/bytes.h"
#include "vxa/vxa_host.h"

namespace vxa::codec {

// _endian, once the host has probed its byte order.
inline constexpr std::int32_t kBigEndianHost = 1;
inline constexpr std::int32_t kLittleEndianHost = 2;

// A double's bits between host form and wire form, the same both ways: reversed as a whole once _endian tells that the
// host is little-endian, else each half for itself.
class DoubleOrder {
 public:
  DoubleOrder() : half_turn_(_endian == kLittleEndianHost ? 0 : 32) {}
  std::uint64_t convert(std::uint64_t bits) const { return std::rotl(byteswap(bits), half_turn_); }

 private:
  int half_turn_;
};

}  // namespace vxa::codec
