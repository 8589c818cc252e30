// Signal handlers, and core dumps in a known directory.
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "env/paths.h"
#include "vxa/vxa_host.h"

std::int32_t _vesk_coredump = 0;

namespace vxa::env {

namespace {

constexpr int kInterruptCalls = 0x20000000;  // SA_INTERRUPT: interrupted system calls are not restarted

char core_directory[kPathSize];  // empty: none

// Makes the core directory that of the installation. False when its name does not fit, and there is none then.
bool use_installed_directory(const char* installation) {
  constexpr char kBelow[] = "log/slog";
  core_directory[0] = '\0';
  if (std::strlen(installation) >= kPathSize) return false;
  char directory[kPathSize + 1];  // a slash more
  std::strcpy(directory, installation);
  normalise(directory);
  end_with_slash(directory);
  if (std::strlen(directory) + sizeof kBelow > kPathSize) return false;
  std::strcat(std::strcpy(core_directory, directory), kBelow);
  return true;
}

int allow_largest_core() {
  rlimit limit;
  if (getrlimit(RLIMIT_CORE, &limit) != 0) return -1;
  limit.rlim_cur = limit.rlim_max;
  return setrlimit(RLIMIT_CORE, &limit);
}

}  // namespace

}  // namespace vxa::env

using namespace vxa;

extern "C" vesk_signal_handler _vesk_register_signal(int number, vesk_signal_handler handler) {
  struct sigaction action = {}, before;
  action.sa_handler = handler;
  action.sa_flags = env::kInterruptCalls;
  if (number == SIGSEGV || number == SIGBUS) action.sa_flags |= SA_SIGINFO;
  if (sigaction(number, &action, &before) != 0) return reinterpret_cast<vesk_signal_handler>(-1L);
  return before.sa_handler;
}

extern "C" int _vesk_set_coredumpdir(const char* directory) {
  _vesk_coredump = 0;
  if (directory) {
    const std::size_t length = strnlen(directory, env::kPathSize - 1);
    std::memmove(env::core_directory, directory, length);
    env::core_directory[length] = '\0';
    return env::allow_largest_core();
  }
  const char* installation = std::getenv("VESKDIR");
  if (!installation) {
    env::core_directory[0] = '\0';
    return 0;
  }
  return env::use_installed_directory(installation) ? env::allow_largest_core() : -1;
}

// A signal handler: nothing here but what a handler may call.
extern "C" void _vesk_sig_coredump(int number) {
  if (_vesk_coredump || !env::core_directory[0]) return;
  const int saved_errno = errno;
  [[maybe_unused]] const int changed = chdir(env::core_directory);  // if it fails, the dump goes where the process is
  std::signal(number, SIG_DFL);
  kill(getpid(), number);
  _vesk_coredump = 1;
  errno = saved_errno;
}
