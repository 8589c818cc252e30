// `vxa sdl`: struct descriptions from text to the binary file that SDLFILE64 names, and back.
#include <stdexcept>

#include "tools/commands.h"
#include "tools/compiler_command.h"
#include "tools/sdl_compiler.h"
#include "tools/struct_text.h"

namespace vxa::tools {

namespace {

Compiled compile(const std::string& text, const std::string& source) {
  const std::vector<Struct> structs = parse_struct_text(text);
  if (structs.empty()) throw std::runtime_error("expected a struct, found none");
  std::string summary;
  for (const Struct& described : structs)
    summary += (summary.empty() ? "" : "; ") + described.name + ": " + std::to_string(described.host_size()) +
               " bytes in memory, " + std::to_string(described.network_size()) + " on the wire";
  return {compile_structs(structs), source.empty() ? std::string() : struct_header(structs, source), summary};
}

std::string dump(const std::string& bytes) { return struct_text(structs_of_image(bytes)); }

}  // namespace

void add_sdl(CLI::App& vxa) {
  add_compiler(vxa, {"sdl", "Compile struct descriptions for SDLFILE64, or show compiled ones",
                     "Text of the struct descriptions", ".sdl", "the structs", compile, dump});
}

}  // namespace vxa::tools
