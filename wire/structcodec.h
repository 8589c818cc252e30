// Elements of a described struct between host form and wire form, back to back: by the routines that its description
// names, or, where it names none, member by member.
#pragma once

#include <cstdint>

#include "sdl/sdltable.h"
#include "wire/direction.h"

namespace vxa::codec {

// One direction of a struct's conversion. Empty when the struct cannot travel: it is not described, a size is not
// positive, or it names no routine and its members do not make up its wire form.
class StructCodec {
 public:
  // name: at most 16 characters count.
  StructCodec(const char* name, To to);

  explicit operator bool() const { return row_; }
  std::int64_t host_size() const { return row_->host_size; }
  std::int64_t wire_size() const { return row_->network_size; }

  // Converts count elements; src and dst are apart.
  void convert(const char* src, char* dst, std::int64_t count) const;

 private:
  void convert_element(const char* src, char* dst) const;

  const sdl::StructRow* row_;
  To to_;
};

}  // namespace vxa::codec
