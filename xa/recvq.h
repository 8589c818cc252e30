// The queue of XA replies that arrived while something else was awaited; xa_complete asks for them.
#pragma once

#include "base/export.h"
#include "wire/header.h"

namespace vxa::recvq {

// Appends a message under the key in its cd word and takes it over. When memory is short it prints a line, gives false
// and leaves the message with the caller.
bool enqueue(Message& message);

// Takes out the first message with that key; null when there is none.
Message dequeue(std::int32_t key);

}  // namespace vxa::recvq

VXA_EXPORT int _enqueue_recv_q(vxa::MsgHeader* message);
VXA_EXPORT vxa::MsgHeader* _dequeue_recv_q(int key);
