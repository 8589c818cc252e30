// Operations on single fields: what they leave in the buffer, byte by byte, and what they refuse.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/field_buffer.h"
#include "tests/support/host.h"
#include "tests/support/semantics.h"

extern "C" {
void* _find_matching_fldkey(const void* buf, int key, int nth);
int _getnth_from_curpos(const void* buf, const void* rec);
int _is_value_null(const void* rec);
int _fbput(void* buf, int key, const void* value, int len);
int _srch_fcache(const void* buf, std::uint32_t key, int nth, int* occurrence, int* offset);
int _clear_fcache(const void* buf);
}

namespace {

using fields::Buffer;
using fields::key;
using host::bytes;

using namespace fields::sample;

TEST(Put, LaysOutEveryType) {
  Buffer buf;
  const short s = -2;
  const float f = 1.5F;
  const char c = 'A';
  buf.put_value(kChar, &c, 0).put_value(kShort, &s, 0).put(kInt, 0x01020304).put(kLong, 0x100000005L);
  buf.put_value(kFloat, &f, 0).put(kDouble, -2.0).put(kString, "abc").put(kString, "abcd").put(kString, "");
  buf.put_value(kCarray, "\0xyz\xff", 5);
  EXPECT_EQ(buf.image(), bytes("b8 22 00 00  70 00 00 00"
                               "01 00 00 04  41 __ __ __"
                               "02 00 00 08  fe ff __ __"
                               "03 00 00 0c  04 03 02 01"
                               "04 00 00 10  05 00 00 00"
                               "05 00 00 14  00 00 c0 3f"
                               "06 00 00 18  __ __ __ __  00 00 00 00 00 00 00 c0"
                               "07 00 00 1c  61 62 63 00"
                               "07 00 00 1c  61 62 63 64 00 __ __ __ __ __ __ __"
                               "07 00 00 1c  00 __ __ __"
                               "08 00 00 20  05 00 00 00  00 78 79 7a ff __ __ __"));
  EXPECT_EQ(fbfldcount(buf), 10);
}

TEST(Put, LeavesPaddingAlone) {
  Buffer buf;
  std::memset(buf + 8, 'x', 1024);
  buf.put(kDouble, 0.0).put(kString, "");
  EXPECT_EQ(buf.records(), bytes("06 00 00 18  78 78 78 78  00 00 00 00 00 00 00 00  07 00 00 1c  00 78 78 78"));
}

TEST(Put, TakesTheLastEightBytesAndThenRefuses) {
  Buffer buf;
  while (fbget_unused(buf) > 8) buf.put(kInt, 1);
  EXPECT_EQ(fbput(buf, kString, "1234", 0), -1);
  EXPECT_EQ(fberror, FBENOSPACE);
  EXPECT_EQ(fbput(buf, kCarray, "", 0), -1) << "one slot is enough for a carray without bytes";
  EXPECT_EQ(fberror, FBEINVAL);
  buf.put(kString, "123");
  for (const int field : {kInt, 0, kCarray}) {
    EXPECT_EQ(fbput(buf, field, "", 0), -1);
    EXPECT_EQ(fberror, FBENOSPACE) << "room comes before type and value";
  }
  EXPECT_EQ(fbput(buf, kCarray, "", INT32_MAX), -1);
  EXPECT_EQ(fberror, FBENOSPACE);
}

TEST(Put, RefusesWhatHasNoRecord) {
  Buffer buf;
  const std::string empty = buf.image();
  const struct {
    int key, len, code;
  } cases[] = {
      {kCarray, 0, FBEINVAL}, {kCarray, -9, FBEINVAL}, {7, 0, FBETYPE}, {key(9, 1), 0, FBETYPE}, {-1, 0, FBETYPE}};
  for (const auto& [field, len, code] : cases) {
    EXPECT_EQ(fbput(buf, field, "value", len), -1);
    EXPECT_EQ(fberror, code) << field;
  }
  EXPECT_EQ(fbput(buf, kString, nullptr, 0), -1);
  EXPECT_EQ(fberror, FBEINVAL);
  EXPECT_EQ(fbput(nullptr, kInt, "1234", 0), -1);
  EXPECT_EQ(fberror, FBEINVAL);
  EXPECT_EQ(buf.image(), empty);
}

TEST(Put, OfAStoredLongReadsFourBytes) {
  Buffer buf;
  const std::int32_t stored = -1;
  EXPECT_EQ(_fbput(buf, kLong, &stored, 4), 1);
  EXPECT_EQ(buf.records(), bytes("04 00 00 10 ff ff ff ff"));
  fberror = 0;
  EXPECT_EQ(_fbput(buf, kCarray, "", 0), -1);
  EXPECT_EQ(fberror, FBEINVAL);
}

TEST(Insert, MakesRoomAtTheOccurrence) {
  Buffer buf;
  buf.put(kInt, 1).put(kString, "between").put(kInt, 2);
  const int first = 9, middle = 8, last = 7;
  EXPECT_EQ(fbinsert(buf, kInt, 0, &first, 0), 1);
  EXPECT_EQ(fbinsert(buf, kInt, 2, &middle, 0), 1);
  EXPECT_EQ(fbinsert(buf, kInt, 4, &last, 0), 1);
  EXPECT_EQ(buf.records(), bytes("03 00 00 0c 09 00 00 00  03 00 00 0c 01 00 00 00"
                                 "07 00 00 1c 62 65 74 77  65 65 6e 00 __ __ __ __"
                                 "03 00 00 0c 08 00 00 00  03 00 00 0c 02 00 00 00  03 00 00 0c 07 00 00 00"));
}

TEST(Insert, FillsTheGapWithNullValues) {
  Buffer buf;
  buf.put(kInt, 1);
  const int value = 5;
  EXPECT_EQ(fbinsert(buf, kInt, 3, &value, 0), 1);
  EXPECT_THAT(ints(buf, kInt), testing::ElementsAre(1, 0, 0, 5));
  EXPECT_EQ(fbinsert(buf, kString, 1, "text", 0), 1);
  EXPECT_STREQ(static_cast<char*>(fbgetval(buf, kString, 0, nullptr)), "");
  EXPECT_STREQ(static_cast<char*>(fbgetval(buf, kString, 1, nullptr)), "text");
}

TEST(Insert, FailsBeforeItWritesAnything) {
  Buffer buf;
  buf.put_value(kCarray, "x", 1);
  const std::string before = buf.image();
  const int value = 5;
  const struct {
    int key, nth, len, code;
  } cases[] = {{kInt, -1, 0, FBEINVAL},
               {kCarray, 2, 4, FBEINVAL},  // a gap of carrays
               {kCarray, 0, 0, FBEINVAL},  // no bytes, in front of one
               {3, 5, 0, FBETYPE},
               {kInt, 127, 0, FBENOSPACE},  // 127 gaps and the value: one slot too many
               {kInt, INT32_MAX, 0, FBENOSPACE},
               {kCarray, INT32_MAX, INT32_MAX, FBENOSPACE}};
  for (const auto& [field, nth, len, code] : cases) {
    EXPECT_EQ(fbinsert(buf, field, nth, &value, len), -1);
    EXPECT_EQ(fberror, code) << field << ' ' << nth;
  }
  EXPECT_EQ(buf.image(), before);
  EXPECT_EQ(fbinsert(buf, kInt, 125, &value, 0), 1);
  EXPECT_EQ(fbget_unused(buf), 0);
}

TEST(Update, MovesWhatFollows) {
  Buffer buf;
  buf.put(kString, "ab").put(kInt, 7).put(kString, "zz");
  EXPECT_EQ(fbupdate(buf, kString, 0, "abcdef", 0), 1);
  EXPECT_EQ(buf.records().substr(0, 11), bytes("07 00 00 1c 61 62 63 64  65 66 00"));
  EXPECT_EQ(buf.records().substr(16), bytes("03 00 00 0c 07 00 00 00  07 00 00 1c 7a 7a 00 __"));
  EXPECT_STREQ(static_cast<char*>(fbgetval(buf, kString, 1, nullptr)), "zz");
  EXPECT_EQ(fbupdate(buf, kString, 0, "ab", 0), 1);
  EXPECT_EQ(fbget_used(buf), 32);
  EXPECT_STREQ(static_cast<char*>(fbgetval(buf, kString, 1, nullptr)), "zz");
  const int value = 8;
  EXPECT_EQ(fbupdate(buf, kInt, 0, &value, 0), 1);
  EXPECT_EQ(int_at(buf, kInt, 0), 8);
}

TEST(Update, TestsOccurrenceThenRoomThenValue) {
  Buffer buf;
  buf.put_value(kCarray, "12345678", 8);
  while (fbget_unused(buf) > 0) buf.put(kInt, 1);
  const std::string before = buf.image();
  EXPECT_EQ(fbupdate(buf, kCarray, 1, "", 0), -1);
  EXPECT_EQ(fberror, FBENOENT);
  EXPECT_EQ(fbupdate(buf, kCarray, 0, "", INT32_MAX), -1);
  EXPECT_EQ(fberror, FBENOSPACE);
  EXPECT_EQ(fbupdate(buf, kCarray, 0, "", 0), -1);
  EXPECT_EQ(fberror, FBEINVAL);
  EXPECT_EQ(buf.image(), before);
}

TEST(Delete, ClosesUpAndRenumbers) {
  Buffer buf;
  buf.put(kInt, 1).put(kDouble, 1.0).put(kInt, 2).put(kInt, 3);
  EXPECT_EQ(int_at(buf, kInt, 2), 3);
  EXPECT_EQ(fbdelete(buf, kInt, 1), 1);
  EXPECT_THAT(ints(buf, kInt), testing::ElementsAre(1, 3));
  EXPECT_EQ(fbdelete(buf, kInt, 2), -1);
  EXPECT_EQ(fberror, FBENOENT);
  EXPECT_EQ(fbdelall(buf, kInt), 2);
  EXPECT_EQ(fberror, 0);
  EXPECT_EQ(buf.records(), bytes("06 00 00 18  __ __ __ __  00 00 00 00 00 00 f0 3f"));
  EXPECT_EQ(fbdelall(buf, kInt), -1);
  EXPECT_EQ(fberror, FBENOENT);
}

TEST(Delete, OfAllKeepsFetchedRecordsAndTheOthersInOrder) {
  Buffer buf;
  buf.put(kInt, 1).put(kString, "abcd").put(kInt, 2).put(kInt, 3).put(kShort, 4).put(kInt, 5);
  int value;
  EXPECT_EQ(fbget(buf, kInt, &value, nullptr), 1);
  EXPECT_EQ(fbdelall(buf, kInt), 3);
  EXPECT_EQ(buf.records(), bytes("03 00 00 0d 01 00 00 00  07 00 00 1c 61 62 63 64  00 __ __ __ __ __ __ __"
                                 "02 00 00 08 04 00 __ __"));
}

TEST(NullTest, KnowsTheNullOfEachType) {
  Buffer buf;
  const char c[] = {0, 1};
  buf.put_value(kChar, c, 0).put(kDouble, -0.0).put(kString, "").put(kLong, 0x100000000L);
  buf.put_value(kChar, c + 1, 0).put(kString, "x").put(kInt, -1);
  for (const int offset : {8, 16, 32, 40}) EXPECT_EQ(_is_value_null(buf + offset), 1) << offset;
  for (const int offset : {48, 56, 64}) EXPECT_EQ(_is_value_null(buf + offset), 0) << offset;
  EXPECT_EQ(_is_value_null(bytes("08 00 00 20 00 00 00 00").data()), 1);
  EXPECT_EQ(_is_value_null(bytes("08 00 00 24 01 00 00 00").data()), 1) << "unknown type";
}

TEST(Search, FilesWhatItFinds) {
  Buffer buf;
  for (int i = 0; i < 40; ++i) buf.put(kInt, i).put(kShort, i);
  _clear_fcache(buf);
  int occurrence = -1, offset = -1;
  void* record = _find_matching_fldkey(buf, kInt, 5);
  EXPECT_EQ(record, buf + 8 + 80);
  EXPECT_EQ(_getnth_from_curpos(buf, record), 5);
  EXPECT_EQ(_getnth_from_curpos(buf, buf + 12), -1);
  EXPECT_EQ(_getnth_from_curpos(buf, &offset), -1);
  EXPECT_GE(_srch_fcache(buf, kInt, 5, &occurrence, &offset), 0);
  EXPECT_EQ(occurrence, 5);
  EXPECT_EQ(offset, 80);
  EXPECT_EQ(_srch_fcache(buf, kInt, 4, &occurrence, &offset), -1);
  EXPECT_EQ(fbkeyoccur(buf, kInt), 40);
  EXPECT_GE(_srch_fcache(buf, kInt, 1000, &occurrence, &offset), 0);
  EXPECT_GT(occurrence, 25);
  EXPECT_EQ(offset, 16 * occurrence) << "the occurrence is that of the record at the offset";
  EXPECT_EQ(_find_matching_fldkey(buf, kInt, 40), nullptr);
  EXPECT_EQ(_find_matching_fldkey(buf, kInt, -1), nullptr);
  fbdelete(buf, kShort, 0);
  EXPECT_EQ(_srch_fcache(buf, kInt, 1000, &occurrence, &offset), -1);
}

// More keys than the first table of the index holds, several buffers in turn, and changes in between.
TEST(Search, FindsEachOfManyKeys) {
  constexpr int kKeys = 700;
  Buffer buffers[] = {Buffer(kKeys + 2), Buffer(kKeys + 2), Buffer(kKeys + 2), Buffer(kKeys + 2), Buffer(kKeys + 2)};
  for (int i = 0; i < kKeys; ++i)
    for (Buffer& buf : buffers) buf.put(key(FB_INT, i), i + static_cast<int>(&buf - buffers));
  const int added = 5000, last = kKeys - 1;
  for (int round = 0; round < 2; ++round)
    for (int i = 0; i < kKeys; ++i)
      for (Buffer& buf : buffers) ASSERT_EQ(int_at(buf, key(FB_INT, i), 0), i + static_cast<int>(&buf - buffers));
  EXPECT_EQ(fbispres(buffers[0], key(FB_INT, kKeys), 0), 0);
  buffers[0].put(key(FB_INT, kKeys), added);
  EXPECT_EQ(int_at(buffers[0], key(FB_INT, kKeys), 0), added) << "an append is seen";
  EXPECT_EQ(fbinsert(buffers[0], key(FB_INT, last), 0, &added, 0), 1);
  EXPECT_EQ(int_at(buffers[0], key(FB_INT, last), 0), added);
  EXPECT_EQ(int_at(buffers[0], key(FB_INT, last), 1), last);
}

TEST(DamagedBuffer, IsWalkedAsFarAsItsRecordsGo) {
  const std::string good = bytes("03 00 00 0c 01 00 00 00"), unknown = bytes("05 00 00 24 03 00 00 0c");
  const struct {
    std::string records;
    int used, count;
  } cases[] = {{unknown + good, 24, 2},                                  // an unknown type takes a slot of 8
               {good + bytes("08 00 00 20 09 00 00 00") + good, 32, 1},  // a carray beyond the used part
               {good + bytes("08 00 00 20 f8 ff ff ff") + good, 32, 1},  // and one of 4 GB
               {good + bytes("07 00 00 1c 78 78 78 78"), 24, 1},         // a string that does not end
               {good + good, 20, 1},                                     // half a record
               {good + good, 2000, 128},                                 // more used than there is
               {good, -1, 0},
               {good, 0, 0}};
  for (const auto& [records, used, expected] : cases) {
    Buffer buf;
    buf.forge(records, used);
    EXPECT_EQ(fbfldcount(buf), expected) << used;
    const int value = 7;
    EXPECT_EQ(fbput(buf, kInt, &value, 0), used < 8 || used > 1032 ? -1 : 1) << used;
    EXPECT_EQ(fberror, used < 8 ? FBEBADFB : used > 1032 ? FBENOSPACE : 0);
    EXPECT_EQ(fbgetlen(buf, key(9, 5), 0), -1);
    EXPECT_EQ(fberror, records.substr(0, 8) == unknown ? FBEBADFLD : FBENOENT);
    buf.forge("");
  }
}

TEST(NullBuffer, IsRefusedByEveryCall) {
  int value = 0;
  EXPECT_EQ(fbinsert(nullptr, kInt, 0, &value, 0), -1);
  EXPECT_EQ(fbupdate(nullptr, kInt, 0, &value, 0), -1);
  EXPECT_EQ(fbdelete(nullptr, kInt, 0), -1);
  EXPECT_EQ(fbdelall(nullptr, kInt), -1);
  EXPECT_EQ(fbget(nullptr, kInt, &value, nullptr), -1);
  EXPECT_EQ(fbgetf(nullptr, kInt, &value, nullptr, &value), -1);
  EXPECT_EQ(fbgetval(nullptr, kInt, 0, nullptr), nullptr);
  EXPECT_EQ(fbgetlen(nullptr, kInt, 0), -1);
  EXPECT_EQ(fbgetnth(nullptr, kInt, &value, 0), -1);
  EXPECT_EQ(fbkeyoccur(nullptr, kInt), -1);
  EXPECT_EQ(fbispres(nullptr, kInt, 0), 0);
  fberror = 0;
  EXPECT_EQ(fbfldcount(nullptr), 0);
  EXPECT_EQ(fberror, FBEINVAL);
}

TEST(Traces, OfResultsAndFailures) {
  Buffer buf;
  const int value = 1;
  host::Tracing tracing;
  fbput(buf, kInt, &value, 0);
  fbgetval(nullptr, 5, -1, nullptr);
  fbispres(buf, kInt, 0);
  fbispres(nullptr, kInt, 0);
  fbfldcount(nullptr);
  fbgetnth(nullptr, 5, nullptr, 3);
  const int other = 2;
  fbgetnth(buf, kInt, &other, 0);
  fbdelall(buf, kInt);
  std::vector<std::string> texts;
  for (const host::TraceEvent& event : host::take_trace())
    if (event.event != 1 || event.text.find("fbgetval") == 0) texts.push_back(std::to_string(event.event) + event.text);
  EXPECT_THAT(texts, testing::ElementsAre(
                         "2fbput = 1", "1fbgetval(0, 5, -1, 0)", "4fbgetval = NULL [4 : FBEINVAL (invalid argument)]",
                         "2fbispres = 1", "4fbispres = 0 [4 : FBEINVAL (invalid argument)]",
                         "4fbfldcount = 0 [4 : FBEINVAL (invalid argument)]",
                         "4fbgetnth = -1 [4 : FBEINVAL (invalid argument)]",
                         "4fbgetnth = -1 [0 : FBEMINNO (bottom of error message codes)]", "2fbdelall = 1"));
}

}  // namespace
