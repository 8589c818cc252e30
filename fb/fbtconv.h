// Conversion between the eight field types, by two converters: one for values in their native representation in the
// caller's memory, one for stored records. They differ in how they widen stored integers and print real numbers.
#pragma once

#include "base/result.h"
#include "fb/fbcommon.h"

namespace vxa::fb {

// Bytes of a value of a type of fixed length as callers hold it, where a long has 64 bits; 0 for all other types.
inline constexpr int native_length(int type) {
  constexpr int kLengths[] = {0, 1, 2, 4, 8, 4, 8};
  return type >= kChar && type <= kDouble ? kLengths[type] : 0;
}

// The tests that come before every conversion of a native value, in their order: FBEINVAL for a carray without bytes,
// FBENOSPACE when the scratch area cannot be had, FBEBADFLD for a bad target type, FBETYPE for a bad source type.
Outcome prepare_conversion(int totype, int fromtype, int fromlen);

// Converts a native value. The result lies in a holder of its type, in the scratch area, or is the source itself, and
// is good until the next conversion; its length counts the terminator of a string. An oversized scratch area is
// released unless the result lies in it. Fails as prepare_conversion does, and with FBEINVAL for a null source.
Result<Value> convert(int totype, int fromtype, Value from);

// Converts a stored record into the caller's area. length: the area's bytes, 0 for no limit, and then the length of
// the result; when the area is refused as too small (FBENOSPACE, nothing is written) the length that it needs. Other
// failures: FBEINVAL (out is null), FBEBADFLD (bad target type), FBETYPE (record of unknown type).
Outcome convert_stored(Record stored, int totype, void* out, int& length);

// Occurrence nth as another type, as convert gives it; a stored long has 32 bits, which count as an int. FBEINVAL
// without a buffer, FBENOENT, or as convert.
Result<Value> value_as(const void* buf, FieldKey key, int nth, int totype);

}  // namespace vxa::fb

VXA_EXPORT int _typcvt_update(void* out, int totype, int* len, const void* rec);
