// The `vxa` command: the development gateway, a client for it, and the compilers and viewers of the library's files.
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <csignal>
#include <cstdio>
#include <exception>

#include "tools/commands.h"
#include "vxa/vxa_host.h"

namespace {

int run(int argc, char** argv) {
  CLI::App vxa{"Tools for programs that use libvxa", "vxa"};
  vxa::tools::add_commands(vxa);
  try {
    vxa.parse(argc, argv);
    return 0;
  } catch (const CLI::Error& error) {
    return vxa.exit(error);
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  _check_node();
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vxa: %s\n", error.what());
  } catch (...) {
    std::fputs("vxa: unknown trouble\n", stderr);
  }
  return 1;
}
