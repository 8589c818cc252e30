// The development gateway: one process and one thread that serve many connections. It stands in for the real gateway
// where none can be reached; it is not built to be exposed to a network.
//
// It uses libvxa, whose state is global: nothing else in its process may use the library while it runs.
#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "gateway/faults.h"

namespace vxa::gateway {

struct Options {
  std::string address = "127.0.0.1";
  std::uint16_t port = 0;                                     // 0: any that is free
  std::string database = ":memory:";                          // file for accounts and prepared branches
  std::vector<std::pair<std::string, std::string>> commands;  // services that a shell command answers: name, command
  std::chrono::seconds command_limit{10};                     // after which a command is killed
  std::vector<Fault> faults;
  bool verbose = true;  // a log line per message
};

// Serves until SIGINT or SIGTERM. Writes "listening on ADDRESS:PORT" first, then the log. Throws std::exception when
// it cannot start.
void run(const Options& options, std::ostream& out);

}  // namespace vxa::gateway
