// Resolution of host names, and TCP connections: waiting without limit, for a given time, or not at all, each also from
// a given local port.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "base/descriptor.h"
#include "vxa/vxa_host.h"
#include "wire/descriptor_flags.h"
#include "wire/fdset.h"
#include "wire/inet.h"
#include "wire/network.h"

namespace vxa::net {

namespace {

constexpr int kFailed = -1;
constexpr int kBindFailed = -2;
constexpr int kInProgress = 0;
constexpr int kConnected = 1;

constexpr std::uint32_t kUnknownAddress = INADDR_NONE;  // -1: an address that is to be resolved, or could not be

// The codes under which a call logs its failures; null: that failure is not logged.
struct LogCodes {
  const char* resolve;
  const char* socket;
  const char* reuse = nullptr;
};

struct Peer {
  const char* host;
  std::uint32_t addr;  // network order; 0 and -1: the host's
  int port;
};

// A socket that is ready to connect to an address, or the result of the call that could not make one.
struct Attempt {
  Descriptor socket{-1};
  sockaddr_in address{};
  int failure = kFailed;
};

std::uint32_t resolve(const char* host) {
  if (!host) return kUnknownAddress;
  const in_addr_t dotted = ::inet_addr(host);
  if (dotted != INADDR_NONE) return dotted;
  const hostent* found = ::gethostbyname(host);
  std::uint32_t addr = kUnknownAddress;
  if (found && found->h_length == sizeof addr && found->h_addr_list[0])
    std::memcpy(&addr, found->h_addr_list[0], sizeof addr);
  return addr;
}

std::optional<sockaddr_in> address_of(const Peer& peer, const char* code) {
  const bool given = peer.addr != 0 && peer.addr != kUnknownAddress;
  const std::uint32_t addr = given ? peer.addr : resolve(peer.host);
  if (addr != kUnknownAddress) return ipv4(addr, peer.port);
  if (code) log_record(SystemError::Append, 2, code, "0063 gethostbyname error : %s", peer.host ? peer.host : "");
  return std::nullopt;
}

Descriptor open_logged(const char* code) {
  const int fd = open_socket();
  if (fd < 0) log_record(SystemError::Append, 2, code, "0040 socket init error");
  return Descriptor{fd};
}

Attempt prepare(const Peer& peer, const LogCodes& codes) {
  const std::optional<sockaddr_in> address = address_of(peer, codes.resolve);
  if (!address) return {};
  return {open_logged(codes.socket), *address};
}

Attempt prepare_from(int local_port, const Peer& peer, const LogCodes& codes) {
  Descriptor socket = open_logged(codes.socket);
  if (!socket) return {};
  reuse_address(socket.get(), codes.reuse);
  if (!bind_to(socket.get(), INADDR_ANY, local_port)) return {.failure = kBindFailed};
  const std::optional<sockaddr_in> address = address_of(peer, codes.resolve);
  if (!address) return {};
  return {std::move(socket), *address};
}

bool connected(const Attempt& attempt) {
  const auto* address = reinterpret_cast<const sockaddr*>(&attempt.address);
  return ::connect(attempt.socket.get(), address, sizeof attempt.address) == 0;
}

int connect_blocking(Attempt attempt) {
  if (!attempt.socket) return attempt.failure;
  return connected(attempt) ? attempt.socket.release() : kFailed;
}

// Connects without blocking. On kConnected the socket blocks again, on kInProgress it does not.
int start(const Attempt& attempt) {
  const int fd = attempt.socket.get();
  errno = 0;
  if (!set_status_flags(fd, O_NONBLOCK)) return kFailed;
  if (connected(attempt)) return clear_status_flags(fd, O_NONBLOCK) ? kConnected : kFailed;
  return errno == EAGAIN || errno == EINPROGRESS ? kInProgress : kFailed;
}

// Waits for a connection in progress; false with errno set when it failed or the time ran out. No limit: null.
bool completed(int fd, timeval* limit) {
  FdSet writable;
  FdSet exceptional;
  const bool waitable = writable.add(fd) && exceptional.add(fd);
  if (!waitable || ::select(fd + 1, nullptr, writable.get(), exceptional.get(), limit) <= 0 || !writable.holds(fd)) {
    errno = ETIME;
    return false;
  }
  int error = ECONNREFUSED;
  socklen_t length = sizeof error;
  (void)::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length);
  if (error == 0) return true;
  errno = error;
  return false;
}

int connect_within(Attempt attempt, int secs, int usecs) {
  if (!attempt.socket) return attempt.failure;
  const int fd = attempt.socket.get();
  const int started = start(attempt);
  if (started == kFailed) return kFailed;
  if (started == kInProgress) {
    timeval limit{std::max(secs, 0), std::max(usecs, 0)};
    const bool limited = secs > 0 || usecs > 0;
    if (!completed(fd, limited ? &limit : nullptr) || !clear_status_flags(fd, O_NONBLOCK)) return kFailed;
  }
  return attempt.socket.release();
}

int connect_started(Attempt attempt, int* fd) {
  if (!attempt.socket) return attempt.failure;
  const int started = start(attempt);
  if (started != kFailed) *fd = attempt.socket.release();
  return started;
}

}  // namespace

int connect_to(const char* host, std::uint32_t addr, int port) {
  return connect_blocking(prepare({host, addr, port}, {"COM0104", "COM0105"}));
}

}  // namespace vxa::net

using namespace vxa;
using namespace vxa::net;

extern "C" int _vesk_getipbyname(const char* name) { return static_cast<int>(resolve(name)); }

extern "C" int _network_connect(const char* host, std::uint32_t addr, int port) { return connect_to(host, addr, port); }

extern "C" int _network_connect_with_timeout(const char* host, std::uint32_t addr, int port, int secs) {
  return connect_within(prepare({host, addr, port}, {"COM0106", "COM0107"}), secs, 0);
}

extern "C" int _network_connect_with_timeout3(const char* host, std::uint32_t addr, int port, int secs, int usecs) {
  return connect_within(prepare({host, addr, port}, {"COM0106", "COM0107"}), secs, usecs);
}

extern "C" int _network_connect_nb(const char* host, std::uint32_t addr, int port, int* fd) {
  return connect_started(prepare({host, addr, port}, {nullptr, "COM0108"}), fd);
}

extern "C" int _network_connect2(const char* host, std::uint32_t addr, int port, int localport) {
  return connect_blocking(prepare_from(localport, {host, addr, port}, {"COM0111", "COM0109", "COM1010"}));
}

extern "C" int _network_connect_with_timeout2(const char* host, std::uint32_t addr, int port, int secs, int localport) {
  return connect_within(prepare_from(localport, {host, addr, port}, {"COM0114", "COM0112", "COM0113"}), secs, 0);
}

extern "C" int _network_connect_nb2(const char* host, std::uint32_t addr, int port, int* fd, int localport) {
  return connect_started(prepare_from(localport, {host, addr, port}, {nullptr, "COM0115", "COM0116"}), fd);
}
