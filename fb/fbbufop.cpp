// Copies, comparison, joins and projections of whole field buffers.
#include "fb/fbbufop.h"

#include <algorithm>

#include "base/heap.h"
#include "fb/fberror.h"
#include "fb/fcache.h"
#include "fb/fields.h"

namespace vxa::fb {

namespace {

// ---- Copies and comparison

// The bytes of a buffer's used part that are really there, header included; none for a buffer without a header's worth.
std::int64_t used_bytes(FieldBuffer buffer) { return std::max<std::int64_t>(buffer.used_within(), 0); }

Outcome copy_whole(FieldBuffer dest, FieldBuffer source) {
  if (!source.valid()) return Error{FBEINVAL};
  if (source.capacity() < kBufferHeader) return Error{FBEBADFB};
  if (source.capacity() > dest.capacity()) return Error{FBENOSPACE};
  std::memmove(dest.data(), source.data(), static_cast<std::size_t>(source.capacity()));
  return success();
}

Outcome copy_used(FieldBuffer dest, FieldBuffer source) {
  if (!source.valid() || !dest.valid()) return Error{FBEINVAL};
  if (source.used() < kBufferHeader) return Error{FBEBADFB};
  if (dest.capacity() < source.used()) return Error{FBENOSPACE};
  const std::int64_t bytes = used_bytes(source);
  std::memmove(dest.data(), source.data(), static_cast<std::size_t>(bytes));
  dest.set_used(static_cast<std::int32_t>(bytes));
  return success();
}

Outcome concatenate(FieldBuffer dest, FieldBuffer source) {
  if (dest.used() < kBufferHeader || source.used() < kBufferHeader) return Error{FBEBADFB};
  if (dest.used() + (std::int64_t{source.used()} - kBufferHeader) > dest.capacity()) return Error{FBENOSPACE};
  const std::int64_t bytes = std::max<std::int64_t>(source.end() - source.fields(), 0);
  std::memmove(dest.data() + dest.used(), source.fields(), static_cast<std::size_t>(bytes));
  dest.set_used(static_cast<std::int32_t>(dest.used() + bytes));
  return success();
}

int compare(FieldBuffer dest, FieldBuffer source) {
  if (dest.capacity() == source.capacity() &&
      std::memcmp(dest.data(), source.data(), static_cast<std::size_t>(used_bytes(dest))) == 0)
    return 0;
  if (dest.used() < source.used()) return -1;
  const Records theirs = source.records();
  auto their = theirs.begin();
  for (const Record record : dest.records()) {
    if (!(their != theirs.end())) break;
    if (static_cast<std::int32_t>(record.key().word()) < static_cast<std::int32_t>((*their).key().word())) return -1;
    ++their;
  }
  return 1;
}

// ---- Joins

class FieldList {
 public:
  // False when there is no memory. Records without a key are left out: a key of 0 ends the list.
  bool build(FieldBuffer buffer) {
    entries_ = heap_alloc<FieldEntry>((std::int64_t{count_records(buffer)} + 1) * std::int64_t{sizeof(FieldEntry)});
    if (!entries_) return false;
    end_ = entries_.get();
    for (const Record record : buffer.records())
      if (const std::uint32_t key = record.key().unmarked().word()) *end_++ = {key, 0, record.at()};
    *end_ = {0, 0, nullptr};
    return true;
  }

  FieldEntry* begin() const { return entries_.get(); }
  FieldEntry* end() const { return end_; }
  std::int64_t size() const { return end() - begin(); }
  FieldEntry& operator[](std::uint32_t at) const { return begin()[at]; }
  FieldEntry* release() { return entries_.release(); }

