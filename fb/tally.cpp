// The tally: a hash table of the keys seen, at most half full. The buffer is the one that the search cache watches.
#include "fb/tally.h"

#include <utility>

#include "base/heap.h"
#include "fb/fcache.h"

namespace vxa::fb::tally {

namespace {

struct Entry {
  std::uint32_t key;  // 0: free
  int occurrences;
};

struct Walk {
  Entry* entries;
  std::uint32_t size;  // a power of two, or 0
  std::uint32_t keys;
  std::int32_t last_offset;
  int last_occurrence;
};

constexpr std::uint32_t kFirstSize = 64;

Walk walk = {};

// The key's entry, or the free one that becomes it.
Entry& entry_of(Entry* entries, std::uint32_t size, std::uint32_t key) {
  std::uint32_t at = (key * 0x9E3779B1u) >> 7;
  while (entries[at % size].key != 0 && entries[at % size].key != key) ++at;
  return entries[at % size];
}

bool grow() {
  const std::uint32_t size = walk.size ? walk.size * 2 : kFirstSize;
  HeapPtr<Entry> larger = heap_alloc_zeroed<Entry>(std::int64_t{size} * std::int64_t{sizeof(Entry)});
  if (!larger) return false;
  for (std::uint32_t i = 0; i < walk.size; ++i) {
    const Entry& entry = walk.entries[i];
    if (entry.key != 0) entry_of(larger.get(), size, entry.key) = entry;
  }
  const HeapPtr<Entry> outgrown{std::exchange(walk.entries, larger.release())};
  walk.size = size;
  return true;
}

void drop() {
  const HeapPtr<Entry> released{walk.entries};
  walk = {};
  fcache::watch(nullptr);
}

}  // namespace

void start(FieldBuffer buffer) {
  drop();
  fcache::watch(buffer.data());
}

void end(FieldBuffer buffer) {
  if (fcache::unchanged(buffer.data())) drop();
}

Record last_added(FieldBuffer buffer, FieldKey key, int nth) {
  if (!fcache::unchanged(buffer.data())) return Record{};
  const Record last{buffer.fields() + walk.last_offset};
  const bool asked = walk.keys > 0 && walk.last_occurrence == nth && last.at() + kMinimumSlot <= buffer.end();
  if (asked && last.key() == key) return last;
  drop();
  return Record{};
}

int add(FieldBuffer buffer, Record record) {
  if (!fcache::unchanged(buffer.data())) return -1;
  if (walk.keys >= walk.size / 2 && !grow()) {
    drop();
    return -1;
  }
  const std::uint32_t key = record.key().word();
  Entry& entry = entry_of(walk.entries, walk.size, key);
  if (entry.key == 0) {
    entry.key = key;
    ++walk.keys;
  }
  walk.last_offset = buffer.offset_of(record);
  walk.last_occurrence = entry.occurrences++;
  return walk.last_occurrence;
}

}  // namespace vxa::fb::tally
