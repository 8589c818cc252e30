// Operations on single fields: adding, changing, removing and consuming records.
#include "fb/fields.h"

#include <algorithm>

#include "fb/fcache.h"
#include "vxa/fbuf.h"

namespace vxa::fb {

namespace {

constexpr std::int64_t kBeyondAnyRoom = INT32_MAX;

Outcome room_for(FieldBuffer buffer, std::int64_t bytes) {
  if (buffer.used() < kBufferHeader) return Error{FBEBADFB};
  if (buffer.used() + bytes > buffer.capacity()) return Error{FBENOSPACE};
  return success();
}

void advance(FieldBuffer buffer, std::int64_t bytes) {
  buffer.set_used(static_cast<std::int32_t>(buffer.used() + bytes));
}

// Moves the records from one place to another and the used length with them; remembered positions are void.
void shift(FieldBuffer buffer, char* from, char* to) {
  fcache::clear(buffer.data());
  std::memmove(to, from, static_cast<std::size_t>(buffer.end() - from));
  advance(buffer, to - from);
}

// A value that is about to be stored: what it is, and how long it and its slot are.
struct Measured {
  Measured(FieldKey field, Value given)
      : key(field), value(given), length(stored_length(field.type(), given)), slot(slot_for(field.type(), length)) {}

  Outcome check() const { return check_value(key, value); }
  void write(char* at, LongForm form) const { write_record(at, key, value.at, length, form); }

  FieldKey key;
  Value value;
  std::int64_t length;
  std::int64_t slot;
};

Outcome append(FieldBuffer buffer, const Measured& field, LongForm form) {
  const Outcome room = room_for(buffer, field.slot);
  if (room.failed()) return room;
  const Outcome checked = field.check();
  if (checked.failed()) return checked;
  field.write(buffer.data() + buffer.used(), form);
  advance(buffer, field.slot);
  return success();
}

// Appends so many null values of the key, and then the field. The first test takes the gap in slots of the field, as
// the call's contract has it; the second is for what will be written.
Outcome append_after_gap(FieldBuffer buffer, const Measured& field, int gap) {
  const Outcome rough_room = room_for(buffer, std::min(field.slot, kBeyondAnyRoom) * gap);
  if (rough_room.failed()) return rough_room;
  const Measured filler{field.key, null_value(field.key.type())};
  for (const Measured* checked : {&filler, &field}) {
    const Outcome outcome = checked->check();
    if (outcome.failed()) return outcome;
  }
  const Outcome room = room_for(buffer, filler.slot * gap + field.slot);
  if (room.failed()) return room;

  char* at = buffer.data() + buffer.used();
  for (int i = 0; i < gap; ++i, at += filler.slot) filler.write(at, LongForm::Native);
  field.write(at, LongForm::Native);
  advance(buffer, filler.slot * gap + field.slot);
  return success();
}

Outcome insert_before(FieldBuffer buffer, Record record, const Measured& field) {
  const Outcome room = room_for(buffer, field.slot);
  if (room.failed()) return room;
  const Outcome checked = field.check();
  if (checked.failed()) return checked;
  shift(buffer, record.at(), record.at() + field.slot);
  field.write(record.at(), LongForm::Native);
  return success();
}

}  // namespace

Outcome put(FieldBuffer buffer, FieldKey key, Value value, LongForm form) {
  return append(buffer, Measured{key, value}, form);
}

Outcome insert(FieldBuffer buffer, FieldKey key, int nth, Value value) {
  const Measured field{key, value};
  const Search place = search(buffer, key, nth);
  if (place.record) return insert_before(buffer, place.record, field);
  if (place.occurrences == nth) return append(buffer, field, LongForm::Native);
  return append_after_gap(buffer, field, nth - place.occurrences);
}

Outcome update(FieldBuffer buffer, FieldKey key, int nth, Value value) {
  const Record record = find(buffer, key, nth);
  if (!record) return Error{FBENOENT};
  const Measured field{key, value};
  const std::int64_t old_slot = record.slot_length();
  if (field.slot > old_slot) {
    const Outcome room = room_for(buffer, field.slot - old_slot);
    if (room.failed()) return room;
  }
  const Outcome checked = field.check();
  if (checked.failed()) return checked;
  if (field.slot != old_slot) shift(buffer, record.at() + old_slot, record.at() + field.slot);
  field.write(record.at(), LongForm::Native);
  return success();
}

Outcome update_or_insert(FieldBuffer buffer, FieldKey key, int nth, Value value) {
  const Outcome updated = update(buffer, key, nth, value);
  if (updated.code() != FBENOENT) return updated;
  return nth < 0 ? Outcome{Error{FBEINVAL}} : insert(buffer, key, nth, value);
}

Outcome erase(FieldBuffer buffer, FieldKey key, int nth) {
  const Record record = search(buffer, key, nth).record;
  if (!record) return Error{FBENOENT};
  shift(buffer, record.at() + record.slot_length(), record.at());
  return success();
}

// One pass: the stretches between the occurrences close up behind each other.
Result<int> erase_all(FieldBuffer buffer, FieldKey key) {
  char* kept = nullptr;     // the end of what stays
  char* pending = nullptr;  // what has still to move there
  int erased = 0;
  const auto close_up = [&](char* until) {
    if (kept) {
      std::memmove(kept, pending, static_cast<std::size_t>(until - pending));
      kept += until - pending;
    } else {
      kept = until;
    }
  };
  for (const Record record : buffer.records()) {
    if (record.key() != key) continue;
    close_up(record.at());
    pending = record.at() + record.slot_length();
    ++erased;
  }
  if (erased == 0) return Error{FBENOENT};
  shift(buffer, pending, kept);
  return erased;
}

Outcome fetch(FieldBuffer buffer, FieldKey key, void* dest, int* length) {
  const Record record = find(buffer, key, 0);
  if (!record) return Error{FBENOENT};
  int unlimited = 0;
  const Outcome copied = copy_out(record, dest, length ? length : &unlimited);
  if (copied) consume_first(buffer, record);
  return copied;
}

Outcome fetch_from(FieldBuffer buffer, FieldKey key, void* dest, int* length, int& position) {
  const Record record = find_from(buffer, key, 0, position);
  if (!record) return Error{FBENOENT};
  int unlimited = 0;
  const Outcome copied = copy_out(record, dest, length ? length : &unlimited);
  if (copied) consume(buffer, record);
  return copied;
}

Result<int> find_value(FieldBuffer buffer, FieldKey key, Value value) {
  if (!value.at || (key.type() == kCarray && value.length <= 0)) return Error{FBEINVAL};
  int occurrence = 0;
  for (const Record record : buffer.records()) {
    if (record.key() != key) continue;
    if (equals(record, value)) return occurrence;
    ++occurrence;
  }
  return -1;
}

int count_records(FieldBuffer buffer) {
  int records = 0;
  for ([[maybe_unused]] const Record record : buffer.records()) ++records;
  return records;
}

}  // namespace vxa::fb
