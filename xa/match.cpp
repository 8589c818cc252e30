// Matching of replies to service calls. Early replies of asynchronous calls are parked with their descriptors, late and
// superfluous ones are dropped, and a message that has no business on the link ends the wait.
#include "xa/match.h"

#include <algorithm>

#include "base/log.h"
#include "fb/fcache.h"
#include "tbuffer/tbuffer.h"
#include "xa/countdown.h"
#include "xa/etc.h"
#include "xa/vxaio.h"

namespace vxa::link {

namespace {

// A third kind of reply, which the service path takes for an answer too.
constexpr int kOther = 3000;

bool replies_to(const MsgHeader* message, int request) {
  const std::int64_t kind = message->msgtype - std::int64_t{request};
  return kind == kSuccess || kind == kFailure || kind == kOther;
}

bool answers(const MsgHeader* description, const MsgHeader* message) {
  if (!replies_to(message, description->msgtype)) return false;
  switch (description->msgtype) {
    case kAsyncCall:
      return (description->flags & TPGETANY || message->cd == description->cd) &&
             acall::find(message->cd) != acall::kNone;
    case kCall:
    case kAcknowledgement:
      return message->seqno == description->seqno;
    default:
      return true;
  }
}

void park(Message reply) {
  const int slot = acall::find(reply->cd);
  if (slot != acall::kNone) acall::park(slot, std::move(reply));
}

// Disposes of a message that answers nothing which is awaited now.
Outcome put_away(Message message) {
  switch (message->msgtype) {
    case kCall + kSuccess:
    case kCall + kFailure:
    case kCall + kOther:
      log_record(SystemError::Omit, 2, "CSC5708", "2008 tpcall reply arrived after timeout. Msg discarded : %d %d",
                 message->msgtype, message->seqno);
      return success();
    case kAsyncCall + kSuccess:
    case kAsyncCall + kFailure:
    case kAsyncCall + kOther:
      park(std::move(message));
      return success();
    case 26 + kSuccess:
    case 26 + kFailure:
    case kAcknowledgement + kSuccess:
    case kAcknowledgement + kFailure:
      return success();
    default:
      log_record(SystemError::Omit, 2, "CSC5713", "0209 internal error : unknown message type :%d", message->msgtype);
      return Error{TPESYSTEM};
  }
}

bool type_kept(const MsgHeader* reply, const MsgHeader* description) {
  if (!(description->flags & TPNOCHANGE)) return true;
  return reply->type == description->type &&
         std::strncmp(reply->subtype, description->subtype, sizeof reply->subtype) == 0;
}

// Without a description the next message does.
Result<Message> await_reply(const MsgHeader* description, int secs) {
  const Countdown countdown{secs};
  for (int remaining = secs; remaining >= 0; remaining = countdown.left()) {
    const int ready = acall::wait_for_gateway(remaining);
    if (ready <= 0) return Error{ready == 0 ? TPETIME : TPESYSTEM};
    Message message = read_message(_gwfd);
    if (!message) return Error{0};
    if (!description) return message;
    if (answers(description, message.get())) {
      if (!type_kept(message.get(), description)) return Error{TPEOTYPE};
      return message;
    }
    if (const Outcome outcome = put_away(std::move(message)); outcome.failed()) return outcome.error();
  }
  return Error{TPETIME};
}

// Copies a reply over an output buffer that has room for it. The buffer keeps its capacity and its mark, and its
// trailer reserve is never freer than it was: whether the size word counts it already, the sender does not know.
void refill(MsgHeader* output, const MsgHeader* reply) {
  if (output->type == payload::kField) fcache::clear(payload_of(output));
  const std::int32_t capacity = output->size;
  const std::uint32_t reserve = output->reqctl & kTrailerFree;
  std::memcpy(static_cast<void*>(output), reply, static_cast<std::size_t>(kHeaderSize + reply->datalen));
  output->magic = kMessageMagic;
  output->size = capacity;
  output->reqctl &= ~kTrailerFree | reserve;
}

}  // namespace

Result<Message> receive_reply(const MsgHeader* description, int secs) {
  if (secs > 0) return await_reply(description, secs);
  Message message = read_message(_gwfd);
  if (!message) return Error{0};
  return message;
}

// The reply becomes a typed buffer here, so it bears the mark whatever it came with.
MsgHeader* replace(MsgHeader* output, Message reply) {
  tbuffer::release(payload_of(output));
  reply->magic = kMessageMagic;
  return reply.release();
}

MsgHeader* refill_or_replace(MsgHeader* output, Message reply) {
  if (output->size < reply->size || output->size < reply->datalen) return replace(output, std::move(reply));
  refill(output, reply.get());
  return output;
}

Outcome fit_parked(Message& reply, const MsgHeader* description) {
  if (!type_kept(reply.get(), description)) return Error{TPEOTYPE};
  if (reply->size >= description->size) return success();
  if (!heap_resize(reply, typed_block_size(std::max(description->size, reply->datalen)))) return Error{TPESYSTEM};
  reply->size = description->size;
  return success();
}

}  // namespace vxa::link

using namespace vxa;

namespace {

// The internal names of this file report their code through tperrno themselves; 0 leaves it alone.
int noted(const Outcome& outcome) {
  if (!outcome.failed()) return 1;
  tperrno = outcome.code();
  return -1;
}

}  // namespace

extern "C" MsgHeader* _recv_from_xagw2(MsgHeader* description, int secs, int wait_flag) {
  if (secs <= 0 && wait_flag == 0) return link::read_message(_gwfd).release();
  Result<Message> reply = link::await_reply(description, std::max(secs, 0));
  if (reply.failed()) {
    if (reply.code() != 0) tperrno = reply.code();
    return nullptr;
  }
  return description ? link::refill_or_replace(description, reply.take()) : reply.take().release();
}

extern "C" int _is_msgtype_matched(const MsgHeader* description, const MsgHeader* message) {
  return link::answers(description, message) ? 1 : 0;
}

extern "C" int _unmatched_msg_process(MsgHeader* message) { return noted(link::put_away(Message{message})); }

extern "C" int _data_otype_check_no_alloc(const MsgHeader* reply, const MsgHeader* description) {
  return link::type_kept(reply, description) ? 1 : noted(Error{TPEOTYPE});
}

extern "C" int _data_otype_check2(MsgHeader** reply, const MsgHeader* description) {
  Message owned{*reply};
  const Outcome outcome = link::fit_parked(owned, description);
  *reply = owned.release();
  return noted(outcome);
}
