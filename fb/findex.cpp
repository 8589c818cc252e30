// First occurrences: hash tables with open addressing, at most half full.
#include "fb/findex.h"

#include <algorithm>
#include <bit>
#include <iterator>

#include "base/heap.h"

namespace vxa::findex {

namespace {

constexpr std::uint32_t kSmallest = 256;  // places, powers of two, of which at most half are taken
constexpr std::uint32_t kLargest = 1u << 16;

Index indexes[4];
unsigned oldest = 0;

}  // namespace

Index* latest = indexes;

void Index::start(const void* buffer) {
  buffer_ = buffer;
  walked_ = 0;
  count_ = 0;
  if (++generation_ != 0 || !entries_) return;
  std::fill_n(entries_, mask_ + 1, Entry{});
  generation_ = 1;
}

bool Index::enter(std::uint32_t key, std::int64_t behind) {
  if (!add(key, walked_)) return false;
  last_key_ = key;
  last_offset_ = walked_;
  walked_ = behind;
  return true;
}

void Index::rekeyed(std::uint32_t key, std::int64_t offset) {
  if (offset < walked_ && !add(key, offset)) drop();
}

// Keeps the lower of two offsets.
bool Index::add(std::uint32_t key, std::int64_t offset) {
  if (2 * count_ >= mask_ && !grow()) return false;
  Entry& entry = entries_[place_of(key)];
  const auto at = static_cast<std::uint32_t>(offset);
  if (entry.generation == generation_) {
    entry.offset = std::min(entry.offset, at);
    return true;
  }
  entry = {key, at, generation_};
  ++count_;
  return true;
}

bool Index::grow() {
  const std::uint32_t places = entries_ ? 2 * (mask_ + 1) : kSmallest;
  if (places > kLargest) return false;
  HeapPtr<Entry> larger = heap_alloc_zeroed<Entry>(std::int64_t{places} * std::int64_t{sizeof(Entry)});
  if (!larger) return false;

  const HeapPtr<Entry> smaller{entries_};
  const Entry* const end = smaller.get() + (smaller ? mask_ + 1 : 0);
  entries_ = larger.release();
  mask_ = places - 1;
  shift_ = std::countl_zero(mask_);
  for (const Entry* entry = smaller.get(); entry != end; ++entry)
    if (entry->generation == generation_) entries_[place_of(entry->key)] = *entry;
  return true;
}

Index* existing(const void* buffer) {
  if (latest->buffer() == buffer) return latest;
  for (Index& index : indexes)
    if (index.buffer() == buffer) return latest = &index;
  return nullptr;
}

bool attach(const void* buffer) {
  if (existing(buffer)) return true;
  if (!existing(kFree)) return false;
  latest->start(buffer);
  return true;
}

Index& select(const void* buffer) {
  if (!attach(buffer)) {
    latest = &indexes[oldest++ % std::size(indexes)];
    latest->start(buffer);
  }
  return *latest;
}

void drop(const void* buffer) {
  if (Index* index = existing(buffer)) index->drop();
}

}  // namespace vxa::findex
