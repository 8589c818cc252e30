// A scripted gateway for tests: it holds the other end of the link and speaks in bytes. Loopback keeps what is sent
// before it is read, so that most tests answer first and call the library afterwards, without a thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/descriptor.h"

namespace peer {

// A message on the wire, put together by the header's table of offsets. Words that are not named are zero.
struct Wire {
  std::uint32_t magic = 0x90352082;           // offset 0
  std::uint32_t seqno = 0;                    // 4
  std::uint32_t type = 9;                     // 8
  std::uint32_t size = 0;                     // 12
  std::uint32_t msgtype = 0;                  // 16
  std::uint32_t result = 0;                   // 20
  std::uint32_t txid[3] = {0, 0, 0};          // 40
  std::string subtype = {};                   // 52, 16 bytes
  std::string svcname = {};                   // 68, 32 bytes
  std::optional<std::uint32_t> datalen = {};  // 100; the payload's length when not given
  std::uint32_t flags = 0;                    // 104
  std::uint32_t cd = 0;                       // 108
  std::uint32_t reqctl = 0;                   // 116
  std::uint32_t handle = 0;                   // 124
  std::uint32_t rmid = 0;                     // 128
  std::string payload = {};

  std::string bytes() const;
};

// A 32-bit word as it lies on the wire.
std::string word(std::uint32_t value);

// One end of a stream.
class End {
 public:
  explicit End(int fd = -1) : fd_(fd) {}
  End(const End&) = delete;
  End& operator=(const End&) = delete;
  ~End() { hang_up(); }

  void take(int fd);
  int fd() const { return fd_; }
  void send(const std::string& bytes);
  void send(const Wire& message) { send(message.bytes()); }

  // Exactly n bytes; fewer when the stream ends before.
  std::string received(std::size_t n);
  // One whole message.
  std::string message();
  // Whether nothing more has arrived.
  bool quiet();

  // Sends no more; the other end reads to the end of the stream.
  void finish();
  void hang_up();
  // Breaks the connection: the other end's next write fails.
  void reset();

 private:
  int fd_;
};

// A stream of which the test holds one end and the library the other: a socket, or a pipe from far to near.
struct Stream {
  explicit Stream(bool socket = true);
  End near;
  End far;
};

// A listening gateway on a port of its own.
class Gateway : public End {
 public:
  Gateway();

  int port() const { return port_; }
  std::string open_string(const char* options = "") const;
  void accept();

 private:
  int port_ = 0;
  vxa::Descriptor listener_;
};

// While it lives, a signal interrupts the main thread's system calls every millisecond.
class Interruptions {
 public:
  Interruptions();
  ~Interruptions();
};

}  // namespace peer
