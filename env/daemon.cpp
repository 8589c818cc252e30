// Turning a process into a daemon, and letting go of its terminal.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>

#include "vxa/vxa_host.h"

std::int32_t _daemon = 0;

namespace vxa::env {

namespace {

constexpr int kDescriptors = 256;  // those from 3 up to here are closed in a daemon

// Best effort: a stream that cannot be reopened is closed.
void stream_to_null(std::FILE* stream, const char* mode) {
  [[maybe_unused]] const std::FILE* reopened = std::freopen("/dev/null", mode, stream);
}

void streams_to_null() {
  stream_to_null(stdin, "r");
  stream_to_null(stdout, "w");
  stream_to_null(stderr, "w");
}

// Goes on in a child; the parent ends here. Output still in buffers is written first, so that it is written once.
bool continue_in_child() {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child > 0) _exit(0);
  return child == 0;
}

}  // namespace

}  // namespace vxa::env

using namespace vxa;

extern "C" int _daemon_init() {
  if (!env::continue_in_child()) return -1;
  setsid();
  env::streams_to_null();
  for (int fd = 3; fd < env::kDescriptors; ++fd) close(fd);
  errno = 0;
  if (chdir("/tmp") != 0) errno = 0;  // stays where it is
  umask(0);
  _daemon = 1;
  return 0;
}

extern "C" int _vesk_detach_console() {
  env::streams_to_null();
  return 0;
}
