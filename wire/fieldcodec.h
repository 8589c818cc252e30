// The records of a field buffer between host form and wire form: the same slots at the same places, every number
// big-endian.
//
// src and dst are field buffers from their first byte, the same area or apart, of used bytes at least (8 or more); the
// header is left alone. Whole slots are written: where the areas are apart, the bytes of a slot that carry no meaning
// become zero. Nothing outside the used bytes is touched, whatever the records say: false when a slot would leave them,
// or when a record's type is unknown (log record CSC6405 to the wire, CSC6406 from it); the slots before it are then
// converted.
#pragma once

#include <cstdint>

#include "wire/direction.h"

namespace vxa::codec {

template <To to>
bool convert_fields(const char* src, char* dst, std::int64_t used);

extern template bool convert_fields<To::kWire>(const char*, char*, std::int64_t);
extern template bool convert_fields<To::kHost>(const char*, char*, std::int64_t);

}  // namespace vxa::codec
