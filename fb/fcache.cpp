// The search cache. Beside the slots stands a chain of used slots per group of buffers, so that clearing a buffer
// touches its own slots and not all 1019.
#include "fb/fcache.h"

#include "base/heap.h"
#include "fb/findex.h"

vxa::fcache::Slot* _fcache = nullptr;

namespace vxa::fcache {

namespace {

using Index = std::int16_t;
constexpr Index kNone = -1;
constexpr std::uint32_t kGroups = 256;

// Links of the used slots, in one chain per group of buffers.
struct Chains {
  Index head[kGroups];
  Index next[kSlots];
  Index previous[kSlots];
};

Chains* chains = nullptr;

// The record start that was noted last.
struct Boundary {
  const void* buffer;
  std::uint32_t offset;
};

Boundary boundary = {};

// The watched buffer, null once it changed.
const void* watched = nullptr;

void note_change(const void* buffer) {
  if (watched == buffer) watched = nullptr;
}

std::uint32_t slot_of(const void* buffer, std::uint32_t key) {
  const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(buffer));
  return (((address & 0xFFF00u) >> 10) + key) % kSlots;
}

// Typed buffers lie at least 1 KiB apart, so the bits above that tell them apart best.
std::uint32_t group_of(const void* buffer) {
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(buffer));
  return static_cast<std::uint32_t>((address * 0x9E3779B97F4A7C15u) >> 56) % kGroups;
}

bool allocate() {
  HeapPtr<Slot> slots = heap_alloc_zeroed<Slot>(std::int64_t{kSlots} * sizeof(Slot));
  HeapPtr<Chains> links = heap_alloc<Chains>(sizeof(Chains));
  if (!slots || !links) return false;
  for (Index& head : links->head) head = kNone;
  _fcache = slots.release();
  chains = links.release();
  return true;
}

void link(Index slot) {
  Index& head = chains->head[group_of(_fcache[slot].buffer)];
  chains->next[slot] = head;
  chains->previous[slot] = kNone;
  if (head != kNone) chains->previous[head] = slot;
  head = slot;
}

void unlink(Index slot) {
  const Index next = chains->next[slot];
  const Index previous = chains->previous[slot];
  if (next != kNone) chains->previous[next] = previous;
  if (previous != kNone)
    chains->next[previous] = next;
  else
    chains->head[group_of(_fcache[slot].buffer)] = next;
}

int file(const void* buffer, std::uint32_t key, std::int32_t occurrence, std::uint32_t offset) {
  const auto at = static_cast<Index>(slot_of(buffer, key));
  Slot& slot = _fcache[at];
  if (slot.buffer == buffer && slot.key != key) return -1;
  if (slot.buffer != buffer) {
    if (slot.buffer) unlink(at);
    slot.buffer = buffer;
    link(at);
  }
  slot.key = key;
  slot.occurrence = occurrence;
  slot.offset = offset;
  return at;
}

void file_notes() {
  for (int i = 0; i < notes.count; ++i) file(notes.buffer, notes.taken[i].key, 0, notes.taken[i].offset);
  notes.count = 0;
}

}  // namespace

Notes notes = {};

Hit find(const void* buffer, std::uint32_t key, std::int32_t nth) {
  if (!_fcache) return {};
  file_notes();
  const std::uint32_t at = slot_of(buffer, key);
  const Slot& slot = _fcache[at];
  if (slot.buffer != buffer || slot.key != key || slot.occurrence > nth) return {};
  return {static_cast<int>(at), slot.occurrence, slot.offset};
}

int record(const void* buffer, std::uint32_t key, std::int32_t occurrence, std::uint32_t offset) {
  if (!_fcache && !allocate()) return -1;
  file_notes();
  return file(buffer, key, occurrence, offset);
}

bool turn_page(const void* buffer) {
  if (!_fcache && !allocate()) return false;
  file_notes();
  notes.buffer = buffer;
  return true;
}

void forget(const void* buffer, std::uint32_t key) {
  note_change(buffer);
  if (!_fcache) return;
  file_notes();
  const std::uint32_t at = slot_of(buffer, key);
  Slot& slot = _fcache[at];
  if (slot.buffer != buffer || slot.key != key) return;
  unlink(static_cast<Index>(at));
  slot.buffer = nullptr;
}

void note_boundary(const void* buffer, std::uint32_t offset) { boundary = {buffer, offset}; }

std::int64_t boundary_before(const void* buffer, std::int64_t offset) {
  return boundary.buffer == buffer && boundary.offset <= offset ? boundary.offset : 0;
}

void watch(const void* buffer) { watched = buffer; }
bool unchanged(const void* buffer) { return watched == buffer; }

bool clear(const void* buffer) {
  note_change(buffer);
  findex::drop(buffer);
  if (boundary.buffer == buffer) boundary = {};
  if (!_fcache) return false;
  if (notes.buffer == buffer) notes.count = 0;
  for (Index at = chains->head[group_of(buffer)]; at != kNone;) {
    const Index next = chains->next[at];
    if (_fcache[at].buffer == buffer) {
      unlink(at);
      _fcache[at].buffer = nullptr;
    }
    at = next;
  }
  return true;
}

}  // namespace vxa::fcache

using namespace vxa;

extern "C" int _srch_fcache(const void* buf, std::uint32_t key, int nth, int* occurrence, int* offset) {
  const fcache::Hit hit = fcache::find(buf, key, nth);
  if (!hit) return -1;
  *occurrence = hit.occurrence;
  *offset = static_cast<int>(hit.offset);
  return hit.slot;
}

extern "C" int _upd_fcache(const void* buf, std::uint32_t key, int occurrence, int offset) {
  return fcache::record(buf, key, occurrence, static_cast<std::uint32_t>(offset));
}

extern "C" int _clear_fcache(const void* buf) { return fcache::clear(buf) ? 1 : -1; }
