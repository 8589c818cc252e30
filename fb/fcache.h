// The search cache: where the last found occurrence of a key lay in a buffer, so that a later search resumes there.
//
// It is only a hint. Whoever moves, removes or resizes a buffer's records, or initialises, reallocates or frees the
// buffer, clears its entries.
#pragma once

#include <cstdint>

#include "base/export.h"

namespace vxa::fcache {

inline constexpr int kSlots = 1019;

struct Slot {
  std::uint32_t key;
  std::int32_t occurrence;
  std::uint32_t offset;  // of the record, from the start of the field area
  const void* buffer;    // null: the slot is empty
};

struct Hit {
  int slot = -1;  // -1: no slot serves the search
  std::int32_t occurrence = 0;
  std::uint32_t offset = 0;
  explicit operator bool() const { return slot >= 0; }
};

// The entry from which a search for occurrence nth may resume.
Hit find(const void* buffer, std::uint32_t key, std::int32_t nth);

// Records a position. Gives the slot's index, or -1 when nothing was recorded: the slot holds another key of this
// buffer, or the cache could not be allocated.
int record(const void* buffer, std::uint32_t key, std::int32_t occurrence, std::uint32_t offset);

// First occurrences that were found in a buffer, yet to be filed in their slots: that is done when somebody looks
// there, as most buffers are read field by field and thrown away before.
struct Notes {
  struct Note {
    std::uint32_t key;
    std::uint32_t offset;
  };
  static constexpr int kMost = 64;

  const void* buffer;
  int count;
  Note taken[kMost];
};

extern Notes notes;

// Files what was noted and makes the notes those of this buffer. False when the cache could not be allocated.
bool turn_page(const void* buffer);

// As record, for occurrence 0.
inline void record_first(const void* buffer, std::uint32_t key, std::uint32_t offset) {
  if ((notes.buffer != buffer || notes.count == Notes::kMost) && !turn_page(buffer)) return;
  notes.taken[notes.count++] = {key, offset};
}

// Drops what is recorded of one key.
void forget(const void* buffer, std::uint32_t key);

// Notes an offset at which a record begins, and gives the last one noted of the buffer that is not above offset, else
// 0: where a caller's offset is checked from. Clearing the buffer drops it.
void note_boundary(const void* buffer, std::uint32_t offset);
std::int64_t boundary_before(const void* buffer, std::int64_t offset);

// Watches one buffer, or none (null), and tells whether it is the one watched and nothing of it was cleared or
// forgotten since.
void watch(const void* buffer);
bool unchanged(const void* buffer);

// Empties the buffer's slots, in time proportional to their number. False when nothing was ever recorded.
bool clear(const void* buffer);

}  // namespace vxa::fcache

VXA_EXPORT vxa::fcache::Slot* _fcache;
VXA_EXPORT int _srch_fcache(const void* buf, std::uint32_t key, int nth, int* occurrence, int* offset);
VXA_EXPORT int _upd_fcache(const void* buf, std::uint32_t key, int occurrence, int offset);
VXA_EXPORT int _clear_fcache(const void* buf);
