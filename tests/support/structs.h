// Struct descriptions set up by hand for as long as an object lives.
#pragma once

#include <cstring>
#include <vector>

#include "vxa/vxa_host.h"

namespace host {

class Structs {
 public:
  Structs(std::vector<vesk_sdl_struct> structs, std::vector<vesk_sdl_member> members)
      : structs_(std::move(structs)), members_(std::move(members)) {
    _sdl_table = structs_.data();
    _sdl_table_size = static_cast<int>(structs_.size());
    _sdl_field_table = members_.data();
    _sdl_field_table_size = static_cast<int>(members_.size());
  }
  ~Structs() {
    _sdl_table = nullptr;
    _sdl_field_table = nullptr;
    _sdl_table_size = _sdl_field_table_size = 0;
  }
  Structs(const Structs&) = delete;
  Structs& operator=(const Structs&) = delete;

 private:
  std::vector<vesk_sdl_struct> structs_;
  std::vector<vesk_sdl_member> members_;
};

// A conversion of elements of four bytes.
inline void reverse_four(const void* src, void* dst) {
  for (int i = 0; i < 4; ++i) static_cast<char*>(dst)[i] = static_cast<const char*>(src)[3 - i];
}

// A struct whose elements one routine converts both ways; without one, member by member.
inline vesk_sdl_struct struct_row(const char* name, int host_size, int network_size, int first = 0, int last = -1,
                                  void (*convert)(const void*, void*) = nullptr) {
  vesk_sdl_struct row{};
  std::memcpy(row.name, name, strnlen(name, sizeof row.name));
  row.host_size = host_size;
  row.network_size = network_size;
  row.hton = row.ntoh = convert;
  row.first = first;
  row.last = last;
  return row;
}

inline vesk_sdl_member member_row(const char* name, int type, int count, int length, std::size_t offset, int key = 0,
                                  const char* null_value = "") {
  vesk_sdl_member row{};
  std::strncpy(row.name, name, sizeof row.name - 1);
  std::strncpy(row.null_value, null_value, sizeof row.null_value - 1);
  row.key = static_cast<unsigned>(key);
  row.type = type;
  row.count = count;
  row.length = length;
  row.offset = static_cast<int>(offset);
  return row;
}

}  // namespace host
