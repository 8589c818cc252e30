// Service calls: tpcall, tpacall and tpgetrply. A request is the caller's own typed buffer, whose hidden header becomes
// the request's; the header of the output buffer describes the reply that is awaited.
#include "xa/tpapi.h"

#include <algorithm>
#include <utility>

#include "base/result.h"
#include "fb/fbheader.h"
#include "sdl/sdltable.h"
#include "tbuffer/tbuffer.h"
#include "xa/etc.h"
#include "xa/match.h"
#include "xa/vxaio.h"

long tpurcode = 0;

namespace vxa::xatmi {

namespace {

constexpr long kFlag400 = 0x400;  // for the gateway alone
constexpr long kCallFlags = TPNOBLOCK | TPSIGRSTRT | TPNOTRAN | TPNOTIME | TPNOCHANGE;
constexpr long kAsyncCallFlags = TPNOBLOCK | TPSIGRSTRT | TPNOREPLY | TPNOTRAN | TPNOTIME | TPACKWAIT | kFlag400;
constexpr long kCollectFlags = TPNOBLOCK | TPSIGRSTRT | TPNOTIME | TPGETANY | TPNOCHANGE;

constexpr std::uint32_t kRequestFlags = 0x0A000000;    // what every request carries beside the caller's flags
constexpr std::uint32_t kRequestControl = 0x10000000;  // its request control word: no trailer travels
constexpr std::int64_t kStartRecord = 76;              // bytes sent of a start-up record

// What tpcall returns.
constexpr int kDone = 1;
constexpr int kFailed = -3;
constexpr int kRefused = -5;
constexpr int kNoOutput = -6;

// A message to be sent: the caller's buffer, or, for a call without input, a header made for it.
struct Request {
  MsgHeader* message = nullptr;
  Message made;
};

// ---- Input ----

std::int64_t string_length(const TypedBuffer& buffer, long given) {
  const auto capacity = static_cast<std::size_t>(std::max(buffer.header()->size, 0));
  const auto length = static_cast<std::int64_t>(strnlen(buffer.data(), capacity));
  return given <= length ? length + 1 : given;
}

// One struct, or as many whole ones as were given.
Result<std::int64_t> struct_length(const MsgHeader* header, long given) {
  const sdl::StructRow* described = sdl::find_struct(header->subtype);
  if (!described || described->host_size <= 0) return Error{TPEITYPE};
  const std::int64_t size = described->host_size;
  return given <= size ? size : given - given % size;
}

Result<std::int64_t> length_by_type(const TypedBuffer& buffer, long given) {
  switch (buffer.header()->type) {
    case payload::kStruct:
      return struct_length(buffer.header(), given);
    case payload::kField:
      return std::int64_t{fb::used_of(buffer.data())};
    case payload::kString:
      return string_length(buffer, given);
    case payload::kCarray:
      return std::int64_t{given};
    case payload::kStart:
      return kStartRecord;
    case payload::kHeaderOnly:
      return std::int64_t{0};
    default:
      return Error{TPEITYPE};
  }
}

// Payload bytes to send of an input buffer, which may be null.
Result<std::int32_t> input_length(const char* idata, long given) {
  if (!idata) return 0;
  const TypedBuffer buffer{idata};
  if (!buffer.alive()) return Error{TPEITYPE};
  const Result<std::int64_t> length = length_by_type(buffer, given);
  if (length.failed()) return length.error();
  if (length.value() < 0 || length.value() > buffer.header()->size) return Error{TPEINVAL};
  return static_cast<std::int32_t>(length.value());
}

// ---- Request ----

void fill(MsgHeader* message, int msgtype, const char* svc, std::int32_t length, long flags) {
  std::memset(message->svcname, 0, sizeof message->svcname);
  std::memcpy(message->svcname, svc, strnlen(svc, sizeof message->svcname - 1));
  message->msgtype = msgtype;
  message->result = 0;
  message->aux = 0;
  message->datalen = length;
  message->flags = static_cast<std::uint32_t>(flags);
  std::memcpy(message->txid, txid, sizeof message->txid);
}

Result<Request> prepare(int msgtype, const char* svc, char* idata, long ilen, long flags) {
  if (!svc) return Error{TPEINVAL};
  const Result<std::int32_t> length = input_length(idata, ilen);
  if (length.failed()) return length.error();
  Request request;
  if (!idata) {
    request.made = new_header(0, 0);
    if (!request.made) return Error{TPESYSTEM};
  }
  request.message = idata ? TypedBuffer{idata}.header() : request.made.get();
  fill(request.message, msgtype, svc, length.value(), flags);
  return request;
}

// The last touches before sending. Each request takes two numbers of the counter.
void stamp(MsgHeader* message, std::int32_t cd) {
  link::skip_seqno();
  message->seqno = link::next_seqno();
  message->cd = cd;
  message->reqctl = kRequestControl;
  message->flags |= kRequestFlags;
}

// The transaction-state hook admits every state.
int check_tx_state(int, bool) { return 1; }

// ---- Reply ----

// Turns a header into the description of the reply to a request of that kind.
void describe(MsgHeader* header, int msgtype, long flags) {
  header->msgtype = msgtype;
  header->flags = static_cast<std::uint32_t>(flags);
}

// The error number of a message that should be of the success type, 0 when all is well.
int error_of(const MsgHeader* message, int success_type) {
  if (message->flags != 0) return static_cast<int>(message->flags);
  return message->msgtype == success_type ? 0 : TPESYSTEM;
}

// Hands a reply to the caller, a failed one too. Whether it reports success.
bool deliver(MsgHeader* reply, char** odata, long* olen, int success_type) {
  *odata = payload_of(reply);
  *olen = reply->datalen;
  tpurcode = reply->result;
  tperrno = error_of(reply, success_type);
  return tperrno == 0;
}

// ---- Asynchronous calls ----

// The descriptor of a tpacall in the making. Unless the call is kept, its slot is given back.
class PendingCall {
 public:
  explicit PendingCall(long flags) : cd_(flags & TPNOREPLY ? 0 : acall::create(static_cast<std::uint32_t>(flags))) {}
  PendingCall(const PendingCall&) = delete;
  PendingCall& operator=(const PendingCall&) = delete;
  ~PendingCall() {
    if (cd_ > 0) acall::close(acall::find(cd_));
  }

