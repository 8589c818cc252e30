// Whole messages between the system's own processes: over a process channel (processes of one node, header in host
// order) and over a node channel (between nodes, header in network order). Both may be sockets or pipes.
#include <cerrno>
#include <climits>
#include <cstring>

#include "base/log.h"
#include "wire/header.h"
#include "wire/network.h"

std::int32_t _my_tproc = 0;
std::int32_t _my_nodeno = 0;
std::int32_t _procio_errno = 0;
std::int32_t _nodeio_errno = 0;

const char* _tproc_name[34] = {
    "proc0",  "proc1",  "proc2",  "proc3",  "proc4",  "proc5",  "proc6",  "proc7",  "proc8",
    "proc9",  "proc10", "proc11", "proc12", "proc13", "proc14", "proc15", "proc16", "proc17",
    "proc18", "proc19", "proc20", "proc21", "proc22", "proc23", "proc24", "proc25", "proc26",
    "proc27", "proc28", "proc29", "proc30", "proc31", "proc32", "proc33",
};

namespace vxa::channel {

namespace {

constexpr std::int64_t kFirstBlock = 1000;  // of a received message; it grows when the payload needs more

// Where the short text of a service request lies: from a reserved word through the transaction id and the subtype.
constexpr std::size_t kTextOffset = offsetof(MsgHeader, reserved36);
constexpr std::size_t kTextSize = offsetof(MsgHeader, svcname) - kTextOffset;
static_assert(kTextSize == 32);

// Outcomes of a read.
enum Outcome : std::int32_t {
  kRead = 0,
  kEndOfInput = -1,
  kHeaderCut = -2,
  kBadMagic = -3,
  kNoMemory = -4,
  kPayloadCut = -5,
};

// What tells the two kinds of channel apart.
struct Kind {
  std::int32_t* outcome;
  const std::int32_t* sender;  // the word that names the sender
  bool network_order;
  const char* read_text;
  const char* header_code;
  const char* magic_code;
  const char* memory_code;
  const char* payload_code;
};

const Kind process{.outcome = &_procio_errno,
                   .sender = &_my_tproc,
                   .network_order = false,
                   .read_text = "0028 read error : %d %d",
                   .header_code = "COM0002",
                   .magic_code = "COM0003",
                   .memory_code = "COM0004",
                   .payload_code = "COM0005"};
const Kind node{.outcome = &_nodeio_errno,
                .sender = &_my_nodeno,
                .network_order = true,
                .read_text = "0056 read error : %d %d",
                .header_code = "COM0008",
                .magic_code = "COM0009",
                .memory_code = "COM0010",
                .payload_code = "COM0011"};

// Whether a transfer was refused because the descriptor is no socket, which it says before anything was moved. That is
// no error of the channel, so errno does not keep it for the host or its log.
bool refused_as_no_socket(int moved) {
  if (moved >= 0 || errno != ENOTSOCK) return false;
  errno = 0;
  return true;
}

int read_some(int fd, void* to, int n) {
  const int got = net::read_full(fd, to, n);
  return refused_as_no_socket(got) ? net::read_full_any(fd, to, n) : got;
}

int write_some(int fd, const void* from, int n) {
  const int sent = net::write_full(fd, from, n);
  return refused_as_no_socket(sent) ? net::write_full_any(fd, from, n) : sent;
}

HeapPtr<MsgHeader> failed(const Kind& kind, Outcome outcome) {
  *kind.outcome = outcome;
  return nullptr;
}

HeapPtr<MsgHeader> cut_short(const Kind& kind, Outcome outcome, const char* code, int got, int wanted) {
  log_always(SystemError::Append, 2, code, kind.read_text, got, wanted);
  return failed(kind, outcome);
}

HeapPtr<MsgHeader> read(int fd, const Kind& kind) {
  *kind.outcome = kRead;
  HeapPtr<MsgHeader> message = heap_alloc<MsgHeader>(kFirstBlock);
  if (!message) return failed(kind, kNoMemory);

  int got = read_some(fd, message.get(), int{kHeaderSize});
  if (got == 0) return failed(kind, kEndOfInput);
  if (got != kHeaderSize) return cut_short(kind, kHeaderCut, kind.header_code, got, int{kHeaderSize});
  if (kind.network_order) convert_header(message.get(), message.get());
  if (!has_magic(message.get())) {
    log_always(SystemError::Omit, 2, kind.magic_code, "0200 magic number error : %d %d", message->msgtype,
               static_cast<int>(message->magic));
    return failed(kind, kBadMagic);
  }

  const int datalen = message->datalen;
  if (datalen < 0) return cut_short(kind, kPayloadCut, kind.payload_code, 0, datalen);
  const std::int64_t length = kHeaderSize + datalen;
  if (length > kFirstBlock && !heap_resize(message, length)) {
    log_always(SystemError::Omit, 2, kind.memory_code, "0002 memory allocation error : size = %d",
               static_cast<int>(length));
    return failed(kind, kNoMemory);
  }
  got = read_some(fd, payload_of(message.get()), datalen);
  if (got != datalen) return cut_short(kind, kPayloadCut, kind.payload_code, got, datalen);
  return message;
}

// Bytes of the message on the wire; -1 when there is none or its payload's length makes no sense.
int wire_length(const MsgHeader* message) {
  if (!message || message->datalen < 0) return -1;
  const std::int64_t length = kHeaderSize + message->datalen;
  return length <= INT_MAX ? static_cast<int>(length) : -1;
}

int write_whole(int fd, const MsgHeader* message, int length) {
  errno = 0;
  return write_some(fd, message, length) == length ? 1 : -1;
}

int write_process(int fd, const MsgHeader* message) {
  const int length = wire_length(message);
  return length < 0 ? -1 : write_whole(fd, message, length);
}

// Leaves the header in network order.
int write_node(int fd, MsgHeader* message) {
  const int length = wire_length(message);
  if (length < 0) return -1;
  convert_header(message, message);
  return write_whole(fd, message, length);
}

int write(int fd, MsgHeader* message, const Kind& kind) {
  return kind.network_order ? write_node(fd, message) : write_process(fd, message);
}

// The header words that the builders are given.
struct Words {
  int msgtype;
  int result;
  int cd;
  int flags;
  int aux = 0;
};

void fill(MsgHeader* header, const Kind& kind, const Words& words) {
  header->type = *kind.sender;
  header->msgtype = words.msgtype;
  header->result = words.result;
  header->aux = words.aux;
  header->flags = static_cast<std::uint32_t>(words.flags);
  header->cd = words.cd;
}

int send_header(int fd, const Kind& kind, const Words& words, const char* svcname = nullptr,
                const char* text = nullptr) {
  HeapPtr<MsgHeader> message = new_header(words.msgtype, 0);
  if (!message) return -1;
  fill(message.get(), kind, words);
  if (svcname) std::memcpy(message->svcname, svcname, sizeof message->svcname);
  if (text) std::memcpy(reinterpret_cast<char*>(message.get()) + kTextOffset, text, std::strlen(text));
  return write(fd, message.get(), kind);
}

int send_data(int fd, const Kind& kind, const Words& words, const char* memory_code, int length, const void* data) {
  if (length < 0 || (length > 0 && !data)) return -1;
  const std::int64_t size = kHeaderSize + length;
  HeapPtr<MsgHeader> message = heap_alloc<MsgHeader>(size);
  if (!message) {
    log_record(SystemError::Omit, 2, memory_code, "0003 memory allocation error : size = %d", static_cast<int>(size));
    return -1;
  }
  init_header(message.get());
  fill(message.get(), kind, words);
  message->size = length;
  message->datalen = length;
  if (length > 0) std::memcpy(payload_of(message.get()), data, static_cast<std::size_t>(length));
  return write(fd, message.get(), kind);
}

}  // namespace

}  // namespace vxa::channel

