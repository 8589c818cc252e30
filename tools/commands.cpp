// Which subcommands there are.
#include "tools/commands.h"

namespace vxa::tools {

void add_commands(CLI::App& vxa) {
  vxa.require_subcommand(1);
  add_gateway(vxa);
  add_call(vxa);
  add_fdl(vxa);
  add_sdl(vxa);
  add_dump(vxa);
  add_trace(vxa);
}

}  // namespace vxa::tools
