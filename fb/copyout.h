// Copies of strings and carrays into a caller's area, whose length is enforced or not as the settings say.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/result.h"
#include "env/semantics.h"
#include "fb/fbcommon.h"
#include "vxa/fbuf.h"

namespace vxa::fb {

inline bool lengths_enforced(semantics::LengthPolicy policy) {
  return policy == semantics::LengthPolicy::Truncate || policy == semantics::LengthPolicy::Refuse;
}

// How many of the full bytes may be copied. length: the caller's room, 0 for no limit; receives what the caller is
// told, which is the full length unless the value is cut. A negative room holds nothing.
inline Result<std::int64_t> admitted_length(std::int64_t full, int& length) {
  const semantics::LengthPolicy policy = semantics::length_policy();
  const int room = length;
  length = static_cast<int>(full);
  if (room == 0 || room >= full || !lengths_enforced(policy)) return full;
  if (room < 0 || policy == semantics::LengthPolicy::Refuse) return Error{FBENOSPACE};
  length = room;
  return std::int64_t{room};
}

// A string's characters, or a carray's bytes.
inline std::string_view bytes_of(Record record) {
  return {record.value(), static_cast<std::size_t>(record.value_length())};
}

// Copies the characters and a terminator; the lengths count it.
inline Outcome copy_out_text(std::string_view text, void* out, int& length) {
  const Result<std::int64_t> admitted = admitted_length(static_cast<std::int64_t>(text.size()) + 1, length);
  if (admitted.failed()) return admitted.error();
  const auto characters = static_cast<std::size_t>(admitted.value() - 1);
  std::memcpy(out, text.data(), characters);
  static_cast<char*>(out)[characters] = '\0';
  return success();
}

// Copies the bytes alone.
inline Outcome copy_out_bytes(std::string_view bytes, void* out, int& length) {
  const Result<std::int64_t> admitted = admitted_length(static_cast<std::int64_t>(bytes.size()), length);
  if (admitted.failed()) return admitted.error();
  std::memcpy(out, bytes.data(), static_cast<std::size_t>(admitted.value()));
  return success();
}

}  // namespace vxa::fb
