// The two converters, cell by cell: native values by fbtypecvt, stored records by _typcvt_update; their shared scratch
// area; the length rules.
#include "fb/fbtconv.h"

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <memory>
#include <optional>

#include "fb/scratch.h"
#include "tests/support/field_test.h"

namespace {

using Byte = signed char;

// The bytes of a number as they lie in memory.
template <class Number>
std::string of(Number value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

// What a value is as each of the eight types; the string without its terminator, and a carray of the same bytes where
// none is given.
struct Row {
  const char* what;
  int type;
  std::string source;
  Byte as_char;
  short as_short;
  int as_int;
  long as_long;
  float as_float;
  double as_double;
  std::string as_string;
  std::optional<std::string> as_carray = {};

  std::string expected(int target) const {
    const std::string images[] = {of(as_char),  of(as_short),  of(as_int),       of(as_long),
                                  of(as_float), of(as_double), as_string + '\0', as_carray.value_or(as_string)};
    return images[target - 1];
  }
};

using namespace std::string_literals;
const std::string kSplit = "4\0002"s;

const Row kNativeRows[] = {
    {"char -1", FB_CHAR, of(Byte{-1}), -1, -1, -1, -1, -1, -1, "\xff"},
    {"NUL", FB_CHAR, of('\0'), 0, 0, 0, 0, 0, 0, ""},
    {"short -1", FB_SHORT, of(short{-1}), -1, -1, -1, -1, -1, -1, "-1"},
    {"short 0x1234", FB_SHORT, of(short{0x1234}), 0x34, 4660, 4660, 4660, 4660, 4660, "4660"},
    {"int 0x1fedc", FB_INT, of(0x1fedc), -36, -292, 130780, 130780, 130780, 130780, "130780"},
    {"long 2^32+1", FB_LONG, of(4294967297L), 1, 1, 1, 4294967297L, 4294967296.f, 4294967297., "4294967297"},
    {"long -1", FB_LONG, of(-1L), -1, -1, -1, -1, -1, -1, "-1"},
    {"float 3.99", FB_FLOAT, of(3.99f), 3, 3, 3, 3, 3.99f, static_cast<double>(3.99f), "3.990000"},
    {"float 2^33", FB_FLOAT, of(8589934592.f), 0, 0, INT_MIN, 8589934592L, 8589934592.f, 8589934592.,
     "8589934592.000000"},
    {"double 70000.1", FB_DOUBLE, of(70000.1), 112, 4464, 70000, 70000, 70000.1f, 70000.1, "70000.100000"},
    {"double -2^31-0.5", FB_DOUBLE, of(-2147483648.5), 0, 0, INT_MIN, -2147483648L, -2147483648.f, -2147483648.5,
     "-2147483648.500000"},
    {"double 1e30", FB_DOUBLE, of(1e30), 0, 0, INT_MIN, LONG_MIN, 1e30f, 1e30,
     "1000000000000000019884624838656.000000"},
    {"12abc", FB_STRING, "12abc\0"s, '1', 12, 12, 12, 12, 12, "12abc"},
    {" -7", FB_STRING, " -7\0"s, ' ', -7, -7, -7, -7, -7, " -7"},
    {"2^32+1", FB_STRING, "4294967297\0"s, '4', 1, 1, 1, 4294967296.f, 4294967297., "4294967297"},
    {"2^31+2^16-2", FB_STRING, "2147549182\0"s, '2', -2, -2147418114, -2147418114L, 2147549184.f, 2147549182.,
     "2147549182"},
    {"past long", FB_STRING, "99999999999999999999\0"s, '9', -1, -1, -1, 1e20f, 1e20, "99999999999999999999"},
    {"above a tie", FB_STRING, "1.0000000596046447753906250001\0"s, '1', 1, 1, 1, 1.f, 1.000000059604644775390625,
     "1.0000000596046447753906250001"},
    {"2.5e1", FB_CARRAY, "2.5e1", '2', 2, 2, 2, 25, 25, "2.5e1"},
    {"4 NUL 2", FB_CARRAY, kSplit, '4', 4, 4, 4, 4, 4, "4", kSplit},
};

TEST(NativeConversion, MatrixCellByCell) {
  for (const Row& row : kNativeRows) {
    for (int target = FB_CHAR; target <= FB_CARRAY; ++target) {
      SCOPED_TRACE(testing::Message() << row.what << " to type " << target);
      int length = -1;
      const void* value = fbtypecvt(&length, target, row.source.data(), row.type, static_cast<int>(row.source.size()));
      ASSERT_NE(value, nullptr);
      EXPECT_EQ(std::string(static_cast<const char*>(value), static_cast<std::size_t>(length)), row.expected(target));
      EXPECT_EQ(fberror, 0);
    }
  }
}

TEST(NativeConversion, TextThatNeedsNoChangeIsTheSourceItself) {
  int length = 0;
  const char text[] = "abc";
  EXPECT_EQ(fbtypecvt(&length, FB_STRING, text, FB_STRING, 0), text);
  EXPECT_EQ(fbtypecvt(&length, FB_CARRAY, text, FB_STRING, 0), text);
  EXPECT_EQ(fbtypecvt(&length, FB_CARRAY, text, FB_CARRAY, 2), text);
  EXPECT_EQ(length, 2);
  EXPECT_EQ(fbtypecvt(&length, FB_STRING, text, FB_CARRAY, 2), st);
}

TEST(NativeConversion, RefusesInTheOrderOfItsChecks) {
  int length = 77;
  const int number = 5;
  expect_refusals({{"fbtypecvt = NULL", FBEINVAL, [&] { fbtypecvt(&length, 9, "x", FB_CARRAY, 0); }},
                   {"fbtypecvt = NULL", FBENOSPACE, [&] { fbtypecvt(&length, 9, "x", FB_CARRAY, INT_MAX); }},
                   {"fbtypecvt = NULL", FBEBADFLD, [&] { fbtypecvt(&length, 9, &number, 9, 4); }},
                   {"fbtypecvt = NULL", FBEBADFLD, [&] { fbtypecvt(&length, 0, &number, FB_INT, 4); }},
                   {"fbtypecvt = NULL", FBETYPE, [&] { fbtypecvt(&length, FB_STRING, &number, 9, 4); }},
                   {"fbtypecvt = NULL", FBEINVAL, [&] { fbtypecvt(nullptr, FB_INT, nullptr, FB_STRING, 4); }}});
  EXPECT_EQ(length, 77);
  expect_refusals({{"fbtypecvt = NULL", FBETYPE, [&] { fbtypecvt(&length, FB_LONG, &number, 0, 4); }}});
  EXPECT_EQ(length, 8) << "a number's length is told before the source's type is tested";
}

TEST(NativeConversion, TracesTheValueByItsType) {
  const double number = 65.25;
  const std::string shown[] = {"'A'", "65", "65", "65", "65.250000", "65.250000", "\"65.250000\""};
  for (int target = FB_CHAR; target <= FB_STRING; ++target) {
    const host::Tracing tracing;
    EXPECT_NE(fbtypecvt(nullptr, target, &number, FB_DOUBLE, 3), nullptr);
    EXPECT_EQ(host::take_trace().back(), (TraceEvent{"fbtypecvt", 2, "fbtypecvt = " + shown[target - 1]}));
  }
}

TEST(ScratchArea, HoldsAnOversizedResultAndIsReleasedByTheNextOtherOne) {
  constexpr int size = 2 << 20;
  const std::string large(size, 'x');
  int length = 0;
  EXPECT_EQ(fbtypecvt(&length, FB_STRING, large.data(), FB_CARRAY, size), st);
  EXPECT_EQ(length, size + 1);
  EXPECT_EQ(st_len, size + 1);
  EXPECT_EQ(large, st);
  const int number = 7;
  EXPECT_STREQ(static_cast<char*>(fbtypecvt(&length, FB_STRING, &number, FB_INT, 4)), "7");
  EXPECT_EQ(st_len, size + 1) << "the result lies in it";
  const struct {
    int target, source, size, area;
  } kNext[] = {{FB_LONG, FB_INT, 4, 0},           {FB_INT, FB_CARRAY, size, 0},
               {FB_STRING, FB_INT, 4, 65535},     {FB_INT, FB_CARRAY, 65534, 65535},
               {FB_INT, FB_CARRAY, 65535, 65536}, {FB_STRING, FB_CARRAY, 1048575, 1048576}};
  for (const auto& [target, source, bytes, area] : kNext) {
    fbtypecvt(&length, target, large.data(), source, bytes);
    EXPECT_EQ(std::pair(st_len, st == nullptr), std::pair(area, area == 0)) << bytes;
  }
  _free_large_carray_buf();
  EXPECT_EQ(st_len, 1 << 20) << "1 MiB is not oversized";
}

TEST(ScratchArea, TakesASourceThatLiesInIt) {
  int length = 0;
  const int number = 12345;
  const char* digits = static_cast<char*>(fbtypecvt(&length, FB_CARRAY, &number, FB_INT, 4));
  EXPECT_STREQ(static_cast<char*>(fbtypecvt(&length, FB_STRING, digits + 1, FB_CARRAY, 3)), "234");
}

// A stored record of field 1, in the memory that a converter may read and no byte more.
class Stored {
 public:
  Stored(int type, const std::string& value) {
    const std::uint32_t key = static_cast<std::uint32_t>(type) << 26 | 1;
    const auto size = static_cast<std::uint32_t>(value.size());
    std::string bytes = of(key) + (type == FB_DOUBLE ? of(0) : type == FB_CARRAY ? of(size) : "") + value;
    if (type == FB_STRING) bytes += '\0';
    block_.reset(new char[bytes.size()]);
    std::memcpy(block_.get(), bytes.data(), bytes.size());
  }
  const void* record() const { return block_.get(); }

 private:
  std::unique_ptr<char[]> block_;
};

const Row kStoredRows[] = {
    {"char -1", FB_CHAR, of(Byte{-1}), -1, -1, -1, -1, -1, -1, "\xff"},
    {"NUL", FB_CHAR, of('\0'), 0, 0, 0, 0, 0, 0, ""},
    {"short -1", FB_SHORT, of(short{-1}), -1, -1, 65535, 65535, 65535, 65535, "65535"},
    {"int -1", FB_INT, of(-1), -1, -1, -1, 4294967295L, 4294967296.f, 4294967295., "-1"},
    {"long -5", FB_LONG, of(-5), -5, -5, -5, 4294967291L, 4294967296.f, 4294967291., "-5"},
    {"long 70000", FB_LONG, of(70000), 112, 4464, 70000, 70000, 70000, 70000, "70000"},
    {"float -3e9", FB_FLOAT, of(-3e9f), 0, 0, INT_MIN, -3000000000L, -3e9f, -3e9, "-3000000000", "-3000000000.000000"},
    {"double 1.5", FB_DOUBLE, of(1.5), 1, 1, 1, 1, 1.5, 1.5, "1.5", "1.500000"},
    {"double -0.25", FB_DOUBLE, of(-0.25), 0, 0, 0, 0, -0.25, -0.25, "-0.25", "-0.250000"},
    {"double inf", FB_DOUBLE, of(HUGE_VAL), 0, 0, INT_MIN, LONG_MIN, HUGE_VALF, HUGE_VAL, "inf"},
    {"12abc", FB_STRING, "12abc", '1', 12, 12, 12, 12, 12, "12abc"},
    {"3e9", FB_STRING, "3000000000", '3', 24064, -1294967296, -1294967296L, 3e9f, 3e9, "3000000000"},
    {"empty string", FB_STRING, "", 0, 0, 0, 0, 0, 0, ""},
    {"carray 2.5", FB_CARRAY, "2.5", '2', 2, 2, 2, 2.5, 2.5, "2.5"},
    {"4 NUL 2", FB_CARRAY, kSplit, '4', 4, 4, 4, 4, 4, kSplit, kSplit},
    {"empty carray", FB_CARRAY, "", 0, 0, 0, 0, 0, 0, "", ""},
};

TEST(StoredConversion, MatrixCellByCell) {
  const Semantics none(nullptr);
  for (const Row& row : kStoredRows) {
    const Stored stored(row.type, row.source);
    for (int target = FB_CHAR; target <= FB_CARRAY; ++target) {
      SCOPED_TRACE(testing::Message() << row.what << " to type " << target);
      std::string out(64, '#');
      int length = 0;
      ASSERT_EQ(_typcvt_update(out.data(), target, &length, stored.record()), 1);
      const std::string expected = row.expected(target);
      EXPECT_EQ(length, static_cast<int>(expected.size()));
      EXPECT_EQ(out, expected + std::string(64 - expected.size(), '#')) << "and nothing is written behind it";
    }
  }
}

TEST(StoredConversion, LongestNumberIsPrintedAside) {
  const Semantics refusing("FDL_LEN=ERR");
  const Stored stored(FB_DOUBLE, of(-DBL_MAX));
  char out[400] = "untouched";
  int length = 310;
  EXPECT_EQ(refusal(_typcvt_update(out, FB_CARRAY, &length, stored.record())), FBENOSPACE);
  EXPECT_EQ(length, 317) << "a sign, 309 digits, a point and six decimals";
  EXPECT_STREQ(out, "untouched");
  EXPECT_EQ(_typcvt_update(out, FB_STRING, &length, stored.record()), 1);
  EXPECT_EQ(length, 311);
  EXPECT_EQ(std::strlen(out), 310u);
}

// A value of five bytes, stored in several types, read into an area of each length that was filled with '#'.
TEST(StoredConversion, LengthRules) {
  const struct {
    int target;
    const char* policy;
    int wanted, result, length;
    const char* bytes;  // an underscore stands for the terminator
  } kReads[] = {
      {FB_STRING, nullptr, 3, 1, 6, "12345_##"},         {FB_STRING, "FDL_LEN=OLD", 3, 1, 6, "12345_##"},
      {FB_STRING, "FDL_LEN=TRU", 6, 1, 6, "12345_##"},   {FB_STRING, "FDL_LEN=TRU", 5, 1, 5, "1234_###"},
      {FB_STRING, "FDL_LEN=TRU", 1, 1, 1, "_#######"},   {FB_STRING, "FDL_LEN=TRU", 0, 1, 6, "12345_##"},
      {FB_STRING, "FDL_LEN=TRU", -1, -1, 6, "########"}, {FB_STRING, "FDL_LEN=ERR", 5, -1, 6, "########"},
      {FB_STRING, "FDL_LEN=ERR", 6, 1, 6, "12345_##"},   {FB_STRING, "FDL_LEN=ERR", 0, 1, 6, "12345_##"},
      {FB_CARRAY, nullptr, 3, 1, 5, "12345###"},         {FB_CARRAY, "FDL_LEN=TRU", 4, 1, 4, "1234####"},
      {FB_CARRAY, "FDL_LEN=TRU", 5, 1, 5, "12345###"},   {FB_CARRAY, "FDL_LEN=TRU", 0, 1, 5, "12345###"},
      {FB_CARRAY, "FDL_LEN=TRU", -1, -1, 5, "########"}, {FB_CARRAY, "FDL_LEN=ERR", 4, -1, 5, "########"},
      {FB_CARRAY, "FDL_LEN=ERR", 5, 1, 5, "12345###"},
  };
  for (const auto& read : kReads) {
    const Semantics policy(read.policy);
    for (const Stored& stored : {Stored(FB_STRING, "12345"), Stored(FB_CARRAY, "12345"), Stored(FB_INT, of(12345))}) {
      SCOPED_TRACE(testing::Message() << read.target << ' ' << (read.policy ? read.policy : "none") << ' '
                                      << read.wanted);
      std::string out(8, '#');
      int length = read.wanted;
      EXPECT_EQ(_typcvt_update(out.data(), read.target, &length, stored.record()), read.result);
      EXPECT_EQ(length, read.length);
      std::replace(out.begin(), out.end(), '\0', '_');
      EXPECT_EQ(out, read.bytes);
    }
  }
}

TEST(StoredConversion, RefusesBadTypesAndReleasesAnOversizedArea) {
  char out[8];
  int length = 77;
  const Stored unknown(9, of(1));
  EXPECT_EQ(refusal(_typcvt_update(out, 0, &length, unknown.record())), FBEBADFLD);
  EXPECT_EQ(length, 77);
  EXPECT_EQ(refusal(_typcvt_update(out, FB_LONG, &length, unknown.record())), FBETYPE);
  EXPECT_EQ(length, 8);
  EXPECT_EQ(refusal(_typcvt_update(nullptr, FB_LONG, &length, Stored(FB_INT, of(1)).record())), FBEINVAL);
  const Stored large(FB_CARRAY, std::string(2 << 20, '8'));
  EXPECT_EQ(_typcvt_update(out, FB_CHAR, nullptr, large.record()), 1);
  EXPECT_EQ(out[0], '8');
  EXPECT_EQ(st_len, 0);
}

}  // namespace
