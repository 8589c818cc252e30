// Flags of open descriptors: the status flags (O_NONBLOCK and the like), and close-on-exec.
#include "wire/descriptor_flags.h"

#include <fcntl.h>

#include <cstdio>

#include "base/log.h"
#include "vxa/vxa_host.h"

namespace vxa::net {

namespace {

// The bits as _show_fl prints them.
constexpr int kAppend = 0x400;
constexpr int kNonblock = 0x800;
constexpr int kSync = 0x1000;

bool fail(const char* code, const char* operation, int flags) {
  log_record(SystemError::Append, 2, code, "0015 fcntl error : %s %d", operation, flags);
  return false;
}

bool show_status_flags(int fd) {
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags < 0) return fail("COM0021", "F_GETFL", 0);
  std::printf("FD%d: O_APPEND(%d) O_NONBLOCK(%d) O_SYNC(%d)\n", fd, flags & kAppend, flags & kNonblock, flags & kSync);
  return true;
}

bool set_descriptor_flag(int fd, int flag) {
  if (flag != FD_CLOEXEC) return fail("COM0022", "F_SETFD", flag);
  if (::fcntl(fd, F_SETFD, flag) < 0) return fail("COM0023", "F_SETFD", flag);
  return true;
}

}  // namespace

bool set_status_flags(int fd, int flags) {
  const int before = ::fcntl(fd, F_GETFL);
  if (before < 0) return fail("COM0017", "F_GETFL", flags);
  if (::fcntl(fd, F_SETFL, before | flags) < 0) return fail("COM0018", "F_SETFL", flags);
  return true;
}

bool clear_status_flags(int fd, int flags) {
  const int before = ::fcntl(fd, F_GETFL);
  if (before < 0) return fail("COM0019", "F_GETFL", flags);
  if (::fcntl(fd, F_SETFL, before & ~flags) < 0) return fail("COM0020", "F_SETFL", flags);
  return true;
}

}  // namespace vxa::net

using namespace vxa;

extern "C" int _set_fl(int fd, int flags) { return net::set_status_flags(fd, flags) ? 1 : -1; }

extern "C" int _clr_fl(int fd, int flags) { return net::clear_status_flags(fd, flags) ? 1 : -1; }

extern "C" int _show_fl(int fd) { return net::show_status_flags(fd) ? 1 : -1; }

extern "C" int _set_fd(int fd, int flag) { return net::set_descriptor_flag(fd, flag) ? 1 : -1; }