  bool filed() const { return cd_ >= 0; }
  int cd() const { return cd_; }

  // Its descriptor, the call being outstanding from now on.
  int keep() { return std::exchange(cd_, 0); }

 private:
  int cd_;
};

// Waits for the gateway's acknowledgement of the last request. The reply to the call itself may come first; it is
// parked.
Outcome await_acknowledgement(long flags) {
  const Message description = new_header(link::kAcknowledgement, 0);
  if (!description) return Error{TPESYSTEM};
  description->flags = static_cast<std::uint32_t>(flags);
  description->seqno = _seqno;
  Result<Message> received = link::receive_reply(description.get(), _bc_timeout);
  if (received.failed()) return received.error();
  const int error = error_of(received.take().get(), link::kAcknowledgement + link::kSuccess);
  if (error != 0) return Error{error};
  return success();
}

// The slot whose reply is there already: the call's own, or, when any will do, the first.
int ready_slot(int slot, bool any) {
  if (slot != acall::kNone && _acall[slot].reply) return slot;
  return any ? acall::first_ready() : acall::kNone;
}

Result<MsgHeader*> collect_parked(MsgHeader* output, int slot) {
  Message reply = acall::take(slot);
  const Outcome fits = link::fit_parked(reply, output);
  if (!fits.failed()) return link::replace(output, std::move(reply));
  acall::park(slot, std::move(reply));
  return fits.error();
}

// Waits for a reply. The caller's flags cannot ask for a matched wait without a time limit; only _bc_timeout can.
Result<MsgHeader*> collect_arriving(MsgHeader* output, long flags) {
  const bool timed = _bc_timeout > 0 && !(flags & (TPNOBLOCK | TPNOTIME));
  Result<Message> reply = link::receive_reply(output, timed ? _bc_timeout : 0);
  if (reply.failed()) return reply.error();
  return timed ? link::refill_or_replace(output, reply.take()) : link::replace(output, reply.take());
}

int fail(int code) {
  tperrno = code;
  return -1;
}

}  // namespace

}  // namespace vxa::xatmi

