// The tables of struct descriptions, empty until a host loads them, and lookups by struct name.
#include "sdl/sdltable.h"

#include <algorithm>

vesk_sdl_struct* _sdl_table = nullptr;
std::int32_t _sdl_table_size = 0;
vesk_sdl_member* _sdl_field_table = nullptr;
std::int32_t _sdl_field_table_size = 0;
std::int32_t _sdlfile_loadsw = 0;

namespace vxa::sdl {

const StructRow* find_struct(const char* name) {
  const StructRow* rows = _sdl_table;
  if (!rows || !name) return nullptr;
  for (std::int32_t i = 0; i < _sdl_table_size; ++i)
    if (std::strncmp(rows[i].name, name, kNameLength) == 0) return &rows[i];
  return nullptr;
}

std::span<const MemberRow> members_between(std::int32_t first, std::int32_t last) {
  if (!_sdl_field_table) return {};
  first = std::max(first, 0);
  last = std::min(last, _sdl_field_table_size - 1);
  if (first > last) return {};
  return {_sdl_field_table + first, static_cast<std::size_t>(last - first) + 1};
}

}  // namespace vxa::sdl

using namespace vxa;

extern "C" int _get_host_stsize(const char* name) {
  const sdl::StructRow* row = sdl::find_struct(name);
  return row ? row->host_size : -1;
}

extern "C" int _get_host_nw_stsize(const char* name, int* host_size, int* network_size) {
  const sdl::StructRow* row = sdl::find_struct(name);
  if (!row) return -1;
  *host_size = row->host_size;
  *network_size = row->network_size;
  return 1;
}
