// The calls that store, read and search fields as another type than their keys declare.
#include "fb/fberror.h"
#include "fb/fbtconv.h"
#include "fb/fields.h"
#include "fb/scratch.h"

namespace vxa::fb {

Result<Value> value_as(const void* buf, FieldKey key, int nth, int totype) {
  if (!buf) return Error{FBEINVAL};
  const Record record = find(FieldBuffer{buf}, key, nth);
  if (!record) return Error{FBENOENT};
  const int fromtype = record.type() == kLong ? int{kInt} : record.type();
  return convert(totype, fromtype, Value{record.value(), static_cast<int>(record.value_length())});
}

namespace {

Outcome fetch_as(FieldBuffer buffer, FieldKey key, int totype, void* dest, int& length, int& position) {
  const Record record = find_from(buffer, key, 0, position);
  if (!record) return Error{FBENOENT};
  const Outcome converted = convert_stored(record, totype, dest, length);
  if (converted) consume(buffer, record);
  return converted;
}

}  // namespace

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

extern "C" int fbputt(void* buf, int key, const void* value, int len, int type) {
  static constexpr ApiTexts texts{"fbputt", "fbputt(%#x, %d, %#x, %d, %d)", "fbputt = %d", "fbputt = %d [%d : %s]"};
  const FbCall call{texts, buf, key, value, len, type};
  const FieldKey field{key};
  const Result<Value> converted = convert(field.type(), type, Value{value, len});
  if (converted.failed()) return call.fail_as("fbputt = -1 [%d : %s]", converted.code());
  const Outcome stored = buf ? put(FieldBuffer{buf}, field, converted.value()) : Outcome{Error{FBEINVAL}};
  scratch::release_oversized();
  return stored ? call.done(stored.value()) : call.fail_with(-1, stored.code());
}

extern "C" void* fbgetvalt(const void* buf, int key, int nth, int* len, int type) {
  static constexpr ApiTexts texts{"fbgetvalt", "fbgetvalt(%#x, %d, %d, %#x, %d)", "fbgetvalt = %#x",
                                  "fbgetvalt = NULL [%d : %s]"};
  const FbCall call{texts, buf, key, nth, len, type};
  const Result<Value> value = value_as(buf, FieldKey{key}, nth, type);
  if (value.failed()) return call.fail(value.code());
  if (len) *len = value.value().length;
  return call.done(const_cast<void*>(value.value().at));
}

extern "C" int fbgetntht(const void* buf, int key, const void* value, int len, int type) {
  static constexpr ApiTexts texts{"fbgetntht", "fbgetntht(%#x, %d, %#x, %d, %d)", "fbgetntht = %d",
                                  "fbgetntht = %d [%d : %s]"};
  const FbCall call{texts, buf, key, value, len, type};
  const FieldKey field{key};
  const Result<Value> converted = convert(field.type(), type, Value{value, len});
  if (converted.failed()) return call.fail_as("fbgetntht = -1 [%d : %s]", converted.code());
  const Result<int> found = buf ? find_value(FieldBuffer{buf}, field, converted.value()) : Result<int>{Error{FBEINVAL}};
  scratch::release_oversized();
  return found && found.value() >= 0 ? call.done(found.value()) : call.fail_with(-1, found.code());
}

extern "C" int fbgetc(void* buf, int key, void* value, int* len, int* pos, int type) {
  static constexpr ApiTexts texts{"fbgetc", "fbgetc(%#x, %d, %#x, %#x, %#x, %d)", "fbgetc = %d",
                                  "fbgetc = -1 [%d : %s]"};
  const FbCall call{texts, buf, key, value, len, pos, type};
  if (!buf || !pos) return call.fail(FBEINVAL);
  int length = len ? *len : 0;
  const Outcome fetched = fetch_as(FieldBuffer{buf}, FieldKey{key}, type, value, length, *pos);
  if (len) *len = length;
  return call.finish(fetched);
}

// The next two report a failure as a return; the error code alone tells.

extern "C" char* fbgetvals(const void* buf, int key, int nth) {
  static constexpr ApiTexts texts{"fbgetvals", "fbgetvals(%#x, %d, %d)", "fbgetvals = %#x", nullptr};
  const FbCall call{texts, buf, key, nth};
  const Result<Value> text = value_as(buf, FieldKey{key}, nth, kString);
  fberror = text.code();
  return call.done(static_cast<char*>(const_cast<void*>(text.value().at)));
}

extern "C" int fbgetvali(const void* buf, int key, int nth) {
  static constexpr ApiTexts texts{"fbgetvali", "fbgetvali(%#x, %d, %d)", "fbgetvali = %d", nullptr};
  const FbCall call{texts, buf, key, nth};
  const Result<Value> number = value_as(buf, FieldKey{key}, nth, kInt);
  fberror = number.code();
  return number ? call.done(load<int>(number.value().at)) : call.done_as("fbgetvali = 0", 0);
}
