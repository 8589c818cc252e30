// Loads and stores of numbers at any address, in host order or big-endian, each a single instruction when compiled.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace vxa {

template <class T>
inline T load(const void* at) {
  static_assert(std::is_trivially_copyable_v<T>);
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

template <class T>
inline void store(void* at, T value) {
  static_assert(std::is_trivially_copyable_v<T>);
  std::memcpy(at, &value, sizeof value);
}

inline constexpr std::uint16_t byteswap(std::uint16_t v) { return __builtin_bswap16(v); }
inline constexpr std::uint32_t byteswap(std::uint32_t v) { return __builtin_bswap32(v); }
inline constexpr std::uint64_t byteswap(std::uint64_t v) { return __builtin_bswap64(v); }

// Whether one of the word's eight bytes is 0.
inline constexpr bool has_zero_byte(std::uint64_t word) {
  return ((word - 0x0101010101010101u) & ~word & 0x8080808080808080u) != 0;
}

// Between host order and network order; its own inverse.
template <class T>
inline constexpr T big_endian(T value) {
  if constexpr (std::endian::native == std::endian::big) return value;
  return static_cast<T>(byteswap(static_cast<std::make_unsigned_t<T>>(value)));
}

template <class T>
inline T load_be(const void* at) {
  return big_endian(load<T>(at));
}

template <class T>
inline void store_be(void* at, T value) {
  store<T>(at, big_endian(value));
}

}  // namespace vxa
