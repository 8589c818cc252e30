// Questions about descriptors: whether one is open, and whom a socket is connected to.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>

#include "vxa/vxa_host.h"

extern "C" int _valid_fd(int fd) { return fcntl(fd, F_GETFL) < 0 && errno == EBADF ? 0 : 1; }

extern "C" const char* _vesk_peerip(int socket) {
  sockaddr_in peer = {};
  socklen_t size = sizeof peer;
  if (getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) != 0 || peer.sin_family != AF_INET)
    return "Unknown";
  return inet_ntoa(peer.sin_addr);
}
