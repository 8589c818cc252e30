// Struct descriptions as people write them: a block a struct, a member a line, as
//
//   # an employee
//   struct emp
//     long    id     EMP_ID
//     string  name   NAME    1   32   "nobody"
//     double  pay    PAY     12  -    0.0
//   end
//
// Columns: member type, C name, field name (or field key in decimal), element count (1), bytes of one element (strings
// and carrays only), null value, in quotes where it holds blanks. "-" stands for an absent column; at the end of a line
// columns may be left out.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vxa/vxa_host.h"

namespace vxa::tools {

struct Member {
  std::string name;
  int type;           // 1 to 8
  std::uint32_t key;  // of the field that it maps to
  int elements;
  int element_length;  // of a string or carray; else 0
  std::string null_value;

  bool text() const;
  int element_size() const;  // in host memory
  int bytes() const;         // of all elements
};

struct Struct {
  std::string name;
  std::vector<Member> members;

  // As the C compiler lays the members out: each at a multiple of its element's alignment.
  std::vector<int> offsets() const;
  int host_size() const;
  int network_size() const;  // the members packed
};

// Field names are looked up in the tables that FDLFILE names. Throws SourceErrors with all that is wrong.
std::vector<Struct> parse_struct_text(std::string_view text);

// The structs as a text that parses to them.
std::string struct_text(const std::vector<Struct>& structs);

// A C header with the structs, and checks that the compiler lays them out as described.
std::string struct_header(const std::vector<Struct>& structs, const std::string& source);

}  // namespace vxa::tools
