// Listening sockets and the connections that they accept.
#include "base/descriptor.h"
#include "vxa/vxa_host.h"
#include "wire/inet.h"

namespace vxa::net {

namespace {

constexpr int kBacklog = 127;

// Results beside the socket.
constexpr int kNoSocket = -1;
constexpr int kBindFailed = -2;
constexpr int kListenFailed = -3;
constexpr int kNameFailed = -4;

// reuse_code: under which a refused SO_REUSEADDR is logged; null leaves the option alone. bound_port, when not null,
// receives the port that the socket was bound to.
int listen_at(std::uint32_t addr, int port, const char* reuse_code, int* bound_port = nullptr) {
  Descriptor socket{open_socket()};
  if (!socket) return kNoSocket;
  if (reuse_code) reuse_address(socket.get(), reuse_code);
  if (!bind_to(socket.get(), addr, port)) return kBindFailed;
  if (::listen(socket.get(), kBacklog) < 0) return kListenFailed;
  if (bound_port) {
    sockaddr_in local{};
    socklen_t length = sizeof local;
    if (::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&local), &length) < 0) return kNameFailed;
    *bound_port = ntohs(local.sin_port);
  }
  return socket.release();
}

int accept_from(int fd, std::uint32_t* peer_addr) {
  sockaddr_in peer{};
  socklen_t length = sizeof peer;
  Descriptor socket{::accept(fd, reinterpret_cast<sockaddr*>(&peer), &length)};
  if (!socket || !switch_on(socket.get(), SO_KEEPALIVE, "SO_KEEPALIVE", "COM0103")) return kNoSocket;
  if (peer_addr) *peer_addr = peer.sin_addr.s_addr;
  return socket.release();
}

}  // namespace

}  // namespace vxa::net

using namespace vxa;

extern "C" int _network_listen(int port) { return net::listen_at(INADDR_ANY, port, "COM0101"); }

extern "C" int _network_listen2(int port) { return net::listen_at(INADDR_ANY, port, nullptr); }

extern "C" int _network_listen_ipaddr(std::uint32_t addr, int port) { return net::listen_at(addr, port, "COM0101"); }

extern "C" int _network_listen_ipaddr2(std::uint32_t addr, int* port) {
  return net::listen_at(addr, port ? *port : 0, "COM0117", port);
}

extern "C" int _network_accept(int fd) { return net::accept_from(fd, nullptr); }

extern "C" int _network_accept2(int fd, std::uint32_t* addr) { return net::accept_from(fd, addr); }
