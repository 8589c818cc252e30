// What connecting and listening share: IPv4 addresses, and sockets bound to a local port.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

#include "base/log.h"

namespace vxa::net {

// addr is in network order, port in host order.
inline sockaddr_in ipv4(std::uint32_t addr, int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = addr;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

inline int open_socket() { return ::socket(AF_INET, SOCK_STREAM, 0); }

inline bool switch_on(int fd, int option, const char* name, const char* code) {
  const int on = 1;
  if (::setsockopt(fd, SOL_SOCKET, option, &on, sizeof on) == 0) return true;
  log_record(SystemError::Append, 2, code, "0062 setsockopt error : %s", name);
  return false;
}

// A socket that cannot be given this option still serves, so the failure is only logged.
inline void reuse_address(int fd, const char* code) { (void)switch_on(fd, SO_REUSEADDR, "SO_REUSEADDR", code); }

inline bool bind_to(int fd, std::uint32_t addr, int port) {
  const sockaddr_in local = ipv4(addr, port);
  return ::bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0;
}

}  // namespace vxa::net
