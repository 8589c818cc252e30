// Transaction branch identifiers as they arrive: the caller's XID as it lies in its memory (host order, 64-bit
// lengths).
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace vxa::gateway {

// Two are the same branch when their bytes are.
class Xid {
 public:
  // From the payload of a request; nothing when the payload is no XID: lengths over 64 bytes or beyond the payload, or
  // the null XID.
  static std::optional<Xid> from_payload(const char* payload, std::size_t length);

  // From bytes() of an earlier one.
  explicit Xid(std::string bytes) : bytes_(std::move(bytes)) {}

  const std::string& bytes() const { return bytes_; }
  auto operator<=>(const Xid&) const = default;

  // For people: global part and branch part, as text where it is printable, else in hexadecimal digits.
  std::string text() const;

 private:
  std::string bytes_;
};

}  // namespace vxa::gateway
