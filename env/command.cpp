// Running shell commands, and waiting.
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "vxa/vxa_host.h"

namespace vxa::env {

namespace {

[[noreturn]] void become_shell(const char* command) {
  const char* const arguments[] = {"sh", "-c", command, nullptr};
  execve("/bin/sh", const_cast<char* const*>(arguments), environ);
  _exit(127);
}

// The wait status of that child, -1 when it cannot be had.
int status_of(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return -1;
  return status;
}

// On a clock that nobody sets.
std::int64_t milliseconds() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

}  // namespace

}  // namespace vxa::env

using namespace vxa;

extern "C" int _vesk_system(const char* command) {
  if (!command) return 1;
  const pid_t child = fork();
  if (child < 0) return -1;
  if (child == 0) env::become_shell(command);
  return env::status_of(child);
}

extern "C" int _vesk_real_wait(int seconds) {
  const std::int64_t end = env::milliseconds() + 1000 * std::max<std::int64_t>(seconds, 1);
  do sleep(1);
  while (env::milliseconds() < end);
  return 0;
}
