// Searching a field buffer, with the search cache as the place to resume from.
#include "fb/fbcommon2.h"

#include <climits>

#include "fb/fcache.h"
#include "fb/findex.h"
#include "vxa/fbuf.h"

namespace vxa::fb {

namespace {

// A long run is remembered in steps of this many occurrences while it is counted.
constexpr int kCountingStride = 10;

// A record to start at, and the number of the key's occurrences before it.
struct Start {
  char* at;
  int occurrence;
};

// Offsets come from the cache and from callers; one outside the records leads nowhere.
bool holds(FieldBuffer buffer, std::int64_t offset) {
  return offset >= 0 && offset + kMinimumSlot <= buffer.end() - buffer.fields();
}

Record first_from(FieldBuffer buffer, FieldKey key, char* at) {
  for (const Record record : buffer.records_from(at))
    if (record.key() == key) return record;
  return Record{};
}

// Whether a record of the key lies at the offset, consumed or not. The hints are void where none does: a program may
// have copied other records over the buffer without a call of the library.
bool carries(FieldBuffer buffer, std::int64_t offset, FieldKey key) {
  return holds(buffer, offset) && Record{buffer.fields() + offset}.key().unmarked() == key.unmarked();
}

// Walks on from where earlier searches ended, to the first record of a key that was not met yet. Having found it, it
// enters as many bytes of records again as had been walked before, so that the searches to come find theirs entered.
Record walk_unwalked(findex::Index& index, FieldBuffer buffer, FieldKey key) {
  const std::int64_t enough = 2 * index.walked();
  const Records unwalked = buffer.records_from(buffer.fields() + index.walked());
  Record found;
  for (auto at = unwalked.begin(); at != unwalked.end(); ++at) {
    const Record record = *at;
    const bool entered = index.enter(record.key().word(), index.walked() + at.slot_length());
    if (!found && record.key() == key) found = record;
    if (found && (!entered || index.walked() > enough)) break;
    if (!entered) return first_from(buffer, key, record.at());
  }
  return found;
}

// The first record of a key that is not in the index. That there is none is said only after a whole pass.
[[gnu::noinline]] Record walk_on(findex::Index& index, FieldBuffer buffer, FieldKey key) {
  if (index.walked() > 0 && !carries(buffer, index.last_offset(), FieldKey{index.last_key()}))
    index.start(buffer.data());
  const bool whole = index.walked() == 0;
  const Record found = walk_unwalked(index, buffer, key);
  if (found || whole) return found;
  const Record missed = first_from(buffer, key, buffer.fields());
  if (missed) index.drop();
  return missed;
}

// The first occurrence is not where the index has it: it was consumed, and the next one takes its place in the index.
[[gnu::noinline]] Record walk_past(findex::Index& index, std::uint32_t& known, FieldBuffer buffer, FieldKey key) {
  if (!carries(buffer, known, key)) {
    index.start(buffer.data());
    return walk_on(index, buffer, key);
  }
  const Record record = first_from(buffer, key, buffer.fields() + known);
  if (record) known = static_cast<std::uint32_t>(buffer.offset_of(record));
  return record;
}

// Occurrence 0, by the index.
inline Record first(FieldBuffer buffer, FieldKey key) {
  findex::Index& index = findex::of(buffer.data());
  const std::int64_t present = buffer.end() - buffer.fields();
  if (index.walked() > present) [[unlikely]]
    index.start(buffer.data());
  std::uint32_t* const known = index.find(key.word());
  if (!known) return walk_on(index, buffer, key);
  const Record record{buffer.fields() + *known};
  const std::int64_t room = present - *known;
  if (room < kMinimumSlot || record.key() != key || record.slot_length_within(room) == 0) [[unlikely]]
    return walk_past(index, *known, buffer, key);
  return record;
}

// A place before which the key does not occur, as far as the index tells without being grown.
char* lower_bound(FieldBuffer buffer, FieldKey key) {
  const findex::Index* index = findex::existing(buffer.data());
  const std::uint32_t* known = index ? index->find(key.word()) : nullptr;
  return buffer.fields() + (known && carries(buffer, *known, key) ? *known : 0);
}

Start resume(FieldBuffer buffer, FieldKey key, int nth) {
  const fcache::Hit hit = fcache::find(buffer.data(), key.word(), nth);
  if (hit && carries(buffer, hit.offset, key)) return {buffer.fields() + hit.offset, hit.occurrence};
  return {lower_bound(buffer, key), 0};
}

void remember(FieldBuffer buffer, FieldKey key, int occurrence, Record record) {
  fcache::record(buffer.data(), key.word(), occurrence, static_cast<std::uint32_t>(buffer.offset_of(record)));
}

// Whether a record of the buffer begins at the offset. Only a walk can tell; it starts at the last record that a caller
// was given a position of, so that a loop over positions stays linear.
bool record_begins(FieldBuffer buffer, std::int64_t offset) {
  if (!holds(buffer, offset)) return false;
  const std::int64_t known = fcache::boundary_before(buffer.data(), offset);
  for (const Record record : buffer.records_from(buffer.fields() + known)) {
    if (buffer.offset_of(record) >= offset) return buffer.offset_of(record) == offset;
  }
  return false;
}

// Occurrence 0 as the search cache remembers it, else no record: for a buffer that would get an index only at the cost
// of another. Who goes round many buffers would otherwise walk each one anew every time.
[[gnu::noinline]] Record recalled(FieldBuffer buffer, FieldKey key) {
  const fcache::Hit hit = fcache::find(buffer.data(), key.word(), 0);
  return hit && carries(buffer, hit.offset, key) ? first_from(buffer, key, buffer.fields() + hit.offset) : Record{};
}

Record find_first(FieldBuffer buffer, FieldKey key) {
  Record record;
  if (!findex::at_hand(buffer.data())) [[unlikely]]
    record = recalled(buffer, key);
  if (!record) record = first(buffer, key);
  if (record) fcache::record_first(buffer.data(), key.word(), static_cast<std::uint32_t>(buffer.offset_of(record)));
  return record;
}

}  // namespace

Search search(FieldBuffer buffer, FieldKey key, int nth) {
  const Start start = resume(buffer, key, nth);
  int occurrence = start.occurrence;
  for (const Record record : buffer.records_from(start.at)) {
    if (record.key() != key) continue;
    if (occurrence == nth) return {record, occurrence};
    ++occurrence;
  }
  return {Record{}, occurrence};
}

Record find(FieldBuffer buffer, FieldKey key, int nth) {
  if (nth == 0) return find_first(buffer, key);
  const Record record = search(buffer, key, nth).record;
  if (record) remember(buffer, key, nth, record);
  return record;
}

Result<Record> require(FieldBuffer buffer, FieldKey key, int nth) {
  const Record record = find(buffer, key, nth);
  if (!record) return Error{FBENOENT};
  return record;
}

Record find_from(FieldBuffer buffer, FieldKey key, int nth, int& position) {
  if (position >= buffer.used()) return Record{};
  if (!record_begins(buffer, position) || Record{buffer.fields() + position}.key().unmarked() != key) position = 0;
  Record record = first_from(buffer, key, buffer.fields() + position);
  if (!record) return record;
  position = buffer.offset_of(record);
  fcache::note_boundary(buffer.data(), static_cast<std::uint32_t>(position));
  for (; record && nth > 0; --nth) record = first_from(buffer, key, record.at() + record.slot_length());
  return nth == 0 ? record : Record{};
}

int count(FieldBuffer buffer, FieldKey key) {
  const Start start = resume(buffer, key, INT_MAX);
  int occurrences = start.occurrence;
  int remembered = start.occurrence;
  for (const Record record : buffer.records_from(start.at)) {
    if (record.key() != key) continue;
    if (occurrences - remembered > kCountingStride) {
      remember(buffer, key, occurrences, record);
      remembered = occurrences;
    }
    ++occurrences;
  }
  return occurrences;
}

int occurrence_of(FieldBuffer buffer, Record wanted) {
  if (wanted.at() < buffer.fields() || !holds(buffer, buffer.offset_of(wanted))) return -1;
  const FieldKey key = wanted.key();
  if (find_first(buffer, key).at() == wanted.at()) return 0;
  Start start = resume(buffer, key, INT_MAX);
  if (start.at > wanted.at()) start = {buffer.fields(), 0};
  int occurrence = start.occurrence;
  for (const Record record : buffer.records_from(start.at)) {
    if (record.at() > wanted.at()) break;
    if (record.at() == wanted.at()) {
      remember(buffer, key, occurrence, record);
      return occurrence;
    }
    if (record.key() == key) ++occurrence;
  }
  return -1;
}

void consume_first(FieldBuffer buffer, Record record) {
  const FieldKey marked = record.key().marked();
  record.set_key(marked);
  fcache::forget(buffer.data(), marked.word());
  if (findex::Index* index = findex::existing(buffer.data())) index->rekeyed(marked.word(), buffer.offset_of(record));
}

// No record moves, so the place where this one begins stays known.
void consume(FieldBuffer buffer, Record record) {
  record.set_key(record.key().marked());
  fcache::clear(buffer.data());
  fcache::note_boundary(buffer.data(), static_cast<std::uint32_t>(buffer.offset_of(record)));
}

}  // namespace vxa::fb

using namespace vxa::fb;

extern "C" void* _find_matching_fldkey(const void* buf, int key, int nth) {
  return find(FieldBuffer{buf}, FieldKey{key}, nth).at();
}

extern "C" void* _find_matching_fldkey_from(const void* buf, int key, int nth, int* pos) {
  return find_from(FieldBuffer{buf}, FieldKey{key}, nth, *pos).at();
}

extern "C" int _getnth_from_curpos(const void* buf, const void* rec) {
  return occurrence_of(FieldBuffer{buf}, Record{static_cast<char*>(const_cast<void*>(rec))});
}
