// The wait for the reply to a service call: which message answers it, and what becomes of the others.
#pragma once

#include "base/export.h"
#include "base/result.h"
#include "wire/header.h"

namespace vxa::link {

// Requests are of one of these message types; the wait for an acknowledgement is described as the third.
inline constexpr int kCall = 3;
inline constexpr int kAsyncCall = 4;
inline constexpr int kAcknowledgement = 28;

// Takes the next message that answers the description, and waits for it at most secs seconds; with 0 seconds the next
// message on the link, unmatched, without limit. The description is the header of a request in the state in which its
// reply is awaited: msgtype, flags, and seqno or cd. Fails with the tperrno number, or with 0 when the link failed and
// the console says how.
Result<Message> receive_reply(const MsgHeader* description, int secs);

// Puts a reply that was received for an output buffer into its place and gives the output buffer that results: the same
// one refilled when the reply fits, else the reply's own block, the old buffer being released.
MsgHeader* refill_or_replace(MsgHeader* output, Message reply);
MsgHeader* replace(MsgHeader* output, Message reply);

// Prepares a parked reply to take the place of the output buffer that is described: its type under TPNOCHANGE, and at
// least the same capacity. Fails with the tperrno number, the reply being as it was.
Outcome fit_parked(Message& reply, const MsgHeader* description);

}  // namespace vxa::link

VXA_EXPORT vxa::MsgHeader* _recv_from_xagw2(vxa::MsgHeader* description, int secs, int wait_flag);
VXA_EXPORT int _is_msgtype_matched(const vxa::MsgHeader* description, const vxa::MsgHeader* message);
VXA_EXPORT int _unmatched_msg_process(vxa::MsgHeader* message);
VXA_EXPORT int _data_otype_check_no_alloc(const vxa::MsgHeader* reply, const vxa::MsgHeader* description);
VXA_EXPORT int _data_otype_check2(vxa::MsgHeader** reply, const vxa::MsgHeader* description);
