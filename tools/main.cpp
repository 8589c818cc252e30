// The `vxa` command: the development gateway, a client for it, and the compilers and viewers of the library's files.
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <csignal>
#include <exception>
#include <iostream>

#include "tools/commands.h"
#include "vxa/vxa_host.h"

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  _check_node();

  CLI::App vxa{"Tools for programs that use libvxa", "vxa"};
  vxa::tools::add_commands(vxa);
  try {
    vxa.parse(argc, argv);
    return 0;
  } catch (const CLI::Error& error) {
    return vxa.exit(error);
  } catch (const std::exception& error) {
    std::cerr << "vxa: " << error.what() << '\n';
    return 1;
  }
}
