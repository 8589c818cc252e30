// Conversions to numbers that both converters share: of numbers in their native representation, and of text.
#pragma once

#include <concepts>
#include <cstdlib>
#include <limits>

namespace vxa::fb {

using Char = signed char;

// The integer towards zero; the smallest one when the value is no number or lies beyond the range.
template <std::signed_integral Integer>
Integer truncated(double value) {
  constexpr Integer kSmallest = std::numeric_limits<Integer>::min();
  constexpr auto kBelow = static_cast<double>(kSmallest) - 1;
  constexpr auto kAbove = -static_cast<double>(kSmallest);
  return value > kBelow && value < kAbove ? static_cast<Integer>(value) : kSmallest;
}

// Integers keep their low-order bits; a real number becomes an int first, or a long for a long.
template <class To, class From>
To number_as(From value) {
  if constexpr (std::floating_point<From> && std::same_as<To, long>)
    return truncated<long>(value);
  else if constexpr (std::floating_point<From> && std::integral<To>)
    return static_cast<To>(truncated<int>(value));
  else
    return static_cast<To>(value);
}

// The number that the text begins with, 0 when there is none. Integers, longs too, keep the low 32 bits of a decimal
// number; a char is the first byte.
template <class To>
To parsed_as(const char* text) {
  if constexpr (std::same_as<To, Char>)
    return static_cast<Char>(*text);
  else if constexpr (std::floating_point<To>)
    return static_cast<To>(std::strtod(text, nullptr));
  else
    return static_cast<To>(static_cast<int>(std::strtol(text, nullptr, 10)));
}

}  // namespace vxa::fb
