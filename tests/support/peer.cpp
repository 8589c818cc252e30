#include "tests/support/peer.h"

#include <arpa/inet.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vxa/vxa_host.h"

namespace peer {

namespace {

void require(bool holds, const char* what) {
  if (holds) return;
  std::perror(what);
  std::abort();
}

std::string padded(std::string text, std::size_t width) {
  text.resize(width, '\0');
  return text;
}

}  // namespace

std::string word(std::uint32_t value) {
  value = htonl(value);
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

std::string Wire::bytes() const {
  std::string out = word(magic) + word(seqno) + word(type) + word(size) + word(msgtype) + word(result);
  out += std::string(16, '\0') + word(txid[0]) + word(txid[1]) + word(txid[2]);
  out += padded(subtype, 16) + padded(svcname, 32);
  out += word(datalen.value_or(static_cast<std::uint32_t>(payload.size()))) + word(flags) + word(cd) + word(0);
  out += word(reqctl) + word(0) + word(handle) + word(rmid) + word(0);
  return out + payload;
}

void End::take(int fd) {
  hang_up();
  fd_ = fd;
}

void End::send(const std::string& bytes) {
  require(write(fd_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "write");
}

std::string End::received(std::size_t n) {
  std::string out(n, '\0');
  std::size_t have = 0;
  while (have < n) {
    const ssize_t got = read(fd_, out.data() + have, n - have);
    if (got <= 0) break;
    have += static_cast<std::size_t>(got);
  }
  out.resize(have);
  return out;
}

std::string End::message() {
  const std::string header = received(136);
  std::uint32_t datalen = 0;
  if (header.size() == 136) std::memcpy(&datalen, &header[100], sizeof datalen);
  return header + received(ntohl(datalen));
}

bool End::quiet() {
  char byte;
  return ::recv(fd_, &byte, 1, MSG_DONTWAIT | MSG_PEEK) < 0;
}

void End::finish() { shutdown(fd_, SHUT_WR); }

void End::hang_up() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

void End::reset() {
  const linger abort_now{1, 0};
  require(setsockopt(fd_, SOL_SOCKET, SO_LINGER, &abort_now, sizeof abort_now) == 0, "setsockopt");
  hang_up();
}

Stream::Stream(bool socket) {
  signal(SIGPIPE, SIG_IGN);
  int fds[2];
  require((socket ? socketpair(AF_UNIX, SOCK_STREAM, 0, fds) : pipe(fds)) == 0, "stream");
  near.take(fds[0]);
  far.take(fds[1]);
}

Gateway::Gateway() : listener_(_network_listen_ipaddr2(htonl(INADDR_LOOPBACK), &port_)) {
  signal(SIGPIPE, SIG_IGN);
  require(static_cast<bool>(listener_), "listen");
}

std::string Gateway::open_string(const char* options) const {
  return "host=127.0.0.1:" + std::to_string(port_) + options;
}

void Gateway::accept() {
  const int fd = ::accept(listener_.get(), nullptr, nullptr);
  const timeval patience{5, 0};
  require(setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) == 0, "accept");
  take(fd);
}

Interruptions::Interruptions() {
  struct sigaction interrupting {};
  interrupting.sa_handler = [](int) {};  // no SA_RESTART: system calls fail with EINTR
  const itimerval often{{0, 1000}, {0, 1000}};
  require(sigaction(SIGALRM, &interrupting, nullptr) == 0 && setitimer(ITIMER_REAL, &often, nullptr) == 0, "timer");
}

Interruptions::~Interruptions() {
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
}

}  // namespace peer
