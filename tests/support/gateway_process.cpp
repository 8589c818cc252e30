#include "tests/support/gateway_process.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "base/bytes.h"

namespace {

constexpr std::size_t kHeader = 136;
constexpr std::size_t kDatalenAt = 100;

// The child's whole life; what it prints goes into the pipe.
[[noreturn]] void serve(const vxa::gateway::Options& options, int out) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::dup2(out, STDOUT_FILENO);
  try {
    vxa::gateway::run(options, std::cout);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    std::_Exit(1);
  }
  std::cout.flush();
  std::exit(0);
}

std::uint16_t port_in(FILE* out) {
  char line[200] = "";
  if (!std::fgets(line, sizeof line, out)) throw std::runtime_error("the gateway did not start");
  const std::string text = line;
  return static_cast<std::uint16_t>(std::stoi(text.substr(text.rfind(':') + 1)));
}

}  // namespace

GatewayProcess::GatewayProcess(const vxa::gateway::Options& options) {
  vxa::gateway::Options quiet = options;
  quiet.verbose = false;
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("pipe");
  std::fflush(stdout);  // else the child would print it too
  child_ = ::fork();
  if (child_ == 0) {
    ::close(ends[0]);
    serve(quiet, ends[1]);
  }
  ::close(ends[1]);
  FILE* out = ::fdopen(ends[0], "r");
  port_ = port_in(out);
  // The pipe stays open, so that the child can go on printing; it is small talk that fits the pipe.
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

RawClient::RawClient(std::uint16_t port) : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const timeval limit{5, 0};
  ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    throw std::runtime_error("connect");
}

RawClient::~RawClient() { ::close(fd_); }

void RawClient::send(const std::string& bytes) {
  if (::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()))
    throw std::runtime_error("send");
}

std::string RawClient::receive(std::size_t length) {
  std::string bytes;
  while (bytes.size() < length) {
    char part[4096];
    const ssize_t n = ::recv(fd_, part, std::min(sizeof part, length - bytes.size()), 0);
    if (n < 0 && errno != ECONNRESET) throw std::runtime_error("nothing received in time");
    if (n <= 0) break;
    bytes.append(part, static_cast<std::size_t>(n));
  }
  return bytes;
}

std::string RawClient::receive_message() {
  std::string message = receive(kHeader);
  if (message.size() < kHeader) return message;
  return message + receive(vxa::load_be<std::uint32_t>(message.data() + kDatalenAt));
}

bool RawClient::silent_for(int milliseconds) {
  pollfd waited{fd_, POLLIN, 0};
  return ::poll(&waited, 1, milliseconds) == 0;
}
