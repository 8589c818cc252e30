// The layout of field buffers, as typed views over the caller's memory: keys, records, and buffers that are walked.
//
// A buffer is 8 bytes (magic, used length) and then records back to back, each on an 8-byte boundary: its key, and its
// value by type. A walk never leaves the bound that it was given, whatever the bytes say: it ends where a record would.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/align.h"
#include "base/bytes.h"
#include "base/export.h"
#include "fb/fbheader.h"
#include "tbuffer/tbuffer.h"
#include "vxa/fbuf.h"

namespace vxa::fb {

inline constexpr std::int32_t kKeySize = 4;
inline constexpr std::int32_t kMinimumSlot = 8;

enum Type : int { kChar = 1, kShort, kInt, kLong, kFloat, kDouble, kString, kCarray };
inline constexpr bool type_known(int type) { return type >= kChar && type <= kCarray; }

// A 32-bit field identifier: type code in the top 6 bits, field number in the low 24; bit 24 marks a stored record as
// fetched, which takes it out of every comparison of whole keys.
class FieldKey {
 public:
  static constexpr std::uint32_t kFetchedMark = 0x01000000;

  explicit constexpr FieldKey(std::uint32_t word) : word_(word) {}
  explicit constexpr FieldKey(int word) : word_(static_cast<std::uint32_t>(word)) {}

  // Added up, so that a number beyond 24 bits runs into the type.
  static constexpr int made_of(int type, int number) {
    return static_cast<int>((static_cast<std::uint32_t>(type) << 26) + static_cast<std::uint32_t>(number));
  }

  constexpr std::uint32_t word() const { return word_; }
  constexpr int type() const { return static_cast<std::int32_t>(word_) >> 26; }
  constexpr int number() const { return static_cast<int>(word_ & 0xFFFFFF); }
  constexpr bool fetched() const { return word_ & kFetchedMark; }
  constexpr FieldKey unmarked() const { return FieldKey{word_ & ~kFetchedMark}; }
  constexpr FieldKey marked() const { return FieldKey{word_ | kFetchedMark}; }
  friend constexpr bool operator==(FieldKey, FieldKey) = default;

 private:
  std::uint32_t word_;
};

// A value in the caller's memory that is to be stored: a string's length is its own, a carray's is given, and the
// other types have theirs.
struct Value {
  const void* at;
  int length;
};

// Bytes of a value of a type of fixed length; -1 for strings, carrays and unknown types.
inline constexpr int fixed_length(int type) {
  constexpr int kLengths[] = {-1, 1, 2, 4, 4, 4, 8};
  return type >= kChar && type <= kDouble ? kLengths[type] : -1;
}

// Bytes that a value has once stored, a string's without its terminator; -1 for an unknown type.
inline std::int64_t stored_length(int type, Value value) {
  if (type == kString) return value.at ? static_cast<std::int64_t>(std::strlen(static_cast<const char*>(value.at))) : 0;
  return type == kCarray ? value.length : fixed_length(type);
}

// The slot of a record whose value has that length; 8 for an unknown type.
inline constexpr std::int64_t slot_for(int type, std::int64_t value_length) {
  if (type == kString) return align8(kKeySize + value_length + 1);
  if (type == kCarray) return align8(8 + value_length);
  return type == kDouble ? 16 : kMinimumSlot;
}

// A stored record. The view is as wide as a pointer; who makes one guarantees that the record's slot is there.
class Record {
 public:
  Record() = default;
  explicit Record(char* at) : at_(at) {}
  explicit operator bool() const { return at_ != nullptr; }

  char* at() const { return at_; }
  FieldKey key() const { return FieldKey{load<std::uint32_t>(at_)}; }
  void set_key(FieldKey key) const { store(at_, key.word()); }
  int type() const { return key().type(); }

  // The value: a string's characters, a carray's bytes behind their length word.
  char* value() const { return at_ + (wide(type()) ? 8 : 4); }
  std::uint32_t carray_length() const { return load<std::uint32_t>(at_ + kKeySize); }

  // The value in the form in which buffers keep it, to be stored again.
  Value stored_value() const { return {value(), type() == kCarray ? static_cast<int>(carray_length()) : 0}; }

  // Bytes of the value: a string's without its terminator. -1 for an unknown type.
  std::int64_t value_length() const {
    switch (const int type = this->type()) {
      case kString:
        return static_cast<std::int64_t>(std::strlen(at_ + kKeySize));
      case kCarray:
        return carray_length();
      default:
        return fixed_length(type);
    }
  }

