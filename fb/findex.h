// The index of first occurrences: where the first record of each key lies, as far as a buffer was walked. It makes
// reading every field of a record by key linear in the record.
//
// Like the search cache it is only a hint. An entry says that no occurrence of the key lies before its offset; whether
// one lies there is for the records to tell. Clearing the cache's entries of a buffer drops its index.
#pragma once

#include <cstdint>

namespace vxa::findex {

// The index of one buffer: a hash table that is emptied by a new generation, not by touching it. It keeps its memory.
class Index {
 public:
  const void* buffer() const { return buffer_; }

  // Begins anew, with nothing walked.
  void start(const void* buffer);
  void drop() { buffer_ = nullptr; }

  // How far the buffer was walked, from its first record.
  std::int64_t walked() const { return walked_; }

  // The record that was entered last; only when something was walked.
  std::uint32_t last_key() const { return last_key_; }
  std::int64_t last_offset() const { return last_offset_; }

  // The offset before which the key does not occur, for the finder to raise; null when the key was not met.
  std::uint32_t* find(std::uint32_t key) const {
    if (count_ == 0) return nullptr;
    Entry& entry = entries_[place_of(key)];
    return entry.generation == generation_ ? &entry.offset : nullptr;
  }

  // Enters the record that lies where the walk has come to, and moves on behind it. False when there is no memory.
  bool enter(std::uint32_t key, std::int64_t behind);

  // Takes note that a record at an offset has got this key.
  void rekeyed(std::uint32_t key, std::int64_t offset);

 private:
  struct Entry {
    std::uint32_t key;
    std::uint32_t offset;
    std::uint32_t generation;  // the entry is empty unless it is the index's
  };

  // The key's place, or the free one where it would be.
  std::uint32_t place_of(std::uint32_t key) const {
    std::uint32_t place = key * 0x9E3779B1u >> shift_;
    while (entries_[place].generation == generation_ && entries_[place].key != key) place = (place + 1) & mask_;
    return place;
  }
  bool add(std::uint32_t key, std::int64_t offset);
  bool grow();

  const void* buffer_ = nullptr;
  std::int64_t walked_ = 0;
  std::int64_t last_offset_ = 0;
  std::uint32_t last_key_ = 0;
  std::uint32_t generation_ = 1;
  std::uint32_t count_ = 0;
  Entry* entries_ = nullptr;  // mask_ + 1 places
  std::uint32_t mask_ = 0;
  int shift_ = 0;
};

// The index of a buffer, of which a few are kept; existing gives null when there is none, and makes the one that
// it finds the latest. One that was dropped is that of kFree.
inline constexpr const void* kFree = nullptr;
extern Index* latest;
Index& select(const void* buffer);
Index* existing(const void* buffer);

inline Index& of(const void* buffer) { return latest->buffer() == buffer ? *latest : select(buffer); }

// Whether the buffer has an index, or gets a free one, as the latest: of would not take another buffer's for it.
bool attach(const void* buffer);
inline bool at_hand(const void* buffer) { return latest->buffer() == buffer || attach(buffer); }

// Forgets a buffer.
void drop(const void* buffer);

}  // namespace vxa::findex
