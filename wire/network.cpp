// Transfers of whole blocks over descriptors, and reads with a time limit.
#include "wire/network.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "vxa/vxa_host.h"
#include "wire/fdset.h"

namespace vxa::net {

namespace {

ssize_t receive(int fd, void* to, std::size_t n) { return ::recv(fd, to, n, 0); }

ssize_t transmit(int fd, const void* from, std::size_t n) { return ::send(fd, from, n, 0); }

template <auto kRead>
int read_all(int fd, void* to, int n) {
  int done = 0;
  while (done < n) {
    const ssize_t got = kRead(fd, static_cast<char*>(to) + done, static_cast<std::size_t>(n - done));
    if (got == 0) break;
    if (got > 0)
      done += static_cast<int>(got);
    else if (errno != EINTR)
      return -1;
  }
  return done;
}

template <auto kWrite>
int write_all(int fd, const void* from, int n) {
  int done = 0;
  while (done < n) {
    const ssize_t sent = kWrite(fd, static_cast<const char*>(from) + done, static_cast<std::size_t>(n - done));
    if (sent <= 0) return static_cast<int>(sent);
    done += static_cast<int>(sent);
  }
  return done;
}

int read_within(int fd, void* to, int n, int secs, bool whole) {
  const int ready = wait_readable(fd, secs);
  if (ready < 0) return -1;
  if (ready == 0) {
    errno = EINTR;
    return -1;
  }
  if (whole) return read_full(fd, to, n);
  if (n < 1) return 0;
  return static_cast<int>(::read(fd, to, static_cast<std::size_t>(n)));
}

}  // namespace

int read_full(int fd, void* to, int n) { return read_all<receive>(fd, to, n); }

int write_full(int fd, const void* from, int n) { return write_all<transmit>(fd, from, n); }

int read_full_any(int fd, void* to, int n) { return read_all<::read>(fd, to, n); }

int write_full_any(int fd, const void* from, int n) { return write_all<::write>(fd, from, n); }

}  // namespace vxa::net

using namespace vxa;

extern "C" int _vesk_readn(int fd, void* buf, int n) { return net::read_full(fd, buf, n); }

extern "C" int _vesk_writen(int fd, const void* buf, int n) { return net::write_full(fd, buf, n); }

extern "C" int _vesk_writen_urg(int fd, const void* buf, int n) { return net::write_full(fd, buf, n); }

extern "C" int pipe_readn(int fd, void* buf, int n) { return net::read_full_any(fd, buf, n); }

extern "C" int pipe_writen(int fd, const void* buf, int n) { return net::write_full_any(fd, buf, n); }

extern "C" int _vesk_read_timeout(int fd, void* buf, int n, int secs, int whole) {
  return net::read_within(fd, buf, n, secs, whole != 0);
}

extern "C" int _vesk_read_check(int fd, int secs) {
  errno = 0;
  return wait_readable_once(fd, secs);
}