  std::int64_t slot_length() const { return slot_for(type(), value_length()); }

  // The slot length when the whole slot lies within room bytes, else 0. Reads nothing beyond them.
  std::int64_t slot_length_within(std::int64_t room) const {
    if (room < kMinimumSlot) return 0;
    std::int64_t length = kMinimumSlot;
    switch (type()) {
      case kString:
        return string_slot_within(room);
      case kCarray:
        length = slot_for(kCarray, carray_length());
        break;
      case kDouble:
        length = slot_for(kDouble, 0);
        break;
      default:
        return kMinimumSlot;
    }
    return length <= room ? length : 0;
  }

 private:
  // A string's slot ends with the first of its 8-byte words that holds a zero byte behind the key.
  std::int64_t string_slot_within(std::int64_t room) const {
    constexpr std::uint64_t kKeyBytes = std::endian::native == std::endian::little ? 0xFFFFFFFF : ~0xFFFFFFFFull;
    if (has_zero_byte(load<std::uint64_t>(at_) | kKeyBytes)) return 8;
    for (std::int64_t length = 16; length <= room; length += 8)
      if (has_zero_byte(load<std::uint64_t>(at_ + length - 8))) return length;
    return 0;
  }

  static constexpr bool wide(int type) { return type == kDouble || type == kCarray; }

  char* at_ = nullptr;
};

// The records between two addresses, in order, as a range.
class Records {
 public:
  class Iterator {
   public:
    Iterator(char* at, char* end) : at_(at), end_(end) { measure(); }
    Record operator*() const { return Record{at_}; }
    Iterator& operator++() {
      at_ += slot_;
      measure();
      return *this;
    }
    bool operator!=(const Iterator& other) const { return at_ != other.at_; }
    std::int64_t slot_length() const { return slot_; }

   private:
    void measure() {
      slot_ = Record{at_}.slot_length_within(end_ - at_);
      if (slot_ == 0) at_ = end_;
    }

    char* at_;
    char* end_;
    std::int64_t slot_ = 0;
  };

  Records(char* begin, char* end) : begin_(begin), end_(end < begin ? begin : end) {}
  Iterator begin() const { return {begin_, end_}; }
  Iterator end() const { return {end_, end_}; }

 private:
  char* begin_;
  char* end_;
};

// A field buffer: the data of a typed buffer, whose hidden header gives the capacity.
class FieldBuffer {
 public:
  explicit FieldBuffer(void* data) : data_(static_cast<char*>(data)) {}
  explicit FieldBuffer(const void* data) : FieldBuffer(const_cast<void*>(data)) {}

  char* data() const { return data_; }
  bool valid() const { return magic_of(data_) == kMagic; }
  std::int32_t capacity() const { return TypedBuffer{data_}.header()->size; }
  std::int32_t used() const { return used_of(data_); }
  void set_used(std::int32_t used) const { fb::set_used(data_, used); }

  // The used length, held within what the buffer really has.
  std::int32_t used_within() const { return used() < capacity() ? used() : capacity(); }

  char* fields() const { return data_ + kBufferHeader; }
  char* end() const { return data_ + used_within(); }
  Records records() const { return {fields(), end()}; }
  Records records_from(char* at) const { return {at, end()}; }

  // Where a record lies, counted from the first one.
  std::int32_t offset_of(Record record) const { return static_cast<std::int32_t>(record.at() - fields()); }

  // Writes the header of an empty buffer; the field area is left as it is.
  void reset() const { write_empty(data_); }

 private:
  char* data_;
};

// The value that stands for an absent field of that type; a null address for an unknown type.
Value null_value(int type);

// The length of a value as callers are told it: -1, and FBEBADFLD in fberror, for a record of unknown type.
inline int told_length(Record record) {
  const auto length = static_cast<int>(record.value_length());
  if (length < 0) [[unlikely]]
    fberror = FBEBADFLD;
  return length;
}

// The bytes that a record's value is taken to need as a value of another type, the text of a number 100; -1 for an
// unknown type.
int receiving_length(int type, Record record);

}  // namespace vxa::fb

VXA_EXPORT int _calc_falign_len(int length);
VXA_EXPORT int _get_alen_from_type(int type, const void* value, int len);
VXA_EXPORT int _get_alen_from_curpos(const void* rec);
VXA_EXPORT int _get_fldlen_from_curpos(const void* rec);
VXA_EXPORT int _get_fldlen_from_type(int type, const void* rec);
VXA_EXPORT void* _get_valuep_from_curpos(const void* rec);
VXA_EXPORT const void* _get_null_value(int type);
