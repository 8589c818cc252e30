// `vxa fdl`: field tables from text to the binary file that FDLFILE names, and back.
#include <CLI/Error.hpp>

#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "tools/commands.h"
#include "tools/fdl_compiler.h"
#include "tools/field_text.h"
#include "tools/output_file.h"
#include "tools/source_error.h"

namespace vxa::tools {

namespace {

struct FdlOptions {
  std::string input;
  std::string output;
  std::string header;
  bool dump = false;
};

std::string output_path(const FdlOptions& options) {
  if (!options.output.empty()) return options.output;
  const std::filesystem::path input = options.input;
  std::filesystem::path output = input;
  output.replace_extension(".fdl");
  if (output == input) throw std::runtime_error(options.input + ": name another file with --output");
  return output.string();
}

void compile(const FdlOptions& options) {
  const FieldTable table = parse_field_text(read_whole_file(options.input));
  if (table.fields.empty()) throw std::runtime_error(options.input + ": expected a field, found none");
  const FdlImage image = compile_fields(table.fields);

  const std::string path = output_path(options);
  OutputFile output{path, image.bytes};
  std::optional<OutputFile> header;
  if (!options.header.empty())
    header.emplace(options.header, field_header(table, std::filesystem::path(options.input).filename().string()));
  output.commit();
  if (header) header->commit();
  std::cout << path << ": " << table.fields.size() << " fields in " << image.slots
            << " slots; probes of a lookup: " << std::fixed << std::setprecision(2) << image.name_probes << " by name, "
            << image.key_probes << " by key\n";
}

void dump(const FdlOptions& options) {
  const std::string bytes = read_whole_file(options.input);
  std::string text;
  try {
    text = field_text(fields_of_image(bytes));
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(options.input + ": " + error.what());
  }
  if (options.output.empty())
    std::cout << text;
  else
    OutputFile{options.output, text}.commit();
}

void run(const FdlOptions& options) {
  try {
    options.dump ? dump(options) : compile(options);
  } catch (const SourceErrors& errors) {
    std::cerr << errors.report(options.input);
    throw CLI::RuntimeError(1);
  }
}

}  // namespace

void add_fdl(CLI::App& vxa) {
  CLI::App* command = vxa.add_subcommand("fdl", "compile a field table for FDLFILE, or show a compiled one");
  const auto options = std::make_shared<FdlOptions>();
  command->add_option("TABLE", options->input, "text of the field table; with --dump the compiled file")->required();
  command->add_option("-o,--output", options->output,
                      "file to write [TABLE with the suffix .fdl; --dump: the terminal]");
  CLI::Option* header = command->add_option("--header", options->header, "also write a C header of the keys");
  command->add_flag("--dump", options->dump, "print a compiled file as text")->excludes(header);
  command->callback([options] { run(*options); });
}

}  // namespace vxa::tools
