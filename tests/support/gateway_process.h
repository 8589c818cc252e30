// A development gateway in a process of its own, on a free port, for as long as the object lives; and who talks to it.
#pragma once

#include <sys/types.h>

#include "gateway/gateway.h"
#include "tests/support/peer.h"
#include "vxa/vxa_host.h"

class GatewayProcess {
 public:
  explicit GatewayProcess(const vxa::gateway::Options& options = {});
  GatewayProcess(const GatewayProcess&) = delete;
  GatewayProcess& operator=(const GatewayProcess&) = delete;
  ~GatewayProcess();

  int port() const { return port_; }

  // Sends the signal and waits for the end; the wait status.
  int end(int signal);

 private:
  pid_t child_ = 0;
  int port_ = 0;
};

// A client that speaks bytes.
class RawClient : public peer::End {
 public:
  explicit RawClient(const GatewayProcess& gateway) { take(_network_connect("127.0.0.1", 0, gateway.port())); }

  // The message that answers the bytes.
  std::string answer(const std::string& request) {
    send(request);
    return message();
  }
};
