#include "tools/console.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace vxa::tools {

Console::Console() {
  std::fflush(stdout);
  output_ = ::dup(STDOUT_FILENO);
  if (output_ < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
    throw std::system_error(errno, std::generic_category(), "standard output");
}

Console::~Console() {
  std::fflush(stdout);
  ::dup2(output_, STDOUT_FILENO);
  ::close(output_);
}

void Console::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(output_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw std::system_error(errno, std::generic_category(), "standard output");
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace vxa::tools
