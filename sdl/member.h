// A member of a described struct: its elements in a caller's struct, and its null value.
#pragma once

#include <cstdint>

#include "fb/fbcommon.h"
#include "sdl/sdltable.h"

namespace vxa::sdl {

class Member {
 public:
  explicit Member(const MemberRow& row);

  bool named(const char* name) const;
  int type() const { return row_.type; }
  fb::FieldKey key() const { return fb::FieldKey{row_.key}; }
  bool is_text() const { return row_.type == fb::kString || row_.type == fb::kCarray; }

  // Elements of the member, none for an unknown type and for texts without a length.
  int elements() const;
  // Bytes of one element.
  std::int64_t width() const { return is_text() ? row_.length : element_width(row_.type); }
  char* element(void* record, int i) const { return static_cast<char*>(record) + row_.offset + width() * i; }
  const char* element(const void* record, int i) const { return element(const_cast<void*>(record), i); }

  // Null values as the description gives them. A text that is too long for its element is cut, terminator included.
  bool is_null(const char* element) const;
  void store_null(char* element) const;

  // Whether occurrence i is zero, whatever the null value: of texts, occurrences are single bytes. Not for an unknown
  // type, nor outside the row's count.
  bool is_zero(const void* record, int i) const;
  bool has_occurrence(int i) const { return i >= 0 && i < row_.count; }

 private:
  const MemberRow& row_;
  char null_text_[sizeof row_.null_value + 1];  // with a terminator, whatever the file had
};

}  // namespace vxa::sdl
