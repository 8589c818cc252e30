// Searching a field buffer: occurrences of a key, counted from the nearest position that the search cache remembers or
// from a caller's hint. What is found never depends on what the cache holds.
#pragma once

#include <cstdint>

#include "base/export.h"
#include "base/result.h"
#include "fb/fbcommon.h"

namespace vxa::fb {

// Where a search for one occurrence ended: at its record, or past the last record with the number of occurrences.
struct Search {
  Record record;
  int occurrences = 0;
};

// Searches for occurrence nth and leaves no trace in the cache; for callers that are about to move records anyway.
Search search(FieldBuffer buffer, FieldKey key, int nth);

// Occurrence nth, or no record. The position is remembered.
Record find(FieldBuffer buffer, FieldKey key, int nth);

// The same, FBENOENT when there is none.
Result<Record> require(FieldBuffer buffer, FieldKey key, int nth);

// Occurrence nth counted from the caller's position, which is relative to the first record and moves to the first match
// from there on. A position at which no record of this key begins counts as 0; none is found from one at or past the
// used length.
Record find_from(FieldBuffer buffer, FieldKey key, int nth, int& position);

// How often the key occurs. Positions in long runs are remembered on the way.
int count(FieldBuffer buffer, FieldKey key);

// Which occurrence of its key a record is; -1 when no record of the buffer begins there.
int occurrence_of(FieldBuffer buffer, Record record);

// Gives the record the fetched mark: it is no occurrence of its key any longer. consume_first is for the record that
// find has just given as occurrence 0, whose remembered position stays right; consume is for any other.
void consume_first(FieldBuffer buffer, Record record);
void consume(FieldBuffer buffer, Record record);

}  // namespace vxa::fb

VXA_EXPORT void* _find_matching_fldkey(const void* buf, int key, int nth);
VXA_EXPORT void* _find_matching_fldkey_from(const void* buf, int key, int nth, int* pos);
VXA_EXPORT int _getnth_from_curpos(const void* buf, const void* rec);
