// The scratch area: one block, reused by every conversion, that holds texts printed from numbers and the terminated
// copies of carrays. What lies in it is overwritten by the next conversion.
#pragma once

#include <concepts>
#include <cstdint>
#include <string_view>

#include "base/export.h"
#include "fb/fbcommon.h"

VXA_EXPORT char* st;    // the area, null until the first conversion
VXA_EXPORT int st_len;  // its bytes
VXA_EXPORT void _free_large_carray_buf();

namespace vxa::fb::scratch {

// Room for the longest text of a number: a sign, 309 digits, the point, six decimals and the terminator.
inline constexpr std::int32_t kNumberText = 318;

// Sees that the area exists and holds a terminated copy of a source of that type and length. On failure the area is as
// it was.
bool reserve(int source_type, std::int64_t source_length);

// Gives an area above 1 MiB back to the heap.
void release_oversized();

bool holds(const void* address);

// Texts in the area, terminated behind their last character. A byte makes the text of that one character.
std::string_view print_char(char value);
std::string_view print_integer(long value);
std::string_view print_real(double value);
std::string_view copy(const void* bytes, std::int64_t count);

template <class Number>
std::string_view print(Number value) {
  if constexpr (std::same_as<Number, signed char>)
    return print_char(static_cast<char>(value));
  else if constexpr (std::integral<Number>)
    return print_integer(value);
  else
    return print_real(value);
}

}  // namespace vxa::fb::scratch
