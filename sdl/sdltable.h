// The loaded struct descriptions and the search that every user of them shares.
#pragma once

#include <cstdint>
#include <cstring>

#include "vxa/vxa_host.h"

namespace vxa::sdl {

using StructRow = vesk_sdl_struct;
using MemberRow = vesk_sdl_member;
static_assert(sizeof(StructRow) == 64 && sizeof(MemberRow) == 92);

inline constexpr std::size_t kNameLength = 16;

// The first struct of that name; at most 16 characters count on either side, and name need not be terminated there.
// Null when there is none.
const StructRow* find_struct(const char* name);

}  // namespace vxa::sdl
