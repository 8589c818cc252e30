// Conversion of values that the caller holds in their native representation.
#include "fb/fbtconv.h"

#include "fb/fberror.h"
#include "fb/numbers.h"
#include "fb/scratch.h"

namespace vxa::fb {

namespace {

// The result of a conversion to a number: one holder per type, overwritten by each conversion to it.
template <class Number>
Number holder{};

template <class Number>
Value hold(Number value) {
  holder<Number> = value;
  return {&holder<Number>, sizeof value};
}

Value terminated(std::string_view text) { return {text.data(), static_cast<int>(text.size() + 1)}; }

Value unterminated(std::string_view text) { return {text.data(), static_cast<int>(text.size())}; }

const char* characters(Value value) { return static_cast<const char*>(value.at); }

const char* copied(Value bytes) { return scratch::copy(bytes.at, bytes.length).data(); }

// The cells of the matrix. A carray becomes a number or a string by way of its terminated copy; its first byte, which
// is there, makes the char.
using Cell = Value (*)(Value from);

template <class From, class To>
Value number(Value from) {
  return hold(number_as<To>(load<From>(from.at)));
}
template <class From>
Value text(Value from) {
  return terminated(scratch::print(load<From>(from.at)));
}
template <class From>
Value bytes(Value from) {
  return unterminated(scratch::print(load<From>(from.at)));
}
template <class To>
Value parsed(Value from) {
  return hold(parsed_as<To>(characters(from)));
}
template <class To>
Value parsed_copy(Value from) {
  return hold(parsed_as<To>(copied(from)));
}
Value same_string(Value from) { return terminated(characters(from)); }
Value string_bytes(Value from) { return unterminated(characters(from)); }
Value copied_string(Value from) { return terminated(copied(from)); }
Value same_carray(Value from) { return from; }

// clang-format off
// A row per source type, a column per target type:
// char, short, int, long, float, double, string, carray.
constexpr Cell kCells[8][8] = {
    {number<Char, Char>, number<Char, short>, number<Char, int>, number<Char, long>,
     number<Char, float>, number<Char, double>, text<Char>, bytes<Char>},
    {number<short, Char>, number<short, short>, number<short, int>, number<short, long>,
     number<short, float>, number<short, double>, text<short>, bytes<short>},
    {number<int, Char>, number<int, short>, number<int, int>, number<int, long>,
     number<int, float>, number<int, double>, text<int>, bytes<int>},
    {number<long, Char>, number<long, short>, number<long, int>, number<long, long>,
     number<long, float>, number<long, double>, text<long>, bytes<long>},
    {number<float, Char>, number<float, short>, number<float, int>, number<float, long>,
     number<float, float>, number<float, double>, text<float>, bytes<float>},
    {number<double, Char>, number<double, short>, number<double, int>, number<double, long>,
     number<double, float>, number<double, double>, text<double>, bytes<double>},
    {parsed<Char>, parsed<short>, parsed<int>, parsed<long>,
     parsed<float>, parsed<double>, same_string, string_bytes},
    {parsed<Char>, parsed_copy<short>, parsed_copy<int>, parsed_copy<long>,
     parsed_copy<float>, parsed_copy<double>, copied_string, same_carray},
};
// clang-format on

Result<Value> converted(int totype, int fromtype, Value from) {
  if (const Outcome prepared = prepare_conversion(totype, fromtype, from.length); prepared.failed())
    return prepared.error();
  if (!from.at) return Error{FBEINVAL};
  return kCells[fromtype - 1][totype - 1](from);
}

// The value under the trace text of its type.
void* returned(const FbCall& call, int totype, void* value) {
  switch (totype) {
    case kChar:
      return call.done_as("fbtypecvt = '%c'", value, load<Char>(value));
    case kShort:
      return call.done_as("fbtypecvt = %d", value, load<short>(value));
    case kInt:
      return call.done_as("fbtypecvt = %d", value, load<int>(value));
    case kLong:
      return call.done_as("fbtypecvt = %ld", value, trace::WholeLong{load<long>(value)});
    case kFloat:
      return call.done_as("fbtypecvt = %f", value, load<float>(value));
    case kDouble:
      return call.done_as("fbtypecvt = %lf", value, load<double>(value));
    case kString:
      return call.done_as("fbtypecvt = \"%s\"", value, static_cast<const char*>(value));
    default:
      return call.done_as("fbtypecvt = %#x", value, value);
  }
}

}  // namespace

Outcome prepare_conversion(int totype, int fromtype, int fromlen) {
  if (fromtype == kCarray && fromlen < 1) return Error{FBEINVAL};
  if (!scratch::reserve(fromtype, fromlen)) return Error{FBENOSPACE};
  if (!type_known(totype)) return Error{FBEBADFLD};
  if (!type_known(fromtype)) return Error{FBETYPE};
  return success();
}

Result<Value> convert(int totype, int fromtype, Value from) {
  const Result<Value> result = converted(totype, fromtype, from);
  if (result.failed() || !scratch::holds(result.value().at)) scratch::release_oversized();
  return result;
}

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

extern "C" void* fbtypecvt(int* tolen, int totype, const void* from, int fromtype, int fromlen) {
  static constexpr ApiTexts texts{"fbtypecvt", "fbtypecvt(%#x, %d, %#x, %d, %d)", nullptr,
                                  "fbtypecvt = NULL [%d : %s]"};
  const FbCall call{texts, tolen, totype, from, fromtype, fromlen};
  const Result<Value> result = convert(totype, fromtype, Value{from, fromlen});
  // The length of a number is told even where the source's type is then refused.
  if (tolen && result.code() == FBETYPE && native_length(totype)) *tolen = native_length(totype);
  if (result.failed()) return call.fail(result.code());
  if (tolen) *tolen = result.value().length;
  return returned(call, totype, const_cast<void*>(result.value().at));
}
