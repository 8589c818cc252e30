// Values: writing a record, copying a stored value out under the length policy, comparing, and the test for null.
#pragma once

#include <cstdint>

#include "base/export.h"
#include "base/result.h"
#include "fb/fbcommon.h"
#include "vxa/fbuf.h"

namespace vxa::fb {

// How a value of type long lies in the caller's memory: as the machine's 64 bits, or as the 32 that a record keeps.
enum class LongForm { Stored, Native };

// Whether a value can be stored under the key: FBETYPE (unknown type), FBEINVAL (no value, or a carray without bytes).
inline Outcome check_value(FieldKey key, Value value) {
  if (!type_known(key.type())) return Error{FBETYPE};
  if (!value.at || (key.type() == kCarray && value.length <= 0)) return Error{FBEINVAL};
  return success();
}

// Writes a record whose slot is there and whose value was checked; length is its stored length. Padding is left alone.
inline void write_record(char* at, FieldKey key, const void* value, std::int64_t length, LongForm form) {
  constexpr auto low_half = [](auto number) { return static_cast<std::uint32_t>(number); };
  store(at, key.word());
  char* const narrow = at + kKeySize;
  char* const wide = at + 8;
  switch (key.type()) {
    case kChar:
      return store(narrow, load<std::uint8_t>(value));
    case kShort:
      return store(narrow, load<std::uint16_t>(value));
    case kInt:
    case kFloat:
      return store(narrow, load<std::uint32_t>(value));
    case kLong:
      return store(narrow,
                   form == LongForm::Native ? low_half(load<std::uint64_t>(value)) : load<std::uint32_t>(value));
    case kDouble:
      return store(wide, load<std::uint64_t>(value));
    case kString:
      std::memmove(narrow, value, static_cast<std::size_t>(length));
      narrow[length] = 0;
      return;
    default:
      store(narrow, low_half(length));
      std::memmove(wide, value, static_cast<std::size_t>(length));
  }
}

// Copies a stored value out. length: null, or on entry the bytes that dest holds (0: enough) and on return those of the
// whole value, or those copied where the policy cut it. It tells and limits strings (terminator included) and carrays
// alone; a carray is refused without it (FBEINVAL). Other failures: FBENOSPACE (too long under the policy), FBETYPE.
Outcome copy_out(Record record, void* dest, int* length);

// Whether the value is the null value of its type; an unknown type counts as null.
bool is_null(Record record);

// Whether a stored value equals the caller's. Carrays are compared over the shorter of the two; an unknown type equals
// nothing.
bool equals(Record record, Value value);

}  // namespace vxa::fb

VXA_EXPORT int _put_fld_to_fbuf(void* rec, int key, const void* value, int len, int longsize);
VXA_EXPORT int _get_fbval_to_usrloc(const void* rec, void* value, int* len);
VXA_EXPORT int _is_value_null(const void* rec);
VXA_EXPORT int _value_comp(const void* rec, const void* value, int len);
