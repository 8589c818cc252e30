// The table of asynchronous calls. A call lives in the first free slot at or after its descriptor modulo the table's
// size, wrapping.
#include "xa/etc.h"

#include <climits>
#include <utility>

#include "base/log.h"
#include "wire/fdset.h"

vesk_acall_slot* _acall = nullptr;
std::int32_t _acall_size = 0;
std::int32_t _active_tpacall_count = 0;
std::int32_t _cur_acall_cd = 0;
std::int32_t _bc_timeout = 0;

namespace vxa::acall {

namespace {

using Slot = vesk_acall_slot;

constexpr std::int32_t kFree = -1;

bool in_table(int slot) { return slot >= 0 && slot < _acall_size; }

// Probes from the place of a descriptor for the slot that holds the number wanted.
int probe(std::int32_t cd, std::int32_t wanted) {
  if (_acall_size <= 0) return kNone;
  int slot = cd % _acall_size;
  for (int probed = 0; probed < _acall_size; ++probed) {
    if (_acall[slot].cd == wanted) return slot;
    if (++slot == _acall_size) slot = 0;
  }
  return kNone;
}

void mark_free(int slot) { _acall[slot] = Slot{kFree, 0, nullptr}; }

void drop_table() {
  for (int slot = 0; slot < _acall_size; ++slot) std::free(_acall[slot].reply);
  std::free(_acall);
  _acall = nullptr;
  _acall_size = 0;
  _active_tpacall_count = 0;
}

}  // namespace

bool create_table(int n) {
  drop_table();
  if (n <= 0) return false;
  const std::int64_t bytes = n * std::int64_t{sizeof(Slot)};
  _acall = heap_alloc<Slot>(bytes).release();
  if (!_acall) {
    log_record(SystemError::Append, 1, "CSC5106", "0005 memory allocation error : size = %d", static_cast<int>(bytes));
    return false;
  }
  _acall_size = n;
  for (int slot = 0; slot < n; ++slot) mark_free(slot);
  return true;
}

int create(std::uint32_t flags) {
  if (_acall_size <= 0) return kNone;
  _cur_acall_cd = _cur_acall_cd >= 0 && _cur_acall_cd < INT_MAX ? _cur_acall_cd + 1 : 1;
  const int slot = probe(_cur_acall_cd, kFree);
  if (slot == kNone) return kNone;
  _acall[slot].cd = _cur_acall_cd;
  _acall[slot].flags = flags;
  ++_active_tpacall_count;
  return _cur_acall_cd;
}

int find(int cd) { return cd < 0 ? kNone : probe(cd, cd); }

int first_ready() {
  for (int slot = 0; slot < _acall_size; ++slot)
    if (_acall[slot].reply) return slot;
  return kNone;
}

void park(int slot, Message reply) {
  std::free(_acall[slot].reply);
  _acall[slot].reply = reply.release();
}

Message take(int slot) { return Message{std::exchange(_acall[slot].reply, nullptr)}; }

void close(int slot) {
  if (!in_table(slot)) return;
  const Message unclaimed = take(slot);
  mark_free(slot);
  --_active_tpacall_count;
}

int wait_for_gateway(int secs) {
  if (_gwfd < 0) return -1;
  const int ready = wait_readable(_gwfd, secs);
  if (ready < 0) log_record(SystemError::Append, 2, "CSC5105", "0080 select error");
  return ready;
}

}  // namespace vxa::acall

using namespace vxa;

extern "C" int _init_acall(int n, int, int) { return acall::create_table(n) ? 1 : -1; }

extern "C" int _create_acall_cd(long flags) { return acall::create(static_cast<std::uint32_t>(flags)); }

extern "C" int _get_acall_cd_ind(int cd, int) { return acall::find(cd); }

// A reply in the slot belongs to the caller by then.
extern "C" int _make_acall_cd_invalid(int slot) {
  if (acall::in_table(slot)) (void)acall::take(slot).release();
  acall::close(slot);
  return 1;
}

extern "C" int _get_acall_ind_from_ready() { return acall::first_ready(); }

extern "C" int _set_bc_timer(int secs) { return acall::wait_for_gateway(secs); }
