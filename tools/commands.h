// The subcommands of `vxa`, a file each: add_NAME declares the options of one and hangs its work on the callback, which
// runs once the command line is parsed.
//
// Trouble is thrown: the text of any std::exception reaches the user behind "vxa: ", with exit status 1;
// CLI::RuntimeError ends the program with the status that it carries and says nothing.
#pragma once

#include <CLI/App.hpp>

namespace vxa::tools {

// Adds every subcommand, in the order of the help text.
void add_commands(CLI::App& vxa);

void add_call(CLI::App& vxa);
void add_gateway(CLI::App& vxa);
void add_fdl(CLI::App& vxa);
void add_sdl(CLI::App& vxa);
void add_dump(CLI::App& vxa);
void add_trace(CLI::App& vxa);

}  // namespace vxa::tools
