#include "tools/link.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <charconv>
#include <random>

#include "gateway/names.h"
#include "gateway/text.h"
#include "vxa/vxa_host.h"

namespace vxa::tools {

using gateway::joined;

namespace {

constexpr int kResourceManager = 1;
constexpr long kFormat = 1;

// The open string of the address. The timeout stands first: an option is looked for anywhere in the string, so that a
// host name which happens to contain its name cannot be taken for it.
std::string open_string(const std::string& address, int seconds) {
  const auto colon = address.rfind(':');
  const bool has_both = colon != address.npos && colon > 0;
  unsigned port = 0;
  const char* end = address.data() + address.size();
  if (has_both) {
    const auto [stop, error] = std::from_chars(address.data() + colon + 1, end, port);
    if (error != std::errc{} || stop != end) port = 0;
  }
  if (port == 0 || port > 65535 || address.find('+') != address.npos)
    throw LinkError("--gateway " + address + ": HOST:PORT is expected");
  return joined("timeout=", seconds, "+host=", address);
}

// Unlike any other, as far as process, host and chance can tell.
XID new_branch() {
  std::random_device chance;
  const std::string name = joined("vxa-call-", ::getpid(), "-", std::hex, chance(), chance());
  XID branch{};
  branch.formatID = kFormat;
  branch.gtrid_length = static_cast<long>(name.size());
  branch.bqual_length = 1;
  name.copy(branch.data, name.size());
  branch.data[name.size()] = '1';
  return branch;
}

void check(const char* verb, int code) {
  if (code != XA_OK)
    throw LinkError(
        joined(verb, ": ", gateway::xa_code_meaning(code), " (", gateway::xa_code_name(code), ", ", code, ")"));
}

}  // namespace

Link::Link(const std::string& address, int seconds) {
  std::string info = open_string(address, seconds);
  const int code = veskxaosw.xa_open_entry(info.data(), kResourceManager, TMNOFLAGS);
  if (code != XA_OK) throw LinkError("no gateway answers at " + address);
  // Service calls wait without a limit of their own; a gateway that says nothing must not hang this program.
  const timeval limit{seconds, 0};
  ::setsockopt(_gwfd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
}

Link::~Link() {
  char info[] = "";
  veskxaosw.xa_close_entry(info, kResourceManager, TMNOFLAGS);
}

void Link::start() {
  branch_ = new_branch();
  check("xa_start", veskxaosw.xa_start_entry(&branch_, kResourceManager, TMNOFLAGS));
}

void Link::end() { check("xa_end", veskxaosw.xa_end_entry(&branch_, kResourceManager, TMSUCCESS)); }

bool Link::prepare() {
  const int code = veskxaosw.xa_prepare_entry(&branch_, kResourceManager, TMNOFLAGS);
  if (code == XA_RDONLY) return false;
  check("xa_prepare", code);
  return true;
}

void Link::commit() { check("xa_commit", veskxaosw.xa_commit_entry(&branch_, kResourceManager, TMNOFLAGS)); }

void Link::rollback() { check("xa_rollback", veskxaosw.xa_rollback_entry(&branch_, kResourceManager, TMNOFLAGS)); }

}  // namespace vxa::tools
