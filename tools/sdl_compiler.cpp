#include "tools/sdl_compiler.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace vxa::tools {

namespace {

constexpr std::int32_t kMagic = 7777;

struct FileHeader {
  std::int32_t magic;
  std::int32_t structs;
  std::int32_t members;
};
static_assert(sizeof(FileHeader) == 12 && sizeof(vesk_sdl_struct) == 64 && sizeof(vesk_sdl_member) == 92);

template <class Row>
void append(std::string& bytes, const Row& row) {
  bytes.append(reinterpret_cast<const char*>(&row), sizeof row);
}

template <class Row>
Row row_at(const std::string& bytes, std::size_t at) {
  Row row;
  std::memcpy(&row, bytes.data() + at, sizeof row);
  return row;
}

template <std::size_t N>
void set_text(char (&to)[N], const std::string& text) {
  std::memcpy(to, text.data(), std::min(text.size(), N));
}

template <std::size_t N>
std::string text_of(const char (&from)[N]) {
  return {from, strnlen(from, N)};
}

vesk_sdl_struct struct_row(const Struct& described, std::int32_t first) {
  vesk_sdl_struct row{};
  set_text(row.name, described.name);
  row.first = first;
  row.last = first + static_cast<std::int32_t>(described.members.size()) - 1;
  row.host_size = described.host_size();
  row.network_size = described.network_size();
  return row;
}

vesk_sdl_member member_row(const Member& member, int offset) {
  vesk_sdl_member row{};
  set_text(row.name, member.name);
  row.key = member.key;
  row.type = member.type;
  set_text(row.null_value, member.null_value);
  row.count = member.text() ? member.bytes() : member.elements;
  row.length = member.element_length;
  row.offset = offset;
  return row;
}

Member member_of(const vesk_sdl_member& row) {
  Member member{text_of(row.name), row.type, row.key, row.count, 0, text_of(row.null_value)};
  if (row.type < 1 || row.type > 8) throw std::runtime_error("member " + member.name + " is of unknown type");
  if (member.text()) {
    if (row.length <= 0 || row.count < row.length)
      throw std::runtime_error("member " + member.name + " has no element");
    member.elements = row.count / row.length;
    member.element_length = row.length;
  }
  return member;
}

}  // namespace

std::string compile_structs(const std::vector<Struct>& structs) {
  std::string members;
  std::string rows;
  std::int32_t count = 0;
  for (const Struct& described : structs) {
    append(rows, struct_row(described, count));
    const std::vector<int> offsets = described.offsets();
    for (std::size_t i = 0; i < offsets.size(); ++i) append(members, member_row(described.members[i], offsets[i]));
    count += static_cast<std::int32_t>(offsets.size());
  }
  std::string bytes;
  append(bytes, FileHeader{kMagic, static_cast<std::int32_t>(structs.size()), count});
  return bytes + rows + members;
}

std::vector<Struct> structs_of_image(const std::string& bytes) {
  if (bytes.size() < sizeof(FileHeader)) throw std::runtime_error("cut off inside its header");
  const auto header = row_at<FileHeader>(bytes, 0);
  if (header.magic != kMagic) throw std::runtime_error("no struct description file: its magic number is not 7777");
  if (header.structs < 0 || header.members < 0) throw std::runtime_error("its counts are negative");
  const std::size_t rows = sizeof(FileHeader);
  const std::size_t members = rows + static_cast<std::size_t>(header.structs) * sizeof(vesk_sdl_struct);
  if (bytes.size() < members + static_cast<std::size_t>(header.members) * sizeof(vesk_sdl_member))
    throw std::runtime_error("shorter than its counts say");

  std::vector<Struct> structs;
  for (std::size_t i = 0; i < static_cast<std::size_t>(header.structs); ++i) {
    const auto row = row_at<vesk_sdl_struct>(bytes, rows + i * sizeof(vesk_sdl_struct));
    Struct described{text_of(row.name), {}};
    if (row.first < 0 || row.last >= header.members)
      throw std::runtime_error("struct " + described.name + " names members that the file does not hold");
    for (std::int32_t m = row.first; m <= row.last; ++m)
      described.members.push_back(
          member_of(row_at<vesk_sdl_member>(bytes, members + static_cast<std::size_t>(m) * sizeof(vesk_sdl_member))));
    structs.push_back(std::move(described));
  }
  return structs;
}

}  // namespace vxa::tools
