// Iteration over all records of a buffer, with the key and occurrence of the last one held by the caller.
#include "fb/copyout.h"
#include "fb/fberror.h"
#include "fb/fbtconv.h"
#include "fb/fields.h"
#include "fb/tally.h"

namespace vxa::fb {

namespace {

constexpr FieldKey kStart{0};

// The record that the caller was told last.
Record told_record(FieldBuffer buffer, FieldKey key, int nth) {
  const Record last = tally::last_added(buffer, key, nth);
  return last ? last : find(buffer, key, nth);
}

// The record behind occurrence nth of the key, for key 0 the first one; none at the end. FBEINVAL when there is no such
// occurrence, FBEBADFB at a stored key 0, which would start the caller over.
Result<Record> next_record(FieldBuffer buffer, FieldKey key, int nth) {
  char* at = buffer.fields();
  if (key == kStart) {
    tally::start(buffer);
  } else {
    const Record told = told_record(buffer, key, nth);
    if (!told) return Error{FBEINVAL};
    at = told.at();
  }
  for (const Record record : buffer.records_from(at)) {
    if (key != kStart && record.at() == at) continue;
    if (record.key() == kStart) return Error{FBEBADFB};
    return record;
  }
  tally::end(buffer);
  return Record{};
}

// Bytes that a copy of the value writes, which may be more than its length: a long is widened, and a string gets its
// terminator, unless the policy itself keeps the copy within the caller's length.
std::int64_t room_for_copy(Record record) {
  const bool terminated = record.type() == kString && !lengths_enforced(semantics::length_policy());
  if (record.type() == kLong) return native_length(kLong);
  return record.value_length() + (terminated ? 1 : 0);
}

// Tells the caller which record it gets.
void tell(FieldBuffer buffer, Record record, int* key, int* occ, int* len) {
  const int occurrence = tally::add(buffer, record);
  *occ = occurrence < 0 ? occurrence_of(buffer, record) : occurrence;
  *key = static_cast<int>(record.key().word());
  if (len) *len = told_length(record);
}

}  // namespace

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

extern "C" int fbnext_tu(const void* buf, int* key, int* occ, void* dest, int* len) {
  static constexpr ApiTexts texts{"fbnext_tu", "fbnext_tu(%#x, %#x, %#x, %#x, %#x)", "fbnext_tu = %d",
                                  "fbnext_tu = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, occ, dest, len};
  if (!buf || !key || !occ) return call.fail(FBEINVAL);
  const FieldBuffer buffer{buf};
  const Result<Record> next = next_record(buffer, FieldKey{*key}, *occ);
  if (next.failed()) return call.fail(next.code());
  const Record record = next.value();
  if (!record) return call.done_as("fbnext_tu = 0", 0);

  int limit = len ? *len : 0;
  const bool copied = dest && !is_null(record);
  if (dest && len && limit < (copied ? room_for_copy(record) : record.value_length())) return call.fail(FBENOSPACE);
  tell(buffer, record, key, occ, len);
  if (!copied) return call.done_as("fbnext_tu = 1", 1);
  const Outcome copy = copy_out(record, dest, &limit);
  if (!copy.failed()) return call.done(copy.value());
  // A refused copy is reported as a return, though with the failure's text.
  fberror = copy.code();
  return call.done_as(texts.failure, -1, fberror, fb_error_text(fberror));
}
