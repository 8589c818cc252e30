// Reads of single fields: copies out under the length policy, fetched marks, positions, and search by value.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tests/support/field_buffer.h"
#include "tests/support/host.h"
#include "tests/support/semantics.h"

extern "C" int _get_fbval_to_usrloc(const void* rec, void* value, int* len);

namespace {

using fields::Buffer;
using fields::key;
using fields::kFetched;
using host::bytes;
using namespace fields::sample;

TEST(Get, TakesOneOccurrenceAfterAnother) {
  Buffer buf;
  buf.put(kInt, 1).put(kInt, 2).put(kInt, 3);
  for (const int expected : {1, 2, 3}) {
    int value = 0;
    EXPECT_EQ(fbget(buf, kInt, &value, nullptr), 1);
    EXPECT_EQ(value, expected);
  }
  int value = 0;
  EXPECT_EQ(fbget(buf, kInt, &value, nullptr), -1);
  EXPECT_EQ(fberror, FBENOENT);
  EXPECT_EQ(fbkeyoccur(buf, kInt), 0);
  EXPECT_EQ(fbfldcount(buf), 3);
}

TEST(Get, LeavesTheRestAsTheOccurrences) {
  Buffer buf;
  buf.put(kInt, 1).put(kInt, 2).put(kInt, 3);
  int value = 0;
  fbget(buf, kInt, &value, nullptr);
  EXPECT_THAT(ints(buf, kInt), testing::ElementsAre(2, 3));
  EXPECT_EQ(fbgetnth(buf, kInt, &(value = 3), 0), 1);
  EXPECT_EQ(fbdelete(buf, kInt, 0), 1);
  EXPECT_EQ(buf.records(), bytes("03 00 00 0d 01 00 00 00  03 00 00 0c 03 00 00 00"));
  EXPECT_EQ(fbkeyoccur(buf, kInt | kFetched), 1) << "a marked key names the marked records";
  fbget(buf, kInt, &value, nullptr);
  EXPECT_EQ(int_at(buf, kInt | kFetched, 1), 3);
}

TEST(Get, RenumbersTheMarkedRecords) {
  Buffer buf;
  buf.put(kInt, 1).put(kInt, 2);
  int value = 0, second = 8;
  EXPECT_EQ(fbgetf(buf, kInt, &value, nullptr, &second), 1);
  EXPECT_EQ(int_at(buf, kInt | kFetched, 0), 2);
  EXPECT_EQ(fbget(buf, kInt, &value, nullptr), 1);
  EXPECT_EQ(int_at(buf, kInt | kFetched, 0), 1);
}

TEST(Get, CopiesByType) {
  Buffer buf;
  const short s = -2;
  buf.put_value(kShort, &s, 0).put(kLong, -1L).put(kDouble, 2.5).put(kString, "abcdef").put_value(kCarray, "12345", 5);
  short got_short = 0;
  EXPECT_EQ(fbget(buf, kShort, &got_short, nullptr), 1);
  EXPECT_EQ(got_short, -2);
  long got_long = 0;
  int len = 77;
  EXPECT_EQ(fbget(buf, kLong, &got_long, &len), 1);
  EXPECT_EQ(got_long, 4294967295L);
  EXPECT_EQ(len, 77);
  double got_double = 0;
  EXPECT_EQ(fbget(buf, kDouble, &got_double, nullptr), 1);
  EXPECT_EQ(got_double, 2.5);
  char text[8] = "zzzzzzz";
  EXPECT_EQ(fbget(buf, kString, text, &(len = 4)), 1) << "without a policy the length is not enforced";
  EXPECT_STREQ(text, "abcdef");
  EXPECT_EQ(len, 7);
  EXPECT_EQ(fbget(buf, kCarray, text, nullptr), 1);
  EXPECT_EQ(std::string(text, 6), std::string("12345f"));
}

TEST(Get, CutsToTheCallersLengthUnderTru) {
  const host::Semantics policy("FDL_LEN=TRU");
  const struct {
    int key, wanted, length;
    const char* text;
  } cases[] = {{kString, 4, 4, "abc"},    {kString, 1, 1, ""},       {kString, 6, 6, "abcde"},
               {kString, 7, 7, "abcdef"}, {kString, 0, 7, "abcdef"}, {kString, 9, 7, "abcdef"},
               {kCarray, 3, 3, "123"},    {kCarray, 0, 5, "12345"},  {kCarray, 5, 5, "12345"},
               {kCarray, 6, 5, "12345"}};
  for (const auto& [field, wanted, length, expected] : cases) {
    Buffer buf;
    buf.put(kString, "abcdef").put_value(kCarray, "12345", 5);
    char text[8] = {};
    int len = wanted;
    EXPECT_EQ(fbget(buf, field, text, &len), 1);
    EXPECT_STREQ(text, expected) << wanted;
    EXPECT_EQ(len, length) << wanted;
  }
}

TEST(Get, RefusesAShortAreaUnderErr) {
  const host::Semantics policy("FDL_LEN=ERR");
  Buffer buf;
  buf.put(kString, "abcdef").put_value(kCarray, "12345", 5);
  const std::string before = buf.image();
  char text[8] = {};
  int len;
  for (const int wanted : {4, 6, -1}) {
    EXPECT_EQ(fbget(buf, kString, text, &(len = wanted)), -1);
    EXPECT_EQ(fberror, FBENOSPACE);
    EXPECT_EQ(len, 7);
  }
  EXPECT_EQ(fbget(buf, kCarray, text, &(len = 3)), -1);
  EXPECT_EQ(fberror, FBENOSPACE);
  EXPECT_EQ(len, 5);
  EXPECT_EQ(text[0], 0);
  EXPECT_EQ(buf.image(), before) << "a refused copy marks nothing";
  EXPECT_EQ(fbget(buf, kString, text, &(len = 7)), 1);
  EXPECT_EQ(fbget(buf, kCarray, text, &(len = 0)), 1);
  EXPECT_EQ(len, 5);
}

TEST(Get, RefusesWhatCannotBeCopied) {
  Buffer buf;
  buf.forge(bytes("02 00 00 24 01 02 03 04") + bytes("03 00 00 0c 01 00 00 00"));
  char area[8];
  EXPECT_EQ(fbget(buf, key(9, 2), area, nullptr), -1);
  EXPECT_EQ(fberror, FBETYPE);
  EXPECT_EQ(buf.key_at(8), key(9, 2));
  EXPECT_EQ(fbget(buf, kInt, nullptr, nullptr), -1);
  EXPECT_EQ(fberror, FBEINVAL);
  Buffer carray;
  carray.put_value(kCarray, "1", 1);
  EXPECT_EQ(_get_fbval_to_usrloc(carray + 8, area, nullptr), -1);
  EXPECT_EQ(fberror, FBEINVAL);
}

TEST(GetFromPosition, WalksTheOccurrences) {
  Buffer buf;
  buf.put(kShort, 1).put(kInt, 1).put(kString, "abcd").put(kInt, 2);
  int value = 0, pos = 0;
  EXPECT_EQ(fbgetf(buf, kInt, &value, nullptr, &pos), 1);
  EXPECT_EQ(value, 1);
  EXPECT_EQ(pos, 8);
  EXPECT_EQ(fbgetf(buf, kInt, &value, nullptr, &pos), 1);
  EXPECT_EQ(value, 2);
  EXPECT_EQ(pos, 32);
  EXPECT_EQ(fbgetf(buf, kInt, &value, nullptr, &pos), -1);
  EXPECT_EQ(fberror, FBENOENT);
  EXPECT_EQ(pos, 32);
}

TEST(GetFromPosition, StartsOverWhereNoRecordOfTheKeyBegins) {
  // The bytes of the carray look like a record of kInt.
  const std::string record = bytes("03 00 00 0c 07 00 00 00");
  for (const int hint : {-8, 1, 4, 16, 24, 32, 33, 39}) {
    Buffer buf;
    buf.put(kShort, 1).put_value(kCarray, record.data(), 8).put(kInt, 1);
    int value = 0, pos = hint;
    EXPECT_EQ(fbgetf(buf, kInt, &value, nullptr, &pos), 1) << hint;
    EXPECT_EQ(value, 1) << hint;
    EXPECT_EQ(pos, 24) << hint;
  }
  Buffer buf;
  buf.put(kInt, 1);
  for (const int hint : {16, 17, INT32_MAX}) {
    int value = 0, pos = hint;
    EXPECT_EQ(fbgetf(buf, kInt, &value, nullptr, &pos), -1);
    EXPECT_EQ(fberror, FBENOENT);
    EXPECT_EQ(pos, hint);
  }
}

TEST(GetFromPosition, MovesThePositionAlsoWhenTheCopyFails) {
  const host::Semantics policy("FDL_LEN=ERR");
  Buffer buf;
  buf.put(kInt, 1).put(kString, "abcd");
  char text[8];
  int pos = 0, len = 2;
  EXPECT_EQ(fbgetf(buf, kString, text, &len, &pos), -1);
  EXPECT_EQ(fberror, FBENOSPACE);
  EXPECT_EQ(pos, 8);
  EXPECT_EQ(buf.key_at(16), kString);
}

TEST(GetValue, PointsIntoTheBuffer) {
  Buffer buf;
  buf.put(kDouble, 1.0).put(kString, "abc").put_value(kCarray, "12", 2);
  int len = -1;
  EXPECT_EQ(fbgetval(buf, kDouble, 0, &len), buf + 16);
  EXPECT_EQ(len, 8);
  EXPECT_EQ(fbgetval(buf, kString, 0, &len), buf + 28);
  EXPECT_EQ(len, 3);
  EXPECT_EQ(fbgetval(buf, kCarray, 0, &len), buf + 40);
  EXPECT_EQ(len, 2);
  EXPECT_EQ(fbgetval(buf, kCarray, 1, &len), nullptr);
  EXPECT_EQ(fberror, FBENOENT);
  EXPECT_EQ(fbgetlen(buf, kString, 0), 3);
  EXPECT_EQ(fbgetlen(buf, kString, -1), -1);
  EXPECT_EQ(fberror, FBENOENT);
}

TEST(FindValue, ComparesByType) {
  Buffer buf;
  buf.put(kDouble, 1.0).put(kDouble, -0.0).put(kLong, -1L).put(kLong, 5L).put(kString, "abc").put(kString, "abcd");
  buf.put_value(kCarray, "123456", 6);
  double d = 0.0;
  EXPECT_EQ(fbgetnth(buf, kDouble, &d, 0), 1);
  d = __builtin_nan("");
  EXPECT_EQ(fbgetnth(buf, kDouble, &d, 0), -1);
  EXPECT_EQ(fberror, 0);
  long l = -1;
  EXPECT_EQ(fbgetnth(buf, kLong, &l, 0), -1) << "a stored long is compared without its sign";
  EXPECT_EQ(fbgetnth(buf, kLong, &(l = 4294967295L), 0), 0);
  EXPECT_EQ(fbgetnth(buf, kLong, &(l = 5), 0), 1);
  EXPECT_EQ(fbgetnth(buf, kString, "abcd", 0), 1);
  EXPECT_EQ(fbgetnth(buf, kString, "ab", 0), -1);
  EXPECT_EQ(fbgetnth(buf, kCarray, "123", 3), 0);
  EXPECT_EQ(fbgetnth(buf, kCarray, "1234567", 7), 0);
  EXPECT_EQ(fbgetnth(buf, kCarray, "124", 3), -1);
  EXPECT_EQ(fbgetnth(buf, kCarray, "1", 0), -1);
  EXPECT_EQ(fberror, FBEINVAL);
}

}  // namespace
