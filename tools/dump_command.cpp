// `vxa dump`: shows messages of the gateway protocol as they were captured, or a field buffer as fbwrite wrote it.
#include <iostream>
#include <iterator>
#include <memory>

#include "tools/commands.h"
#include "tools/dump.h"
#include "tools/output_file.h"

namespace vxa::tools {

namespace {

std::string read_input(const std::string& path) {
  if (path == "-") return {std::istreambuf_iterator<char>(std::cin), {}};
  return read_whole_file(path);
}

}  // namespace

void add_dump(CLI::App& vxa) {
  auto* command = vxa.add_subcommand("dump", "Show captured messages, or a field buffer that fbwrite wrote");
  auto path = std::make_shared<std::string>("-");
  command->add_option("FILE", *path, "The file; - for standard input")->capture_default_str();
  command->footer("Field names come from the tables that FDLFILE names.");
  command->callback([path] { dump(read_input(*path), stdout); });
}

}  // namespace vxa::tools
