// Conversion of stored records into the caller's area.
#include "fb/copyout.h"
#include "fb/fberror.h"
#include "fb/fbtconv.h"
#include "fb/numbers.h"
#include "fb/scratch.h"

namespace vxa::fb {

namespace {

// Integers as the matrix reads them: a stored short or int by its bit pattern, widened without its sign. A stored long
// is an int.
using StoredShort = std::uint16_t;
using StoredInt = std::uint32_t;

struct Area {
  void* at;
  int& length;
};

const char* copied(Record carray) { return scratch::copy(carray.value(), carray.carray_length()).data(); }

// "1.500000" to "1.5" and "2.000000" to "2"; a text without a point stays.
std::string_view without_trailing_zeros(std::string_view text) {
  if (text.find('.') == text.npos) return text;
  while (text.ends_with('0')) text.remove_suffix(1);
  if (text.ends_with('.')) text.remove_suffix(1);
  return text;
}

// The cells of the matrix. A carray, which may be empty, becomes a number by way of its terminated copy.
using Cell = Outcome (*)(Record stored, const Area& out);

template <class From, class To>
Outcome number(Record stored, const Area& out) {
  store(out.at, number_as<To>(load<From>(stored.value())));
  return success();
}
template <class From>
Outcome text(Record stored, const Area& out) {
  return copy_out_text(scratch::print(load<From>(stored.value())), out.at, out.length);
}
template <class From>
Outcome trimmed_text(Record stored, const Area& out) {
  return copy_out_text(without_trailing_zeros(scratch::print(load<From>(stored.value()))), out.at, out.length);
}
template <class From>
Outcome bytes(Record stored, const Area& out) {
  return copy_out_bytes(scratch::print(load<From>(stored.value())), out.at, out.length);
}
template <class To>
Outcome parsed(Record stored, const Area& out) {
  store(out.at, parsed_as<To>(stored.value()));
  return success();
}
template <class To>
Outcome parsed_copy(Record stored, const Area& out) {
  store(out.at, parsed_as<To>(copied(stored)));
  return success();
}
Outcome stored_text(Record stored, const Area& out) { return copy_out_text(bytes_of(stored), out.at, out.length); }
Outcome plain_bytes(Record stored, const Area& out) { return copy_out_bytes(bytes_of(stored), out.at, out.length); }

// clang-format off
// A row per stored type, a column per target type:
// char, short, int, long, float, double, string, carray.
constexpr Cell kCells[8][8] = {
    {number<Char, Char>, number<Char, short>, number<Char, int>, number<Char, long>,
     number<Char, float>, number<Char, double>, text<Char>, bytes<Char>},
    {number<StoredShort, Char>, number<StoredShort, short>, number<StoredShort, int>, number<StoredShort, long>,
     number<StoredShort, float>, number<StoredShort, double>, text<StoredShort>, bytes<StoredShort>},
    {number<StoredInt, Char>, number<StoredInt, short>, number<StoredInt, int>, number<StoredInt, long>,
     number<StoredInt, float>, number<StoredInt, double>, text<int>, bytes<int>},
    {number<StoredInt, Char>, number<StoredInt, short>, number<StoredInt, int>, number<StoredInt, long>,
     number<StoredInt, float>, number<StoredInt, double>, text<int>, bytes<int>},
    {number<float, Char>, number<float, short>, number<float, int>, number<float, long>,
     number<float, float>, number<float, double>, trimmed_text<float>, bytes<float>},
    {number<double, Char>, number<double, short>, number<double, int>, number<double, long>,
     number<double, float>, number<double, double>, trimmed_text<double>, bytes<double>},
    {parsed<Char>, parsed<short>, parsed<int>, parsed<long>,
     parsed<float>, parsed<double>, stored_text, plain_bytes},
    {parsed_copy<Char>, parsed_copy<short>, parsed_copy<int>, parsed_copy<long>,
     parsed_copy<float>, parsed_copy<double>, stored_text, plain_bytes},
};
// clang-format on

Outcome convert_into(Record stored, int totype, const Area& out) {
  const int fromtype = stored.type();
  if (!scratch::reserve(fromtype, fromtype == kCarray ? stored.carray_length() : 0)) return Error{FBENOSPACE};
  if (!type_known(totype)) return Error{FBEBADFLD};
  if (native_length(totype)) out.length = native_length(totype);
  if (!type_known(fromtype)) return Error{FBETYPE};
  if (!out.at) return Error{FBEINVAL};
  return kCells[fromtype - 1][totype - 1](stored, out);
}

}  // namespace

Outcome convert_stored(Record stored, int totype, void* out, int& length) {
  const Outcome outcome = convert_into(stored, totype, Area{out, length});
  scratch::release_oversized();
  return outcome;
}

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

extern "C" int _typcvt_update(void* out, int totype, int* len, const void* rec) {
  int length = len ? *len : 0;
  const Record stored{static_cast<char*>(const_cast<void*>(rec))};
  const Outcome outcome = convert_stored(stored, totype, out, length);
  if (len) *len = length;
  if (outcome.failed()) fberror = outcome.code();
  return outcome.failed() ? -1 : 1;
}
