// The binary struct description file: made of structs, and read back.
#pragma once

#include <string>
#include <vector>

#include "tools/struct_text.h"

namespace vxa::tools {

// The file's bytes. The routine addresses are null, which selects the library's own member-wise conversion.
std::string compile_structs(const std::vector<Struct>& structs);

// The structs of a file's bytes. Throws std::runtime_error that says what is wrong with them.
std::vector<Struct> structs_of_image(const std::string& bytes);

}  // namespace vxa::tools
