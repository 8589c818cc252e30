#include "tests/support/gateway_process.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

namespace {

// The child's whole life, which ends here in any case; what it prints goes into the pipe.
[[noreturn]] void serve(vxa::gateway::Options options, int out) noexcept {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::dup2(out, STDOUT_FILENO);
  options.verbose = false;
  vxa::gateway::run(options, std::cout);
  std::cout.flush();
  std::exit(0);
}

// From the line that tells where the gateway listens.
int port_in(FILE* out) {
  char line[200] = "";
  if (!std::fgets(line, sizeof line, out)) throw std::runtime_error("the gateway did not start");
  const std::string text = line;
  return std::stoi(text.substr(text.rfind(':') + 1));
}

}  // namespace

GatewayProcess::GatewayProcess(const vxa::gateway::Options& options) {
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("pipe");
  std::fflush(stdout);  // else the child would print it too
  child_ = ::fork();
  if (child_ == 0) {
    ::close(ends[0]);
    serve(options, ends[1]);
  }
  ::close(ends[1]);
  port_ = port_in(::fdopen(ends[0], "r"));  // which stays open, so that the child can go on printing
}

GatewayProcess::~GatewayProcess() {
  if (child_ > 0) end(SIGKILL);
}

int GatewayProcess::end(int signal) {
  ::kill(child_, signal);
  int status = 0;
  ::waitpid(child_, &status, 0);
  child_ = 0;
  return status;
}
