// `vxa trace`: runs a program with libvxahost preloaded, so that it shows the calls that it makes.
#include <CLI/Error.hpp>
#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/commands.h"

namespace vxa::tools {

namespace {

constexpr int kCannotExecute = 126;
constexpr int kNoSuchProgram = 127;

struct TraceOptions {
  std::string specification = "on";
  std::string output;
  std::string allow;
  std::vector<std::string> command;
};

// libvxahost lies beside the libvxa that this program runs with.
std::filesystem::path host_library() {
  Dl_info library;
  void* const known = dlsym(RTLD_DEFAULT, "_check_node");
  if (!known || !dladdr(known, &library)) throw std::runtime_error("cannot tell where libvxa lies");
  auto path = std::filesystem::canonical(library.dli_fname).parent_path() / "libvxahost.so.1";
  if (!std::filesystem::exists(path)) throw std::runtime_error(path.string() + ": not found");
  return path;
}

void set_variable(const char* name, const std::string& value) {
  if (setenv(name, value.c_str(), 1) != 0) throw std::runtime_error(std::string(name) + ": " + std::strerror(errno));
}

void preload(const std::string& library) {
  const char* others = std::getenv("LD_PRELOAD");
  set_variable("LD_PRELOAD", others && *others ? library + ":" + others : library);
}

// Does not come back: the program takes the place of this one, or the exit status says why not.
[[noreturn]] void run(const TraceOptions& options) {
  preload(host_library());
  set_variable("VESK_TRACE", options.specification);
  if (!options.output.empty()) set_variable("VXA_TRACE_FILE", std::filesystem::absolute(options.output));
  if (!options.allow.empty()) set_variable("VXA_TRACE_ALLOW", options.allow);

  std::signal(SIGPIPE, SIG_DFL);  // which this program ignores, and the other would inherit
  std::vector<char*> arguments;
  for (const std::string& word : options.command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments.front(), arguments.data());
  const int error = errno;
  std::cerr << "vxa: " << options.command.front() << ": " << std::strerror(error) << '\n';
  throw CLI::RuntimeError(error == ENOENT ? kNoSuchProgram : kCannotExecute);
}

}  // namespace

void add_trace(CLI::App& vxa) {
  CLI::App* command = vxa.add_subcommand("trace", "Run a program and show the buffer calls that it makes");
  const auto options = std::make_shared<TraceOptions>();
  command->add_option("-s,--spec", options->specification, "Trace specification, as of VESK_TRACE")
      ->capture_default_str();
  command->add_option("-o,--output", options->output, "File that the lines are appended to [standard error]");
  command->add_option("--allow", options->allow, "Actions that the specification may use: system, abort");
  command->add_option("PROGRAM", options->command, "Program and its arguments, behind --")->required();
  command->callback([options] { run(*options); });
}

}  // namespace vxa::tools
