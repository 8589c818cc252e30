// The compatibility operations on single occurrences: change, last occurrence, plain, converting and allocating reads.
// They are what the FML-named calls stand on.
#include <algorithm>
#include <climits>

#include "base/heap.h"
#include "fb/fberror.h"
#include "fb/fbtconv.h"
#include "fb/fields.h"
#include "fb/scratch.h"

namespace vxa::fb {

namespace {

constexpr int kNewLast = -1;  // the occurrence number that appends

Outcome change(FieldBuffer buffer, FieldKey key, int nth, Value value) {
  if (nth == kNewLast) return put(buffer, key, value);
  if (!value.at) return erase(buffer, key, nth);
  return update_or_insert(buffer, key, nth, value);
}

// The value as the key's type. A null value stays one, once the conversion's own checks have passed.
Result<Value> as_type_of(FieldKey key, Value value, int type) {
  if (value.at) return convert(key.type(), type, value);
  const Outcome prepared = prepare_conversion(key.type(), type, value.length);
  scratch::release_oversized();
  if (prepared.failed()) return prepared.error();
  return value;
}

// The number of the last occurrence.
Result<int> last_occurrence(FieldBuffer buffer, FieldKey key) {
  const int occurrences = count(buffer, key);
  if (occurrences == 0) return Error{FBENOENT};
  return occurrences - 1;
}

Outcome read(FieldBuffer buffer, FieldKey key, int nth, void* dest, int* len) {
  const Record record = find(buffer, key, nth);
  if (!record) return Error{FBENOENT};
  int unlimited = 0;
  return copy_out(record, dest, len ? len : &unlimited);
}

Outcome read_as(FieldBuffer buffer, FieldKey key, int nth, int totype, void* dest, int* len) {
  const Record record = find(buffer, key, nth);
  if (!record) return Error{FBENOENT};
  int unlimited = 0;
  return convert_stored(record, totype, dest, len ? *len : unlimited);
}

// Reads into a block from the heap, which becomes the caller's. It is told to have the bytes that the value is taken to
// need and the extra ones, and the copy is limited to these; but it has at least those that a copy can write.
template <class Copy>
Result<void*> read_into_block(std::int64_t taken, std::int64_t written, int* extra, Copy copy) {
  const std::int64_t size = taken + (extra ? *extra : 0);
  if (size < 0 || size > INT_MAX) return Error{FBEMALLOC};
  HeapPtr<void> block = heap_alloc(std::max({size, written, std::int64_t{1}}));
  if (!block) return Error{FBEMALLOC};
  int limit = static_cast<int>(size);
  const Outcome copied = copy(block.get(), limit);
  if (copied.failed()) return copied.error();
  if (extra) *extra = static_cast<int>(size);
  return block.release();
}

// Bytes that a copy of the value writes when nothing limits it.
std::int64_t copied_length(Record record) {
  const std::int64_t length = record.value_length();
  if (record.type() == kString) return length + 1;
  return std::max(length, std::int64_t{native_length(record.type())});
}

// The same for its conversion; of a number's texts that of the longest.
std::int64_t converted_length(Record record, int totype) {
  if (native_length(totype)) return native_length(totype);
  return native_length(record.type()) ? scratch::kNumberText : receiving_length(totype, record);
}

Result<void*> read_allocated(FieldBuffer buffer, FieldKey key, int nth, int* extra) {
  const Record record = find(buffer, key, nth);
  if (!record) return Error{FBENOENT};
  if (!type_known(record.type())) return Error{FBEBADFLD};
  return read_into_block(record.value_length(), copied_length(record), extra,
                         [record](void* block, int& limit) { return copy_out(record, block, &limit); });
}

Result<void*> read_allocated_as(FieldBuffer buffer, FieldKey key, int nth, int totype, int* extra) {
  const Record record = find(buffer, key, nth);
  if (!record) return Error{FBENOENT};
  if (!type_known(totype)) return Error{FBEBADFLD};
  return read_into_block(
      receiving_length(totype, record), converted_length(record, totype), extra,
      [record, totype](void* block, int& limit) { return convert_stored(record, totype, block, limit); });
}

Result<long> read_long(FieldBuffer buffer, FieldKey key, int nth) {
  const int type = key.type();
  if (type != kShort && type != kInt && type != kLong) return Error{FBETYPE};
  const Record record = find(buffer, key, nth);
  if (!record) return Error{FBENOENT};
  if (type == kShort) return long{load<std::uint16_t>(record.value())};
  return long{load<std::uint32_t>(record.value())};
}

}  // namespace

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

extern "C" int fbchg_tu(void* buf, int key, int nth, const void* value, int len) {
  static constexpr ApiTexts texts{"fbchg_tu", "fbchg_tu(%#x, %d, %d, %#x, %d)", "fbchg_tu = %d",
                                  "fbchg_tu = %d [%d : %s]"};
  const FbCall call{texts, buf, key, nth, value, len};
  if (!buf) return call.fail_as("fbchg_tu = -1 [%d : %s]", FBEINVAL);
  const Outcome changed = change(FieldBuffer{buf}, FieldKey{key}, nth, Value{value, len});
  return changed ? call.done(changed.value()) : call.fail_with(-1, changed.code());
}

extern "C" int fbchg_tut(void* buf, int key, int nth, const void* value, int len, int type) {
  static constexpr ApiTexts texts{"fbchg_tut", "fbchg_tut(%#x, %d, %d, %#x, %d, %d)", "fbchg_tut = %d",
                                  "fbchg_tut = %d [%d : %s]"};
  static constexpr const char* kNothingTried = "fbchg_tut = -1 [%d : %s]";
  const FbCall call{texts, buf, key, nth, value, len, type};
  if (!buf) return call.fail_as(kNothingTried, FBEINVAL);
  const FieldKey field{key};
  const Result<Value> converted = as_type_of(field, Value{value, len}, type);
  if (converted.failed()) return call.fail_as(kNothingTried, converted.code());
  const Outcome changed = change(FieldBuffer{buf}, field, nth, converted.value());
  scratch::release_oversized();
  return changed ? call.done(changed.value()) : call.fail_with(-1, changed.code());
}

// Keys without occurrences do not fail the call; the error code is that of the last key.
extern "C" int fbdelall_tu(void* buf, const int* keys) {
  static constexpr ApiTexts texts{"fbdelall_tu", "fbdelall_tu(%#x, %#x)", "fbdelall_tu = %d",
                                  "fbdelall_tu = -1 [%d : %s]"};
  const FbCall call{texts, buf, keys};
  if (!buf || !keys) return call.fail(FBEINVAL);
  int erased = 0;
  for (; *keys != 0; ++keys) {
    const Result<int> occurrences = erase_all(FieldBuffer{buf}, FieldKey{*keys});
    fberror = occurrences.code();
    erased += occurrences.value();
  }
  return call.done(erased);
}

extern "C" void* fbgetval_last_tu(const void* buf, int key, int* occ, int* len) {
  static constexpr ApiTexts texts{"fbgetval_last_tu", "fbgetval_last_tu(%#x, %d, %#x, %#x)", "fbgetval_last_tu = %#x",
                                  "fbgetval_last_tu = NULL [%d : %s]"};
  const FbCall call{texts, buf, key, occ, len};
  if (!buf) return call.fail(FBEINVAL);
  const Result<int> last = last_occurrence(FieldBuffer{buf}, FieldKey{key});
  if (last.failed()) return call.fail(last.code());
  if (occ) *occ = last.value();
  const Record record = find(FieldBuffer{buf}, FieldKey{key}, last.value());
  if (len) *len = told_length(record);
  return call.done(static_cast<void*>(record.value()));
}

extern "C" int fbget_tu(const void* buf, int key, int nth, void* dest, int* len) {
  static constexpr ApiTexts texts{"fbget_tu", "fbget_tu(%#x, %d, %d, %#x, %#x)", "fbget_tu = %d",
                                  "fbget_tu = NULL [%d : %s]"};
  const FbCall call{texts, buf, key, nth, dest, len};
  if (!buf) return call.fail(FBEINVAL);
  return call.finish(read(FieldBuffer{buf}, FieldKey{key}, nth, dest, len));
}

extern "C" int fbget_tut(const void* buf, int key, int nth, void* dest, int* len, int type) {
  static constexpr ApiTexts texts{"fbget_tut", "fbget_tut(%#x, %d, %d, %#x, %#x, %d)", "fbget_tut = %d",
                                  "fbget_tut = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, nth, dest, len, type};
  if (!buf) return call.fail(FBEINVAL);
  return call.finish(read_as(FieldBuffer{buf}, FieldKey{key}, nth, type, dest, len));
}

extern "C" int fbgett(const void* buf, int key, void* value, int* len, int type) {
  static constexpr ApiTexts texts{"fbgett", "fbgett(%#x, %d, %#x, %#x, %d)", "fbgett = %d ", "fbgett = %d [%d : %s]"};
  const FbCall call{texts, buf, key, value, len, type};
  if (!buf) return call.fail_with(-1, FBEINVAL);
  const Outcome converted = read_as(FieldBuffer{buf}, FieldKey{key}, 0, type, value, len);
  return converted ? call.done(converted.value()) : call.fail_with(-1, converted.code());
}

extern "C" int fbgetlast_tu(const void* buf, int key, int* occ, void* dest, int* len) {
  static constexpr ApiTexts texts{"fbgetlast_tu", "fbgetlast_tu(%#x, %d, %#x, %#x, %#x)", "fbgetlast_tu = %d",
                                  "fbgetlast_tu = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, occ, dest, len};
  if (!buf) return call.fail(FBEINVAL);
  const Result<int> last = last_occurrence(FieldBuffer{buf}, FieldKey{key});
  if (last.failed()) return call.fail(last.code());
  if (occ) *occ = last.value();
  const Outcome copied = read(FieldBuffer{buf}, FieldKey{key}, last.value(), dest, len);
  return copied ? call.done(copied.value()) : call.fail_as("fbgetlast_tu = n [%d : %s]", copied.code());
}

extern "C" void* fbgetalloc_tu(const void* buf, int key, int nth, int* extra) {
  static constexpr ApiTexts texts{"fbgetalloc_tu", "fbgetalloc_tu(%#x, %d, %d, %#x)", "fbgetalloc_tu = %#x",
                                  "fbgetalloc_tu = NULL [%d : %s]"};
  const FbCall call{texts, buf, key, nth, extra};
  if (!buf) return call.fail(FBEINVAL);
  return call.finish(read_allocated(FieldBuffer{buf}, FieldKey{key}, nth, extra));
}

extern "C" void* fbgetalloc_tut(const void* buf, int key, int nth, int type, int* extra) {
  static constexpr ApiTexts texts{"fbgetalloc_tut", "fbgetalloc_tut(%#x, %d, %d, %d, %#x)", "fbgetalloc_tut = %#x",
                                  "fbgetalloc_tut = NULL [%d : %s]"};
  const FbCall call{texts, buf, key, nth, type, extra};
  if (!buf) return call.fail(FBEINVAL);
  return call.finish(read_allocated_as(FieldBuffer{buf}, FieldKey{key}, nth, type, extra));
}

// An absent string is the empty one, and no failure.
extern "C" char* fbgetvals_tu(const void* buf, int key, int nth) {
  static constexpr ApiTexts texts{"fbgetvals_tu", "fbgetvals_tu(%#x, %d, %d)", "fbgetvals_tu = %#x", nullptr};
  static char empty[1];
  const FbCall call{texts, buf, key, nth};
  if (!buf) fberror = FBEINVAL;
  const FieldKey field{key};
  const Record record = buf && field.type() == kString ? find(FieldBuffer{buf}, field, nth) : Record{};
  empty[0] = '\0';
  return record ? call.done(record.value()) : call.done_as("fbgetvals_tu = \"\"", static_cast<char*>(empty));
}

extern "C" long fbgetvall_tu(const void* buf, int key, int nth) {
  static constexpr ApiTexts texts{"fbgetvall_tu", "fbgetvall_tu(%#x, %d, %d)", "fbgetvall_tu = %d",
                                  "fbgetvall_tu = 0 [%d : %s]"};
  const FbCall call{texts, buf, key, nth};
  if (!buf) return call.fail_giving(0L, FBEINVAL);
  const Result<long> number = read_long(FieldBuffer{buf}, FieldKey{key}, nth);
  return number ? call.done(number.value()) : call.fail_giving(0L, number.code());
}

extern "C" int getFerror() { return fberror; }