 private:
  HeapPtr<FieldEntry> entries_;
  FieldEntry* end_ = nullptr;
};

// An entry's place in the order by key, then by position in its list.
struct Rank {
  std::uint32_t key;
  std::uint32_t position;
  auto operator<=>(const Rank&) const = default;
};

Rank* rank(const FieldList& list, Rank* out) {
  Rank* const first = out;
  for (const FieldEntry& entry : list) *out++ = {entry.key, static_cast<std::uint32_t>(&entry - list.begin())};
  std::sort(first, out);
  return out;
}

// Lets the n-th occurrence of each key in dest take over the value of the n-th one in source, and marks both. False
// when there is no memory.
bool match(const FieldList& dest, const FieldList& source) {
  const HeapPtr<Rank> ranks = heap_alloc<Rank>((dest.size() + source.size() + 1) * std::int64_t{sizeof(Rank)});
  if (!ranks) return false;
  const Rank* ours = ranks.get();
  const Rank* const ours_end = rank(dest, ranks.get());
  const Rank* theirs = ours_end;
  const Rank* const theirs_end = rank(source, ranks.get() + dest.size());
  while (ours != ours_end && theirs != theirs_end) {
    if (ours->key < theirs->key) {
      ++ours;
    } else if (theirs->key < ours->key) {
      ++theirs;
    } else {
      FieldEntry& entry = dest[ours++->position];
      FieldEntry& partner = source[theirs++->position];
      entry.slot = partner.slot;
      entry.mark = partner.mark = 1;
    }
  }
  return true;
}

enum class Entries { All, Matched, Unmatched };

Outcome append(FieldBuffer buffer, const FieldList& list, Entries which) {
  for (const FieldEntry& entry : list) {
    if (which != Entries::All && (entry.mark == 1) != (which == Entries::Matched)) continue;
    const Outcome put_there = put(buffer, FieldKey{entry.key}, Record{entry.slot}.stored_value(), LongForm::Stored);
    if (put_there.failed()) return put_there;
  }
  return success();
}

// An empty buffer that holds any result, released with the object.
struct WorkBuffer {
  explicit WorkBuffer(std::int32_t capacity) : data(tbuffer::noted(tbuffer::allocate("FIELD", "", capacity))) {}
  WorkBuffer(const WorkBuffer&) = delete;
  WorkBuffer& operator=(const WorkBuffer&) = delete;
  ~WorkBuffer() { tbuffer::release(data.value()); }

  Result<char*> data;
};

// ---- Projections

// A caller's list of keys, in an order in which they are found fast.
class KeySet {
 public:
  // False when there is no memory.
  bool build(const int* keys) {
    std::int64_t count = 0;
    while (keys[count] != 0) ++count;
    if (count > kInline) {
      heap_ = heap_alloc<Rank>(count * std::int64_t{sizeof(Rank)});
      if (!heap_) return false;
      first_ = heap_.get();
    }
    last_ = std::transform(keys, keys + count, first_, [](int key) {
      return Rank{static_cast<std::uint32_t>(key), 0};
    });
    std::sort(first_, last_);
    return true;
  }

  bool contains(FieldKey key) const { return std::binary_search<const Rank*>(first_, last_, Rank{key.word(), 0}); }

 private:
  static constexpr int kInline = 64;