using namespace vxa;

extern "C" MsgHeader* _read_procmsg_sync(int fd) { return channel::read(fd, channel::process).release(); }

extern "C" int _write_procmsg_sync(int fd, const MsgHeader* message) { return channel::write_process(fd, message); }

extern "C" int _send_procmsg_nodata(int fd, int msgtype, int result, int cd, int flags) {
  return channel::send_header(fd, channel::process, {msgtype, result, cd, flags});
}

extern "C" int _send_procmsg_nodata_svcname(int fd, int msgtype, const char* svcname, int result, int cd, int flags) {
  if (!svcname) return -1;
  return channel::send_header(fd, channel::process, {msgtype, result, cd, flags}, svcname);
}

extern "C" int _send_procmsg_nodata_svcname2(int fd, int msgtype, const char* svcname, const char* text, int result,
                                             int cd, int flags) {
  if (!svcname || !text || strnlen(text, channel::kTextSize) == channel::kTextSize) return -1;
  return channel::send_header(fd, channel::process, {msgtype, result, cd, flags}, svcname, text);
}

extern "C" int _send_procmsg_nodata_3(int fd, int msgtype, int result, int cd, int aux, int flags) {
  return channel::send_header(fd, channel::process, {msgtype, result, cd, flags, aux});
}

extern "C" int _send_procmsg_data(int fd, int msgtype, int result, int cd, int flags, int datalen, const void* data) {
  return channel::send_data(fd, channel::process, {msgtype, result, cd, flags}, "COM0007", datalen, data);
}

extern "C" int _send_procmsg_data_3(int fd, int msgtype, int result, int cd, int aux, int flags, int datalen,
                                    const void* data) {
  return channel::send_data(fd, channel::process, {msgtype, result, cd, flags, aux}, "COM0006", datalen, data);
}

extern "C" MsgHeader* _read_nodemsg_sync(int fd) { return channel::read(fd, channel::node).release(); }

extern "C" int _write_nodemsg_sync(int fd, MsgHeader* message) { return channel::write_node(fd, message); }

extern "C" int _send_nodemsg_nodata(int fd, int msgtype, int result, int cd, int flags) {
  return channel::send_header(fd, channel::node, {msgtype, result, cd, flags});
}

extern "C" int _send_nodemsg_data(int fd, int msgtype, int result, int cd, int flags, int datalen, const void* data) {
  return channel::send_data(fd, channel::node, {msgtype, result, cd, flags}, "COM0012", datalen, data);
}
