// Values of field records, in and out.
#include "fb/fbcommon3.h"

#include <algorithm>

#include "fb/copyout.h"
#include "fb/fberror.h"

namespace vxa::fb {

namespace {

template <class T>
bool same(const void* one, const void* other) {
  return load<T>(one) == load<T>(other);
}

void copy_fixed(void* to, const void* from, int type) {
  switch (fixed_length(type)) {
    case 1:
      return store(to, load<std::uint8_t>(from));
    case 2:
      return store(to, load<std::uint16_t>(from));
    case 4:
      return store(to, load<std::uint32_t>(from));
    default:
      return store(to, load<std::uint64_t>(from));
  }
}

// The 32 bits of a stored long come back widened without a sign.
std::uint64_t widened(Record record) { return load<std::uint32_t>(record.value()); }

}  // namespace

Outcome copy_out(Record record, void* dest, int* length) {
  const int type = record.type();
  if (!type_known(type)) return Error{FBETYPE};
  if (!dest) return Error{FBEINVAL};
  int unlimited = 0;
  if (type == kString) return copy_out_text(bytes_of(record), dest, length ? *length : unlimited);
  if (type == kCarray) return length ? copy_out_bytes(bytes_of(record), dest, *length) : Outcome{Error{FBEINVAL}};
  if (type == kLong)
    store(dest, widened(record));
  else
    copy_fixed(dest, record.value(), type);
  return success();
}

bool is_null(Record record) {
  const char* value = record.value();
  switch (record.type()) {
    case kChar:
    case kString:
      return *value == 0;
    case kShort:
      return load<std::int16_t>(value) == 0;
    case kInt:
    case kLong:
      return load<std::int32_t>(value) == 0;
    case kFloat:
      return load<float>(value) == 0;
    case kDouble:
      return load<double>(value) == 0;
    case kCarray:
      return record.carray_length() == 0;
    default:
      return true;
  }
}

bool equals(Record record, Value value) {
  const char* stored = record.value();
  switch (record.type()) {
    case kChar:
      return same<char>(stored, value.at);
    case kShort:
      return same<std::int16_t>(stored, value.at);
    case kInt:
      return same<std::int32_t>(stored, value.at);
    case kLong:
      return widened(record) == load<std::uint64_t>(value.at);
    case kFloat:
      return same<float>(stored, value.at);
    case kDouble:
      return same<double>(stored, value.at);
    case kString:
      return std::strcmp(stored, static_cast<const char*>(value.at)) == 0;
    case kCarray: {
      const std::int64_t shorter = std::clamp(std::int64_t{value.length}, std::int64_t{0}, record.value_length());
      return std::memcmp(stored, value.at, static_cast<std::size_t>(shorter)) == 0;
    }
    default:
      return false;
  }
}

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

namespace {

Record record_at(const void* rec) { return Record{static_cast<char*>(const_cast<void*>(rec))}; }

int reported(Outcome outcome) {
  if (outcome.failed()) fberror = outcome.code();
  return outcome.failed() ? -1 : 1;
}

}  // namespace

extern "C" int _put_fld_to_fbuf(void* rec, int key, const void* value, int len, int longsize) {
  const FieldKey field{key};
  const Value given{value, len};
  const Outcome checked = check_value(field, given);
  if (checked)
    write_record(static_cast<char*>(rec), field, value, stored_length(field.type(), given),
                 longsize ? LongForm::Native : LongForm::Stored);
  return reported(checked);
}

extern "C" int _get_fbval_to_usrloc(const void* rec, void* value, int* len) {
  return reported(copy_out(record_at(rec), value, len));
}

extern "C" int _is_value_null(const void* rec) { return is_null(record_at(rec)) ? 1 : 0; }

extern "C" int _value_comp(const void* rec, const void* value, int len) {
  return equals(record_at(rec), Value{value, len}) ? 0 : 1;
}
