// Messages on the gateway's socket. A request without encoding leaves in one send from where it lies, its header turned
// to network order and back; a reply arrives in two reads, header and payload, and ordinary ones in one allocation.
#include "xa/vxaio.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "tbuffer/tbuffer.h"
#include "wire/dencode.h"
#include "wire/fdset.h"
#include "wire/network.h"
#include "xa/console.h"
#include "xa/countdown.h"
#include "xa/recvq.h"

std::int32_t _seqno = 0;

namespace vxa::link {

namespace {

constexpr std::int32_t kLastSeqno = 0x0FFFFFFE;
constexpr std::int32_t kHandleLimit = 0x0FFFFFFF;
constexpr std::int32_t kFirstBlock = 2000;  // holds an ordinary reply, the trailer reserve not counted
constexpr std::int64_t kFirstRoom = kFirstBlock - kHeaderSize;

std::int32_t handle_counter = 0;

// ---- Writing ----

bool write_block(int fd, std::int32_t msgtype, const MsgHeader* block, std::int64_t payload_length) {
  const std::int64_t wanted = kHeaderSize + payload_length;
  const bool possible = payload_length >= 0 && wanted <= INT32_MAX;
  const int written = possible ? net::write_full(fd, block, static_cast<int>(wanted)) : -1;
  if (possible && written >= wanted) return true;
  console("write to xagw fail! [%d:%d:%d:%d]\n", fd, msgtype, written, static_cast<int>(wanted));
  return false;
}

bool write_encoded(int fd, MsgHeader* message) {
  const codec::Encoded encoded = codec::encode(message);
  if (!encoded.message) {
    console("data hton fail[%d:%d]\n", message->msgtype, message->type);
    return false;
  }
  const std::int32_t length = std::exchange(message->datalen, encoded.length);
  convert_header(message, encoded.message.get());
  message->datalen = length;
  return write_block(fd, message->msgtype, encoded.message.get(), encoded.length);
}

bool write_in_place(int fd, MsgHeader* message) {
  const std::int32_t msgtype = message->msgtype;
  const std::int32_t length = message->datalen;
  convert_header(message, message);
  const bool written = write_block(fd, msgtype, message, length);
  convert_header(message, message);
  return written;
}

// ---- Reading ----

bool read_header(int fd, MsgHeader* header) {
  const int got = net::read_full(fd, header, int{kHeaderSize});
  if (got == kHeaderSize) {
    convert_header(header, header);
    return true;
  }
  console(got < 0 ? "read from xagw fail! [%d:%d:%d]\n" : "read from xagw error! [%d:%d:%d]\n", fd, got,
          int{kHeaderSize});
  return false;
}

// Makes room for what the header announces: its payload, and the capacity that it claims.
bool grow(Message& message) {
  const std::int64_t room = std::max(message->size, message->datalen);
  if (room <= kFirstRoom || heap_resize(message, typed_block_size(room))) return true;
  console("realloc fail[%d]\n", static_cast<int>(kHeaderSize + room));
  return false;
}

bool read_payload(int fd, Message& message) {
  const std::int32_t length = message->datalen;
  const bool possible = message->size >= 0 && length >= 0;
  if (possible && !grow(message)) return false;
  const int got = possible ? net::read_full(fd, payload_of(message.get()), length) : 0;
  if (!possible || got < length) {
    console("read from xagw error! [%d:%d:%d]\n", fd, got, length);
    return false;
  }
  payload_of(message.get())[length] = 0;
  return true;
}

bool decode(Message& message) {
  const codec::Decoding decoding = codec::decode(message);
  switch (decoding.status) {
    case codec::Decoding::kDone:
      return true;
    case codec::Decoding::kUnknownStruct:
      console("get network size fail[%.16s]\n", message->subtype);
      return false;
    case codec::Decoding::kNoBlock:
      console("malloc fail[%d]\n", static_cast<int>(decoding.block_size));
      return false;
    case codec::Decoding::kFailed:
      break;
  }
  console("data ntoh fail[%d:%d]\n", message->msgtype, message->type);
  return false;
}

// ---- Waiting for an XA reply ----

int io_timer(int fd, int secs) {
  if (fd < 0) return -1;
  const int ready = wait_readable(fd, secs);
  if (ready < 0) console("io timer fail[%d]\n", errno);
  return ready;
}

bool await_readable(int fd, int secs) {
  const int ready = io_timer(fd, secs);
  if (ready > 0) return true;
  if (ready == 0)
    console("recv timeout[%d]\n", secs);
  else
    console("recv error[%d]\n", fd);
  return false;
}

bool replies_to(const MsgHeader* message, int code) {
  const std::int64_t kind = message->msgtype - std::int64_t{code};
  return code > 0 && (kind == kSuccess || kind == kFailure);
}

// Queues the reply of an asynchronous request that nobody waits for now. Without memory for that it is lost.
void keep(Message message) { recvq::enqueue(message); }

// The message when it is the reply that is awaited; else it is put away.
Message filter(Message message, int code, int handle) {
  if (!has_magic(message.get())) {
    console("invalid magic[%d]\n", static_cast<int>(message->magic));
    return nullptr;
  }
  if (handle >= 0) {
    if (message->handle == handle) return message;
    keep(std::move(message));
    return nullptr;
  }
  if (replies_to(message.get(), code)) return message;
  console("invalid msgtype[%d]\n", message->msgtype);
  if (message->handle >= 0) keep(std::move(message));
  return nullptr;
}

}  // namespace

std::int32_t next_seqno() {
  if (_seqno > kLastSeqno) _seqno = 0;
  return _seqno++;
}

void skip_seqno() {
  if (_seqno <= kLastSeqno) ++_seqno;
}

int next_handle(long flags) {
  if (static_cast<std::int32_t>(flags) >= 0) return kNoHandle;
  const std::int32_t handle = handle_counter == kHandleLimit ? 0 : handle_counter;
  handle_counter = handle + 1;
  return handle;
}

bool write_message(int fd, MsgHeader* message) {
  return codec::needs_encoding(message) ? write_encoded(fd, message) : write_in_place(fd, message);
}

bool send_xa_request(int fd, const XaRequest& request, const void* payload, std::int32_t length) {
  const std::int64_t size = length + kHeaderSize;
  const Message message = length < 0 ? nullptr : heap_alloc_zeroed<MsgHeader>(size);
  if (!message) {
    console("malloc fail[%d]\n", static_cast<int>(size));
    return false;
  }
  message->magic = kMessageMagic;
  message->seqno = next_seqno();
  message->type = payload::kCarray;  // what XA requests carry
  message->size = static_cast<std::int32_t>(size);
  message->msgtype = request.code;
  message->datalen = length;
  message->flags = static_cast<std::uint32_t>(request.flags);
  message->handle = request.handle;
  message->rmid = request.rmid;
  if (length > 0) std::memcpy(payload_of(message.get()), payload, static_cast<std::size_t>(length));
  if (write_message(fd, message.get())) return true;
  console("send to xagw fail! [%d][%d]\n", request.code, -1);
  return false;
}

bool send_request(MsgHeader* message) {
  if (write_message(_gwfd, message)) return true;
  console("_write_to_xagw fail[%d][%d]\n", message->msgtype, -1);
  return false;
}

Message read_message(int fd) {
  Message message = heap_alloc_zeroed<MsgHeader>(kFirstBlock + kTrailerReserve);
  if (!message) {
    console("malloc fail[%d]\n", kFirstBlock);
    return nullptr;
  }
  if (!read_header(fd, message.get()) || !read_payload(fd, message) || !decode(message)) return nullptr;
  return message;
}

Message receive_xa_reply(int fd, int code, int handle, int secs) {
  const Countdown countdown{secs};
  for (int remaining = secs; remaining >= 0;) {
    if (!await_readable(fd, remaining)) return nullptr;
    Message message = read_message(fd);
    if (!message) {
      console("recv fail\n");
      return nullptr;
    }
    remaining = countdown.left();
    if (Message reply = filter(std::move(message), code, handle)) return reply;
  }
  return nullptr;
}

}  // namespace vxa::link

using namespace vxa;

extern "C" int _get_seqno() { return link::next_seqno(); }

extern "C" int _get_next_handle(long flags) { return link::next_handle(flags); }

extern "C" int _send_to_xagw(int fd, int msgtype, int handle, long flags, int rmid, const void* payload, int length) {
  return link::send_xa_request(fd, {msgtype, handle, flags, rmid}, payload, length) ? 1 : -1;
}

extern "C" int _send_to_xagw2(MsgHeader* message) { return link::send_request(message) ? 1 : -1; }

extern "C" int _write_to_xagw(int fd, MsgHeader* message) { return link::write_message(fd, message) ? 1 : -1; }

extern "C" MsgHeader* _read_from_xagw(int fd) { return link::read_message(fd).release(); }

extern "C" MsgHeader* _recv_from_xagw(int fd, int code, int handle, int secs) {
  return link::receive_xa_reply(fd, code, handle, secs).release();
}

extern "C" int _io_timer(int fd, int secs) { return link::io_timer(fd, secs); }
