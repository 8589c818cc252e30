// The gateway link: whole messages out of and into one socket, and the wait for the reply to an XA request.
//
// What goes wrong here is printed on the console. Nothing here closes the socket.
#pragma once

#include "base/export.h"
#include "wire/header.h"

namespace vxa::link {

inline constexpr int kNoHandle = -1;

// Replies carry the request's code plus one of these.
inline constexpr int kSuccess = 1000;
inline constexpr int kFailure = 2000;

// The number of the next request, 0 to 268435454 and round again.
std::int32_t next_seqno();

// Leaves one number out.
void skip_seqno();

// The next handle of an asynchronous XA request, 0 to 268435454 and round again; kNoHandle when flags lack TMASYNC.
int next_handle(long flags);

// Writes a message in host order, header and datalen payload bytes; struct and field payloads are encoded. The message
// is as it was afterwards.
bool write_message(int fd, MsgHeader* message);

// Writes one XA request with that payload.
struct XaRequest {
  int code;
  int handle;
  long flags;
  int rmid;
};
bool send_xa_request(int fd, const XaRequest& request, const void* payload, std::int32_t length);

// Writes a service request on the gateway's socket; the message stays the caller's.
bool send_request(MsgHeader* message);

// Reads the next message: header in host order, payload decoded and followed by a zero byte, in a block that holds the
// larger of size and datalen and the trailer reserve. Null when the stream fails or ends, or the payload is damaged.
Message read_message(int fd);

// Waits at most secs seconds for the reply to an XA request: the message with that handle, or, with kNoHandle, of one
// of the two reply types of that code. Other replies of asynchronous requests are queued meanwhile. With 0 seconds it
// takes what is there. Null when there is none.
Message receive_xa_reply(int fd, int code, int handle, int secs);

}  // namespace vxa::link

VXA_EXPORT std::int32_t _seqno;
VXA_EXPORT int _get_seqno(void);
VXA_EXPORT int _get_next_handle(long flags);
VXA_EXPORT int _send_to_xagw(int fd, int msgtype, int handle, long flags, int rmid, const void* payload, int length);
VXA_EXPORT int _send_to_xagw2(vxa::MsgHeader* message);
VXA_EXPORT int _write_to_xagw(int fd, vxa::MsgHeader* message);
VXA_EXPORT vxa::MsgHeader* _read_from_xagw(int fd);
VXA_EXPORT vxa::MsgHeader* _recv_from_xagw(int fd, int code, int handle, int secs);
VXA_EXPORT int _io_timer(int fd, int secs);
