// The operations on single fields that the public calls and the rest of the library are built on: they report by their
// result, know nothing of fberror and traces, and leave the buffer as it was when they fail.
#pragma once

#include "base/export.h"
#include "base/result.h"
#include "fb/fbcommon.h"
#include "fb/fbcommon2.h"
#include "fb/fbcommon3.h"

namespace vxa::fb {

// Appends a record. FBENOSPACE, FBEINVAL, FBETYPE; FBEBADFB where the used length leaves no place for a first record.
Outcome put(FieldBuffer buffer, FieldKey key, Value value, LongForm form = LongForm::Native);

// Makes the value occurrence nth, behind null values when there are fewer; nth >= 0. Fails as put.
Outcome insert(FieldBuffer buffer, FieldKey key, int nth, Value value);

// Gives occurrence nth a new value: FBENOENT when there is none, else fails as put.
Outcome update(FieldBuffer buffer, FieldKey key, int nth, Value value);

// Gives occurrence nth the value, whether there was one or not: as update, or insert, and FBEINVAL for a negative nth.
Outcome update_or_insert(FieldBuffer buffer, FieldKey key, int nth, Value value);

// Removes occurrence nth, or all: how many there were. FBENOENT when there is none.
Outcome erase(FieldBuffer buffer, FieldKey key, int nth);
Result<int> erase_all(FieldBuffer buffer, FieldKey key);

// Copies the first occurrence out, from the start or from a position, and marks it fetched. FBENOENT, or as copy_out.
Outcome fetch(FieldBuffer buffer, FieldKey key, void* dest, int* length);
Outcome fetch_from(FieldBuffer buffer, FieldKey key, void* dest, int* length, int& position);

// Which occurrence is the first to equal the value; -1 when none does. FBEINVAL when there is no value to compare.
Result<int> find_value(FieldBuffer buffer, FieldKey key, Value value);

// How many records the buffer holds, fetched ones included.
int count_records(FieldBuffer buffer);

}  // namespace vxa::fb

VXA_EXPORT int _fbput(void* buf, int key, const void* value, int len);
