// The loaded struct descriptions: the search that every user of them shares, and a struct's members.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>

#include "vxa/vxa_host.h"

namespace vxa::sdl {

using StructRow = vesk_sdl_struct;
using MemberRow = vesk_sdl_member;
static_assert(sizeof(StructRow) == 64 && sizeof(MemberRow) == 92);

inline constexpr std::size_t kNameLength = 16;

// The first struct of that name; at most 16 characters count on either side, and name need not be terminated there.
// Null when there is none.
const StructRow* find_struct(const char* name);

// The member rows from first to last, as far as the member table holds them.
std::span<const MemberRow> members_between(std::int32_t first, std::int32_t last);
inline std::span<const MemberRow> members_of(const StructRow& row) { return members_between(row.first, row.last); }

// Bytes that an element of a member of that type takes in the struct; strings and carrays are counted in bytes. 0 for
// an unknown type.
constexpr int element_width(std::int32_t type) {
  constexpr int kWidths[] = {0, 1, 2, 4, 8, 4, 8, 1, 1};
  return type >= 1 && type <= 8 ? kWidths[type] : 0;
}

}  // namespace vxa::sdl
