// The layout helpers and null values under their exported names.
#include "fb/fbcommon.h"

#include "fb/fberror.h"

using namespace vxa;
using namespace vxa::fb;

extern "C" {
const char ncv = 0;
const short nsv = 0;
const int niv = 0;
const long nlv = 0;
const float nfv = 0;
const double ndv = 0;
const char nstv = 0;
const char ncav = 0;
}

namespace vxa::fb {

namespace {

// Bytes that the text of a number is taken to need.
constexpr int kNumberText = 100;

}  // namespace

Value null_value(int type) {
  static const void* const kNullValues[] = {nullptr, &ncv, &nsv, &niv, &nlv, &nfv, &ndv, &nstv, &ncav};
  return {type_known(type) ? kNullValues[type] : nullptr, 0};
}

int receiving_length(int type, Record record) {
  if (!type_known(type) || type <= kDouble) return fixed_length(type);
  const int stored = record.type();
  return stored == kString || stored == kCarray ? static_cast<int>(record.value_length() + 1) : kNumberText;
}

}  // namespace vxa::fb

namespace {

Record record_at(const void* rec) { return Record{static_cast<char*>(const_cast<void*>(rec))}; }
}  // namespace

extern "C" int _calc_falign_len(int length) { return static_cast<int>(align8(std::int64_t{length} + kKeySize)); }

extern "C" int _get_alen_from_type(int type, const void* value, int len) {
  return static_cast<int>(slot_for(type, stored_length(type, Value{value, len})));
}

extern "C" int _get_alen_from_curpos(const void* rec) { return static_cast<int>(record_at(rec).slot_length()); }

extern "C" int _get_fldlen_from_curpos(const void* rec) { return told_length(record_at(rec)); }

extern "C" int _get_fldlen_from_type(int type, const void* rec) {
  const int length = receiving_length(type, record_at(rec));
  if (length < 0) fberror = FBEBADFLD;
  return length;
}

extern "C" void* _get_valuep_from_curpos(const void* rec) { return record_at(rec).value(); }

extern "C" const void* _get_null_value(int type) { return null_value(type).at; }
