#include "tests/support/peer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace peer {

namespace {

constexpr std::size_t kHeader = 136;

void require(bool holds, const char* what) {
  if (holds) return;
  std::perror(what);
  std::abort();
}

std::string padded(const std::string& text, std::size_t width) {
  std::string field = text.substr(0, width);
  field.resize(width, '\0');
  return field;
}

std::uint32_t word_at(const std::string& bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<unsigned char>(bytes[offset + i]);
  return value;
}

}  // namespace

std::string word(std::uint32_t value) {
  std::string out;
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<char>(value >> shift));
  return out;
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
  const timeval patience{5, 0};
  require(setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) == 0, "setsockopt");
}

void End::send(const std::string& bytes) {
  require(::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size()), "send");
}

std::string End::received(std::size_t n) {
  std::string out(n, '\0');
  std::size_t have = 0;
  while (have < n) {
    const ssize_t got = ::recv(fd_, out.data() + have, n - have, 0);
    if (got <= 0) break;
    have += static_cast<std::size_t>(got);
  }
  out.resize(have);
  return out;
}

std::string End::message() {
  const std::string header = received(kHeader);
  return header.size() < kHeader ? header : header + received(word_at(header, 100));
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

Gateway::Gateway() : listener_(::socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  require(listener_ >= 0 && bind(listener_, generic, length) == 0 && listen(listener_, 8) == 0 &&
              getsockname(listener_, generic, &length) == 0,
          "listen");
  port_ = ntohs(address.sin_port);
}

Gateway::~Gateway() { ::close(listener_); }

std::string Gateway::open_string(const char* options) const {
  return "host=127.0.0.1:" + std::to_string(port_) + options;
}

void Gateway::accept() {
  const int fd = ::accept(listener_, nullptr, nullptr);
  require(fd >= 0, "accept");
  take(fd);
}

Dripper::Dripper(End& end, std::string bytes) {
  struct sigaction interrupting {};
  interrupting.sa_handler = [](int) {};  // no SA_RESTART: system calls fail with EINTR
  require(sigaction(SIGUSR1, &interrupting, nullptr) == 0, "sigaction");
  thread_ = std::thread([&end, bytes = std::move(bytes), reader = pthread_self()] {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      std::this_thread::sleep_for(std::chrono::microseconds(200));
      if (i % 3 == 0) pthread_kill(reader, SIGUSR1);
      end.send(bytes.substr(i, 1));
    }
  });
}

Dripper::~Dripper() { thread_.join(); }

}  // namespace peer
