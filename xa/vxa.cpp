// The XA switch: opening and closing the link to the gateway, and the verbs, each one request and one reply.
#include "xa/vxa.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "base/descriptor.h"
#include "wire/network.h"
#include "xa/console.h"
#include "xa/etc.h"
#include "xa/openstr.h"
#include "xa/recvq.h"
#include "xa/vxaio.h"

std::int32_t _xa_opensw = 0;
std::int32_t _rmid = -1;
std::int32_t _gwfd = 0;
std::int32_t _timeout = 0;
std::int32_t _dbg_lvl = 0;
char vesk_hostaddr[256] = "";
std::int32_t vesk_hostport = 0;
std::int32_t txid[3] = {};

xa_switch_t veskxaosw = {
    "VeskXA",         TMNOFLAGS,        40,
    vesk_xa_open,     vesk_xa_close,    vesk_xa_start,
    vesk_xa_end,      vesk_xa_rollback, vesk_xa_prepare,
    vesk_xa_commit,   vesk_xa_recover,  vesk_xa_forget,
    vesk_xa_complete,
};

namespace vxa::xa {

namespace {

enum Code : int { kPrepare = 112, kCommit = 113, kRollback = 114, kCommitOnePhase = 116, kStart = 149, kEnd = 150 };

constexpr int kCallSlots = 16;
constexpr int kConnectAttempts = 10;
constexpr useconds_t kConnectPause = 100000;  // microseconds
constexpr int kFailed = -1;

// The data of an XID lies behind its three numbers.
constexpr std::int64_t kXidHead = offsetof(XID, data);

bool refused(long flags, long accepted, const char* verb) {
  if (!(flags & ~accepted)) return false;
  console("%s invalid flag[%#x]\n", verb, static_cast<unsigned>(flags));
  return true;
}

bool open_as(int rmid) { return _xa_opensw != 0 && rmid == _rmid; }

// Lengths are 32-bit numbers in 64-bit fields.
std::int64_t xid_size(const XID* xid) {
  return kXidHead + static_cast<std::int32_t>(xid->gtrid_length) + static_cast<std::int32_t>(xid->bqual_length);
}

bool lengths_possible(const XID* xid) {
  return static_cast<std::int32_t>(xid->gtrid_length) >= 0 && static_cast<std::int32_t>(xid->bqual_length) >= 0 &&
         xid_size(xid) <= kXidHead + XIDDATASIZE;
}

Descriptor connect_to_server(const char* host, int port) {
  for (int attempt = 0; attempt < kConnectAttempts; ++attempt) {
    errno = 0;
    Descriptor socket{net::connect_to(host, 0, port)};
    if (socket) return socket;
    ::usleep(kConnectPause);
  }
  return Descriptor{};
}

// A request leaves at once, even while the one before it is unanswered: calls that are made together run together. A
// link that cannot have this works all the same.
void send_without_delay(int fd) {
  const int on = 1;
  (void)::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

int open(const char* info, int rmid) {
  if (!read_open_string(info)) return kFailed;
  Descriptor socket = connect_to_server(vesk_hostaddr, vesk_hostport);
  if (!socket) {
    console("connect to server fail[%s][%d]\n", vesk_hostaddr, vesk_hostport);
    return kFailed;
  }
  if (!acall::create_table(kCallSlots)) return kFailed;
  send_without_delay(socket.get());
  _gwfd = socket.release();
  _xa_opensw = 1;
  _rmid = rmid;
  return XA_OK;
}

// The result that the reply carries; a start that succeeded also names the transaction.
int result_of(const MsgHeader* reply) {
  if (reply->msgtype > link::kFailure)
    console("do_request fail[%d][%d]\n", reply->result, reply->msgtype);
  else if (reply->msgtype == kStart + link::kSuccess)
    std::memcpy(txid, reply->txid, sizeof txid);
  return reply->result;
}

int request(int code, int rmid, long flags, const XID* xid) {
  if (!xid || !open_as(rmid) || !lengths_possible(xid)) return XAER_INVAL;
  const int handle = link::next_handle(flags);
  if (!link::send_xa_request(_gwfd, {code, handle, flags, rmid}, xid, static_cast<std::int32_t>(xid_size(xid)))) {
    console("send msg fail[%d]\n", code);
    return XAER_RMFAIL;
  }
  if (flags & TMASYNC) return handle;
  const Message reply = link::receive_xa_reply(_gwfd, code, link::kNoHandle, flags & TMNOWAIT ? 0 : _timeout);
  if (!reply) {
    console("recv msg fail[%d]\n", code);
    return XAER_RMERR;
  }
  return result_of(reply.get());
}

int complete(int handle, int* result, long flags) {
  Message reply = recvq::dequeue(handle);
  if (!reply) {
    if (flags & TMNOWAIT) return XA_RETRY;
    reply = link::receive_xa_reply(_gwfd, -1, handle, _timeout);
  }
  if (!reply) {
    console("xa_complete recv msg fail\n");
    return XAER_RMERR;
  }
  *result = reply->result;
  return XA_OK;
}

}  // namespace

}  // namespace vxa::xa

using namespace vxa;

extern "C" int vesk_xa_open(char* info, int rmid, long flags) {
  if (_xa_opensw != 0) return rmid == _rmid ? XA_OK : XAER_INVAL;
  if (xa::refused(flags, TMASYNC, "xa_open")) return XAER_PROTO;
  return xa::open(info, rmid);
}

extern "C" int vesk_xa_close(char*, int, long flags) {
  if (_xa_opensw == 0) return XA_OK;
  if (xa::refused(flags, TMASYNC | TMSUCCESS | TMSUSPEND | TMMIGRATE, "xa_cloase")) return XAER_PROTO;
  ::close(_gwfd);
  _gwfd = -1;
  _xa_opensw = 0;
  _rmid = -1;
  return XA_OK;
}

extern "C" int vesk_xa_start(XID* xid, int rmid, long flags) {
  if (xa::refused(flags, TMASYNC | TMNOWAIT | TMRESUME | TMJOIN, "xa_start")) return XAER_PROTO;
  return xa::request(xa::kStart, rmid, flags, xid);
}

extern "C" int vesk_xa_end(XID* xid, int rmid, long flags) {
  if (xa::refused(flags, TMASYNC | TMSUCCESS | TMSUSPEND | TMMIGRATE, "xa_end")) return XAER_PROTO;
  return xa::request(xa::kEnd, rmid, flags, xid);
}

extern "C" int vesk_xa_rollback(XID* xid, int rmid, long flags) {
  if (xa::refused(flags, TMASYNC, "xa_rollback")) return XAER_PROTO;
  return xa::request(xa::kRollback, rmid, flags, xid);
}

extern "C" int vesk_xa_prepare(XID* xid, int rmid, long flags) {
  if (xa::refused(flags, TMASYNC, "xa_prepare")) return XAER_PROTO;
  return xa::request(xa::kPrepare, rmid, flags, xid);
}

extern "C" int vesk_xa_commit(XID* xid, int rmid, long flags) {
  if (xa::refused(flags, TMASYNC | TMONEPHASE | TMNOWAIT, "xa_commit")) return XAER_PROTO;
  return xa::request(flags & TMONEPHASE ? xa::kCommitOnePhase : xa::kCommit, rmid, flags, xid);
}

extern "C" int vesk_xa_recover(XID*, long, int, long) { return 0; }

extern "C" int vesk_xa_forget(XID*, int, long) { return XA_OK; }

extern "C" int vesk_xa_complete(int* handle, int* retval, int rmid, long flags) {
  if (!handle || !retval || !xa::open_as(rmid)) return XAER_INVAL;
  return xa::complete(*handle, retval, flags);
}

extern "C" int _do_xa_request(int code, int rmid, long flags, const XID* xid) {
  return xa::request(code, rmid, flags, xid);
}

extern "C" int _connect_to_server(const char* host, int port) { return xa::connect_to_server(host, port).release(); }

extern "C" int _get_xid_size(const XID* xid) { return static_cast<int>(xa::xid_size(xid)); }
