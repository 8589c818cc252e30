// The library's own conversion of struct elements, for descriptions that name no routines: the members in row order,
// packed, numbers big-endian.
#pragma once

#include <cstdint>

#include "sdl/sdltable.h"

namespace vxa::sdl {

// Whether the struct can be converted so: every member is of a known type and lies within the host size, and the wire
// bytes of all members add up to the network size.
bool memberwise_possible(const StructRow& row);

// Convert one element of a struct for which memberwise_possible holds. Bytes of the host element between the members
// are left as they are.
void pack_members(const StructRow& row, const char* host, char* wire);
void unpack_members(const StructRow& row, const char* wire, char* host);

}  // namespace vxa::sdl
