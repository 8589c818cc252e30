// The receive queue: a singly linked list, oldest first, of any length. It outlives a closed link.
#include "xa/recvq.h"

#include "xa/console.h"

namespace vxa::recvq {

namespace {

struct Entry {
  std::int32_t key;
  MsgHeader* message;  // owned
  Entry* next;
};

Entry* head = nullptr;
Entry** end = &head;  // the link that the next entry goes into
std::int32_t count = 0;

}  // namespace

bool enqueue(Message& message) {
  Entry* entry = heap_alloc<Entry>(sizeof(Entry)).release();
  if (!entry) {
    console("malloc fail [%d]\n", int{sizeof(Entry)});
    return false;
  }
  *entry = Entry{message->cd, message.get(), nullptr};
  (void)message.release();
  *end = entry;
  end = &entry->next;
  ++count;
  return true;
}

Message dequeue(std::int32_t key) {
  if (count < 1) return nullptr;
  Entry** link = &head;
  while (*link && (*link)->key != key) link = &(*link)->next;
  const HeapPtr<Entry> entry{*link};
  if (!entry) return nullptr;
  *link = entry->next;
  if (end == &entry->next) end = link;
  --count;
  return Message{entry->message};
}

}  // namespace vxa::recvq

using namespace vxa;

extern "C" int _enqueue_recv_q(MsgHeader* message) {
  Message owned{message};
  if (recvq::enqueue(owned)) return 1;
  (void)owned.release();
  return -3;
}

extern "C" MsgHeader* _dequeue_recv_q(int key) { return recvq::dequeue(key).release(); }
