#include "sdl/memberwise.h"

#include "base/bytes.h"

namespace vxa::sdl {

namespace {

std::int64_t bytes_of(const MemberRow& member) { return std::int64_t{member.count} * element_width(member.type); }

// Copies count numbers of one width, turning each around.
template <class T>
void turn(const char* src, char* dst, std::int32_t count) {
  for (; count > 0; --count, src += sizeof(T), dst += sizeof(T)) store_be(dst, load<T>(src));
}

// Between host form and wire form, the same both ways.
void convert(const MemberRow& member, const char* src, char* dst) {
  switch (element_width(member.type)) {
    case 2:
      return turn<std::uint16_t>(src, dst, member.count);
    case 4:
      return turn<std::uint32_t>(src, dst, member.count);
    case 8:
      return turn<std::uint64_t>(src, dst, member.count);
    default:
      std::memcpy(dst, src, static_cast<std::size_t>(member.count));
  }
}

}  // namespace

bool memberwise_possible(const StructRow& row) {
  std::int64_t on_wire = 0;
  for (const MemberRow& member : members_of(row)) {
    const std::int64_t bytes = bytes_of(member);
    if (element_width(member.type) == 0 || bytes < 0 || member.offset < 0) return false;
    if (member.offset + bytes > row.host_size) return false;
    on_wire += bytes;
  }
  return on_wire == row.network_size;
}

void pack_members(const StructRow& row, const char* host, char* wire) {
  for (const MemberRow& member : members_of(row)) {
    convert(member, host + member.offset, wire);
    wire += bytes_of(member);
  }
}

void unpack_members(const StructRow& row, const char* wire, char* host) {
  for (const MemberRow& member : members_of(row)) {
    convert(member, wire, host + member.offset);
    wire += bytes_of(member);
  }
}

}  // namespace vxa::sdl