  Rank inline_[kInline];
  HeapPtr<Rank> heap_;
  Rank* first_ = inline_;
  Rank* last_ = inline_;
};

// Copies the chosen records of source to a place that may lie before them in the same buffer; gives its end.
char* copy_chosen(FieldBuffer source, const KeySet& keys, char* to) {
  for (const Record record : source.records()) {
    if (!keys.contains(record.key())) continue;
    const std::int64_t slot = record.slot_length();
    std::memmove(to, record.at(), static_cast<std::size_t>(slot));
    to += slot;
  }
  return to;
}

std::int64_t chosen_bytes(FieldBuffer source, const KeySet& keys) {
  std::int64_t bytes = 0;
  for (const Record record : source.records())
    if (keys.contains(record.key())) bytes += record.slot_length();
  return bytes;
}

Outcome project(FieldBuffer dest, FieldBuffer source, const KeySet& keys) {
  if (kBufferHeader + chosen_bytes(source, keys) > dest.capacity()) return Error{FBENOSPACE};
  dest.set_used(static_cast<std::int32_t>(copy_chosen(source, keys, dest.fields()) - dest.data()));
  return success();
}

// What is kept always fits. The buffer comes out with a good header, whatever its magic number was.
Outcome project_in_place(FieldBuffer buffer, const KeySet& keys) {
  const char* end = copy_chosen(buffer, keys, buffer.fields());
  buffer.reset();
  buffer.set_used(static_cast<std::int32_t>(end - buffer.data()));
  return success();
}

}  // namespace

Outcome join(FieldBuffer dest, FieldBuffer source, Join kind) {
  const WorkBuffer work{dest.capacity()};
  FieldList ours, theirs;
  if (work.data.failed() || !ours.build(dest) || !theirs.build(source) || !match(ours, theirs)) return Error{FBEMALLOC};

  const FieldBuffer result{work.data.value()};
  Outcome outcome = append(result, ours, kind == Join::Inner ? Entries::Matched : Entries::All);
  if (outcome && kind == Join::Update) outcome = append(result, theirs, Entries::Unmatched);
  if (outcome.failed()) return outcome;
  if (result.used() > dest.capacity()) return Error{FBENOSPACE};
  fcache::clear(dest.data());
  std::memcpy(dest.data(), result.data(), static_cast<std::size_t>(result.used()));
  return success();
}

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

namespace {

Outcome combine(FieldBuffer dest, FieldBuffer source, int op) {
  switch (op) {
    case FB_OP_COPY_WHOLE:
      return copy_whole(dest, source);
    case FB_OP_COPY:
      return copy_used(dest, source);
    case FB_OP_CONCAT:
      return concatenate(dest, source);
    case FB_OP_JOIN:
    case FB_OP_OUTER_JOIN:
    case FB_OP_UPDATE:
      return join(dest, source, static_cast<Join>(op));
    default:
      return Error{FBEINVAL};
  }
}

}  // namespace

extern "C" FieldEntry* _make_flist(const void* buf) {
  FieldList list;
  return list.build(FieldBuffer{buf}) ? list.release() : nullptr;
}

extern "C" int _update_unchecked(FieldEntry* list, const FieldEntry* entry) {
  for (FieldEntry* at = list; at->key != 0; ++at) {
    if (at->mark != 0 || at->key != entry->key) continue;
    at->slot = entry->slot;
    at->mark = 1;
    return static_cast<int>(at - list);
  }
  return -1;
}

// A comparison says its result in a text of its own: its -1 is no failure.
extern "C" int fbbufop(void* dest, const void* src, int op) {
  static constexpr ApiTexts texts{"fbbufop", "fbbufop(%#x, %#x, %d)", "fbbufop = %d", "fbbufop = -1 [%d : %s]"};
  const FbCall call{texts, dest, src, op};
  if (!dest || !src) return call.fail(FBEINVAL);
  fcache::clear(dest);
  if (op == FB_OP_COMPARE) {
    static constexpr const char* kCompared[] = {"fbbufop = -1", "fbbufop = 0", "fbbufop = 1"};
    const int order = compare(FieldBuffer{dest}, FieldBuffer{src});
    return call.done_as(kCompared[order + 1], order);
  }
  return call.finish(combine(FieldBuffer{dest}, FieldBuffer{src}, op));
}

// A missing destination is refused before the call is reported.
extern "C" int fbbufop_proj(void* dest, const void* src, const int* keys) {
  static constexpr ApiTexts texts{"fbbufop_proj", "fbbufop_proj(%#x, %#x, %#x)", "fbbufop_proj = %d",
                                  "fbbufop_proj = -1 [%d : %s]"};
  if (!dest) {
    fberror = FBEINVAL;
    return -1;
  }
  const FbCall call{texts, dest, src, keys};
  fcache::clear(dest);
  KeySet set;
  if (!keys) return call.fail(FBEINVAL);
  if (!set.build(keys)) return call.fail(FBEMALLOC);
  const FieldBuffer target{dest};
  return call.finish(src ? project(target, FieldBuffer{src}, set) : project_in_place(target, set));
}
