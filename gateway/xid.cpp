#include "gateway/xid.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "base/bytes.h"
#include "vxa/xa.h"

namespace vxa::gateway {

namespace {

// Of the 64-bit lengths the low halves count, as the library that sends them has it.
static_assert(std::endian::native == std::endian::little);

constexpr std::size_t kDataAt = offsetof(XID, data);
constexpr long kNullFormat = -1;

std::string readable(std::string_view part) {
  const bool printable = std::all_of(part.begin(), part.end(), [](unsigned char c) { return std::isgraph(c); });
  if (printable) return std::string(part);
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (const char byte : part) {
    hex += kDigits[static_cast<unsigned char>(byte) >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

}  // namespace

std::optional<Xid> Xid::from_payload(const char* payload, std::size_t length) {
  if (length < kDataAt) return {};
  const auto format = load<long>(payload + offsetof(XID, formatID));
  const auto global = load<std::int32_t>(payload + offsetof(XID, gtrid_length));
  const auto branch = load<std::int32_t>(payload + offsetof(XID, bqual_length));
  if (format == kNullFormat) return {};
  if (global < 0 || global > MAXGTRIDSIZE || branch < 0 || branch > MAXBQUALSIZE) return {};
  const std::size_t size = kDataAt + static_cast<std::size_t>(global + branch);
  if (size > length) return {};
  return Xid{std::string(payload, size)};
}

std::string Xid::text() const {
  const auto global = static_cast<std::size_t>(load<std::int32_t>(bytes_.data() + offsetof(XID, gtrid_length)));
  const std::string_view data = std::string_view(bytes_).substr(kDataAt);
  return readable(data.substr(0, global)) + "/" + readable(data.substr(global));
}

}  // namespace vxa::gateway
