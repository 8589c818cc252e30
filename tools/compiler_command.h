// A subcommand that compiles a text into a binary file and shows such a file as text again; `vxa fdl` and `vxa sdl` are
// of this kind.
#pragma once

#include <CLI/App.hpp>

#include <string>

namespace vxa::tools {

// What came of a text.
struct Compiled {
  std::string bytes;
  std::string header;   // C header; empty unless it was asked for
  std::string summary;  // of the file, for the user
};

struct Compiler {
  const char* name;         // of the subcommand
  const char* description;  // for the help text
  const char* input;        // what the text describes
  const char* suffix;       // of the binary file
  const char* header;       // what the C header holds

  // Compiles the text; source is its file's name when a header is wanted, else empty. Throws SourceErrors, or
  // std::runtime_error for trouble that has no place in the text.
  Compiled (*compile)(const std::string& text, const std::string& source);
  // The text of a compiled file. Throws std::runtime_error.
  std::string (*dump)(const std::string& bytes);
};

void add_compiler(CLI::App& vxa, const Compiler& compiler);

}  // namespace vxa::tools
