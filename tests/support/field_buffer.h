// Field buffers as the tests handle them: owned, filled with one call a field, and looked at as bytes.
#pragma once

#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

#include "vxa/fbuf.h"

namespace fields {

constexpr int key(int type, int number) {
  return static_cast<int>((static_cast<unsigned>(type) << 26) + static_cast<unsigned>(number));
}
inline constexpr int kFetched = 0x01000000;

// What a call gives back, with the error code after it.
template <class Result>
std::pair<Result, int> outcome(Result result) {
  return {result, fberror};
}

// The code with which a call fails that gives back -1 or null; -1 for one that succeeded.
template <class Result>
int refusal(Result result) {
  return result == Result(-1) || (std::is_pointer_v<Result> && !result) ? fberror : -1;
}

class Buffer {
 public:
  explicit Buffer(int count = 0, int datalen = 0) : data_(static_cast<char*>(fballoc(count, datalen))) {}
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer() { fbfree(data_); }

  operator char*() const { return data_; }

  template <class Number>
  Buffer& put(int field, Number value) {
    return put_value(field, &value, 0);
  }
  Buffer& put(int field, const char* text) { return put_value(field, text, 0); }
  Buffer& put_value(int field, const void* value, int len) {
    if (fbput(data_, field, value, len) != 1) throw fberror;
    return *this;
  }

  // The used part.
  std::string image() const { return {data_, static_cast<std::size_t>(fbget_used(data_))}; }
  // The records, without the 8 bytes in front of them.
  std::string records() const { return image().substr(8); }

  // Puts records in place of those that are there, as bytes, good or damaged; used: what the buffer then claims.
  void forge(const std::string& records, int used) {
    fbinit(data_, 0);
    std::memcpy(data_ + 8, records.data(), records.size());
    std::memcpy(data_ + 4, &used, sizeof used);
  }
  void forge(const std::string& records) { forge(records, 8 + static_cast<int>(records.size())); }

  // The stored key of the record at an offset from the buffer's start.
  int key_at(int offset) const {
    int stored;
    std::memcpy(&stored, data_ + offset, sizeof stored);
    return stored;
  }

 private:
  char* data_;
};

}  // namespace fields

// A key of each type, and one of a type that is none.
namespace fields::sample {

constexpr int kChar = key(FB_CHAR, 1), kShort = key(FB_SHORT, 2), kInt = key(FB_INT, 3), kLong = key(FB_LONG, 4),
              kFloat = key(FB_FLOAT, 5), kDouble = key(FB_DOUBLE, 6), kString = key(FB_STRING, 7),
              kCarray = key(FB_CARRAY, 8), kUnknown = key(9, 9);

}  // namespace fields::sample
