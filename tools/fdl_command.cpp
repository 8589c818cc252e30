// `vxa fdl`: field tables from text to the binary file that FDLFILE names, and back.
#include <iomanip>
#include <sstream>
#include <stdexcept>

#include "tools/commands.h"
#include "tools/compiler_command.h"
#include "tools/fdl_compiler.h"
#include "tools/field_text.h"

namespace vxa::tools {

namespace {

Compiled compile(const std::string& text, const std::string& source) {
  const FieldTable table = parse_field_text(text);
  if (table.fields.empty()) throw std::runtime_error("expected a field, found none");
  const FdlImage image = compile_fields(table.fields);
  std::ostringstream summary;
  summary << table.fields.size() << " fields in " << image.slots << " slots; probes of a lookup: " << std::fixed
          << std::setprecision(2) << image.name_probes << " by name, " << image.key_probes << " by key";
  return {image.bytes, source.empty() ? std::string() : field_header(table, source), summary.str()};
}

std::string dump(const std::string& bytes) { return field_text(fields_of_image(bytes)); }

}  // namespace

void add_fdl(CLI::App& vxa) {
  add_compiler(vxa, {"fdl", "Compile a field table for FDLFILE, or show a compiled one", "Text of the field table",
                     ".fdl", "the keys", compile, dump});
}

}  // namespace vxa::tools
