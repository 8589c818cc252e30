// `vxa gateway`: runs the development gateway.
#include <CLI/Option.hpp>

#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "gateway/gateway.h"
#include "tools/commands.h"

namespace vxa::tools {

namespace {

struct GatewayArguments {
  gateway::Options options;
  std::vector<std::string> commands;
  std::vector<std::string> faults;
  unsigned command_seconds = 10;
  bool quiet = false;
};

constexpr std::size_t kLongestServiceName = 31;

std::pair<std::string, std::string> named_command(const std::string& text) {
  const auto equals = text.find('=');
  if (equals == text.npos || equals == 0 || equals > kLongestServiceName || equals + 1 == text.size())
    throw std::invalid_argument("--exec " + text + ": NAME=COMMAND is expected, the name of at most 31 characters");
  return {text.substr(0, equals), text.substr(equals + 1)};
}

void run_gateway(GatewayArguments& arguments) {
  gateway::Options& options = arguments.options;
  for (const std::string& text : arguments.commands) options.commands.push_back(named_command(text));
  for (const std::string& text : arguments.faults) options.faults.push_back(gateway::Fault::parse(text));
  options.command_limit = std::chrono::seconds{arguments.command_seconds};
  options.verbose = !arguments.quiet;
  gateway::run(options, std::cout);
}

}  // namespace

void add_gateway(CLI::App& vxa) {
  auto arguments = std::make_shared<GatewayArguments>();
  CLI::App* command = vxa.add_subcommand("gateway", "Run a gateway for development, tests and demos");
  gateway::Options& options = arguments->options;
  command->add_option("--port", options.port, "TCP port; 0 picks one that is free and prints it")->required();
  command->add_option("--address", options.address, "Address to listen on")->capture_default_str();
  command->add_option("--db", options.database,
                      "SQLite file for the ledger and the prepared branches, which then survive the gateway");
  command->add_option("--exec", arguments->commands,
                      "NAME=COMMAND: a service that a shell command answers (repeat for more)");
  command->add_option("--exec-limit", arguments->command_seconds, "Seconds after which such a command is killed")
      ->capture_default_str()
      ->check(CLI::Range(1u, 86400u));
  command->add_option("--fault", arguments->faults, gateway::kFaultHelp);
  command->add_flag("--quiet", arguments->quiet, "No log line per message");
  command->callback([arguments] { run_gateway(*arguments); });
}

}  // namespace vxa::tools
