// A development gateway in a process of its own, on a free port, for as long as the object lives.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "gateway/gateway.h"

class GatewayProcess {
 public:
  explicit GatewayProcess(const vxa::gateway::Options& options = {});
  GatewayProcess(const GatewayProcess&) = delete;
  GatewayProcess& operator=(const GatewayProcess&) = delete;
  ~GatewayProcess();

  std::uint16_t port() const { return port_; }

  // Sends the signal and waits for the end; the wait status.
  int end(int signal);

 private:
  pid_t child_ = 0;
  std::uint16_t port_ = 0;
};

// A client that speaks bytes; each operation waits at most 5 seconds.
class RawClient {
 public:
  explicit RawClient(std::uint16_t port);
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;
  ~RawClient();

  void send(const std::string& bytes);

  // That many bytes, or fewer when the gateway closes the connection before.
  std::string receive(std::size_t length);

  // A whole message by the length word of its header.
  std::string receive_message();

  // Whether nothing arrives for the given time.
  bool silent_for(int milliseconds);

 private:
  int fd_;
};
