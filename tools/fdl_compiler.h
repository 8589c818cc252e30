// The binary field table file: made of a list of fields, and read back.
#pragma once

#include <string>
#include <vector>

#include "tools/field_text.h"

namespace vxa::tools {

// A compiled table. Equal sets of fields make equal bytes, in whatever order they come.
struct FdlImage {
  std::string bytes;
  int slots;
  double name_probes;  // comparisons of a lookup by name, on average over the fields
  double key_probes;
};

// The fields must differ in names and in keys, and there must be one. The table is made as small as lookups near one
// probe allow.
FdlImage compile_fields(std::vector<Field> fields);

// The fields of a file's bytes, sorted by key. Throws std::runtime_error that says what is wrong with them.
std::vector<Field> fields_of_image(const std::string& bytes);

}  // namespace vxa::tools
