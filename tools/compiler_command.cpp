#include "tools/compiler_command.h"

#include <CLI/Error.hpp>

#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

#include "tools/output_file.h"
#include "tools/source_error.h"

namespace vxa::tools {

namespace {

struct Options {
  std::string input;
  std::string output;
  std::string header;
  bool dump = false;
};

// Runs work on the contents of the input; trouble with them is told with the input's name.
template <class Work>
auto with_input(const Options& options, Work work) {
  const std::string contents = read_whole_file(options.input);
  try {
    return work(contents);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(options.input + ": " + error.what());
  }
}

std::string output_path(const Compiler& compiler, const Options& options) {
  if (!options.output.empty()) return options.output;
  const std::filesystem::path input = options.input;
  std::filesystem::path output = input;
  output.replace_extension(compiler.suffix);
  if (output == input) throw std::runtime_error(options.input + ": name another file with --output");
  return output.string();
}

void compile(const Compiler& compiler, const Options& options) {
  const std::string source =
      options.header.empty() ? std::string() : std::filesystem::path(options.input).filename().string();
  const Compiled compiled =
      with_input(options, [&](const std::string& text) { return compiler.compile(text, source); });

  const std::string path = output_path(compiler, options);
  OutputFile output{path, compiled.bytes};
  std::optional<OutputFile> header;
  if (!options.header.empty()) header.emplace(options.header, compiled.header);
  output.commit();
  if (header) header->commit();
  std::cout << path << ": " << compiled.summary << '\n';
}

void dump(const Compiler& compiler, const Options& options) {
  const std::string text = with_input(options, compiler.dump);
  if (options.output.empty())
    std::cout << text;
  else
    OutputFile{options.output, text}.commit();
}

void run(const Compiler& compiler, const Options& options) {
  try {
    options.dump ? dump(compiler, options) : compile(compiler, options);
  } catch (const SourceErrors& errors) {
    std::cerr << errors.report(options.input);
    throw CLI::RuntimeError(1);
  }
}

}  // namespace

void add_compiler(CLI::App& vxa, const Compiler& compiler) {
  CLI::App* command = vxa.add_subcommand(compiler.name, compiler.description);
  const auto options = std::make_shared<Options>();
  command->add_option("FILE", options->input, std::string(compiler.input) + "; with --dump the compiled file")
      ->required();
  command->add_option(
      "-o,--output", options->output,
      "File to write [FILE with the suffix " + std::string(compiler.suffix) + "; --dump: the terminal]");
  CLI::Option* header =
      command->add_option("--header", options->header, "Also write a C header of " + std::string(compiler.header));
  command->add_flag("--dump", options->dump, "Print a compiled file as text")->excludes(header);
  command->callback([options, compiler] { run(compiler, *options); });
}

}  // namespace vxa::tools