using namespace vxa;
using namespace vxa::xatmi;

// Its first checks leave tperrno alone.
extern "C" int tpcall(const char* svc, char* idata, long ilen, char** odata, long* olen, long flags) {
  if (_xa_opensw == 0 || !odata || !*odata || !olen || flags & ~kCallFlags) return kRefused;
  if (!TypedBuffer{*odata}.alive()) return kNoOutput;

  tperrno = 0;
  Result<Request> prepared = prepare(link::kCall, svc, idata, ilen, flags);
  if (prepared.failed()) {
    tperrno = prepared.code();
    return kRefused;
  }
  const Request request = prepared.take();
  stamp(request.message, 0);
  if (!link::send_request(request.message)) return kFailed;

  MsgHeader* output = TypedBuffer{*odata}.header();
  describe(output, link::kCall, flags);
  output->seqno = _seqno;
  Result<Message> received = link::receive_reply(output, 0);
  if (received.failed()) return kFailed;
  return deliver(link::replace(output, received.take()), odata, olen, link::kCall + link::kSuccess) ? kDone : kFailed;
}

extern "C" int tpacall(const char* svc, char* idata, long ilen, long flags) {
  tperrno = 0;
  if (flags & ~kAsyncCallFlags) return fail(TPEINVAL);
  Result<Request> prepared = prepare(link::kAsyncCall, svc, idata, ilen, flags);
  if (prepared.failed()) return fail(prepared.code());
  PendingCall call{flags};
  if (!call.filed()) return fail(TPELIMIT);

  const Request request = prepared.take();
  stamp(request.message, call.cd());
  request.message->reserved32 = 0;
  if (!link::send_request(request.message)) return -1;

  if (flags & TPACKWAIT) {
    const Outcome acknowledged = await_acknowledgement(flags);
    if (acknowledged.failed()) return fail(acknowledged.code());
  }
  if (!(flags & TPNOTRAN) && !check_tx_state(link::kAsyncCall, false)) return fail(TPESYSTEM);
  return call.keep();
}

extern "C" int tpgetrply(int* cd, char** odata, long* olen, long flags) {
  if (flags & ~kCollectFlags || !cd || !odata || !*odata || !olen) return fail(TPEINVAL);
  const bool any = flags & TPGETANY;
  int slot = acall::find(*cd);
  if ((slot == acall::kNone && !any) || _active_tpacall_count <= 0) return fail(TPEBADDESC);
  if (!TypedBuffer{*odata}.alive()) return fail(TPEOTYPE);

  tperrno = 0;
  MsgHeader* output = TypedBuffer{*odata}.header();
  describe(output, link::kAsyncCall, flags);
  output->datalen = output->size;
  output->cd = *cd;
  const int ready = ready_slot(slot, any);
  const Result<MsgHeader*> collected =
      ready != acall::kNone ? collect_parked(output, ready) : collect_arriving(output, flags);
  if (collected.failed()) return fail(collected.code());

  MsgHeader* reply = collected.value();
  if (any) {
    *cd = reply->cd;
    slot = acall::find(*cd);
  }
  const bool success_reported = deliver(reply, odata, olen, link::kAsyncCall + link::kSuccess);
  acall::close(slot);
  return success_reported ? 1 : -1;
}

extern "C" int _data_itype_check(const char* idata, long ilen, int) {
  const Result<std::int32_t> length = input_length(idata, ilen);
  return length.failed() ? fail(length.code()) : length.value();
}

extern "C" MsgHeader* _check_args_and_tx(int msgtype, const char* svc, char* idata, long ilen, long flags, int) {
  tperrno = 0;
  Result<Request> prepared = prepare(msgtype, svc, idata, ilen, flags);
  if (prepared.failed()) {
    tperrno = prepared.code();
    return nullptr;
  }
  Request request = prepared.take();
  (void)request.made.release();
  return request.message;
}

extern "C" int _check_tx_state(int call_kind, int after_failure) {
  return check_tx_state(call_kind, after_failure != 0);
}
