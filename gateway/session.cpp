#include "gateway/session.h"

#include <algorithm>
#include <string>
#include <utility>

#include "gateway/protocol.h"
#include "vxa/vxa_host.h"
#include "vxa/xa.h"

namespace vxa::gateway {

namespace {

TxId txid_of(const MsgHeader& header) { return {header.txid[0], header.txid[1], header.txid[2]}; }

bool is_verb(int msgtype) {
  return msgtype == request::kStart || msgtype == request::kEnd || msgtype == request::kPrepare ||
         msgtype == request::kCommit || msgtype == request::kOnePhaseCommit || msgtype == request::kRollback;
}

// Codes with which a verb has done what it was asked for.
bool succeeded(int xa_code) { return xa_code >= XA_OK && xa_code < XA_RBBASE; }

// The words of a reply that repeat the request's, so that whoever asked recognises it: the sequence number, the call
// descriptor, and for a verb the handle, which stands in both places.
void address(MsgHeader& reply, const MsgHeader& request) {
  reply.seqno = request.seqno;
  reply.handle = request.handle;
  reply.rmid = request.rmid;
  reply.cd = is_verb(request.msgtype) ? request.handle : request.cd;
  std::copy(std::begin(request.txid), std::end(request.txid), reply.txid);
  std::copy(std::begin(request.svcname), std::end(request.svcname), reply.svcname);
}

Buffer header_only() {
  Buffer buffer = make_buffer("HEADER", 0);
  header_of(buffer).size = 0;
  return buffer;
}

}  // namespace

Session::Session(ConnectionId id, std::shared_ptr<Connection> connection, Shared& shared)
    : id_(id), connection_(std::move(connection)), shared_(shared) {}

void Session::start() {
  shared_.log.event(id_, "connected");
  connection_->start([self = shared_from_this()](Buffer message) { self->received(std::move(message)); },
                     [self = shared_from_this()](const std::string& why) { self->closed(why); });
}

void Session::closed(const std::string& why) {
  shared_.log.event(id_, why);
  shared_.branches.disconnected(id_);
}

void Session::received(Buffer message) {
  const MsgHeader& header = header_of(message);
  if (is_verb(header.msgtype)) return verb(header, message.get());
  if (header.msgtype == request::kCall || header.msgtype == request::kAsyncCall) return call(std::move(message));
  shared_.log.received(id_, header, "is no request");
  reply_to_call(header, {.error = TPEPROTO});
}

void Session::verb(const MsgHeader& request, const char* payload) {
  const std::optional<Xid> xid = Xid::from_payload(payload, static_cast<std::size_t>(request.datalen));
  shared_.log.received(id_, request, xid ? xid->text() : "(no branch identifier)");

  Branches& branches = shared_.branches;
  TxId txid = txid_of(request);
  int code = XAER_INVAL;
  if (xid) switch (request.msgtype) {
      case request::kStart:
        code = branches.start(id_, *xid, request.flags, txid);
        break;
      case request::kEnd:
        code = branches.end(id_, *xid, request.flags);
        break;
      case request::kPrepare:
        code = branches.prepare(*xid);
        break;
      case request::kRollback:
        code = branches.rollback(*xid);
        break;
      default:
        code = branches.commit(*xid, request.msgtype == request::kOnePhaseCommit);
        break;
    }

  MsgHeader answered = request;
  std::copy(txid.begin(), txid.end(), answered.txid);
  send(answered, {.result = code}, succeeded(code));
}

void Session::call(Buffer message) {
  const MsgHeader request = header_of(message);
  const std::string name(request.svcname, strnlen(request.svcname, sizeof request.svcname));
  Branch* branch = shared_.branches.active(id_, txid_of(request));
  if (request.flags & TPNOTRAN) branch = nullptr;
  shared_.log.received(id_, request, name + (branch ? " in its branch" : ""));

  const auto service = shared_.services.find(name);
  const int refused = service == shared_.services.end() ? TPENOENT : decode(message) ? 0 : TPEITYPE;
  const bool acknowledged = request.msgtype == request::kAsyncCall && request.flags & TPACKWAIT;
  if (acknowledged) acknowledge(request, refused);
  if (refused) {
    if (!acknowledged) reply_to_call(request, {.error = refused});
    return;
  }

  const bool counts = branch != nullptr;
  if (branch) branch->worked = true;
  service->second({.data = std::move(message), .changes = branch ? branch->changes.get() : nullptr},
                  [self = shared_from_this(), request, counts](Reply reply) {
                    if (counts && reply.error) self->shared_.branches.doom(txid_of(request), XA_RBROLLBACK);
                    self->reply_to_call(request, std::move(reply));
                  });
}

void Session::reply_to_call(const MsgHeader& request, Reply reply) {
  if (request.msgtype == request::kAsyncCall && request.flags & TPNOREPLY) return;
  const bool succeeded = reply.error == 0;
  send(request, std::move(reply), succeeded);
}

// The client waits for it under the sequence number that it will use next.
void Session::acknowledge(const MsgHeader& request, int error) {
  MsgHeader asked = request;
  asked.msgtype = request::kAcknowledge;
  asked.seqno = request.seqno + 1;
  send(asked, {.error = error}, error == 0);
}

void Session::send(const MsgHeader& request, Reply reply, bool succeeded) {
  if (!reply.data) reply.data = header_only();
  MsgHeader& header = header_of(reply.data);
  address(header, request);
  header.msgtype = request.msgtype + (succeeded ? kSuccess : kFailure);
  header.result = reply.result;
  header.flags = static_cast<std::uint32_t>(reply.error);
  header.aux = 0;
  header.reqctl = 0;

  const MsgHeader logged = header;
  std::optional<WireMessage> message = encode(reply.data);
  if (!message) return reply_to_call(request, {.error = TPESVCERR});
  Delivery delivery = shared_.faults.apply(std::move(*message));
  delivery.late = delivery.late || reply.late;
  shared_.log.sent(id_, logged, delivery.damage);
  connection_->send(std::move(delivery));
}

}  // namespace vxa::gateway
