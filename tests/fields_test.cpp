// Operations on single fields: what they leave in the buffer, byte by byte, and what they refuse. Sequences of calls
// are held against a model in fields_random_test.cpp.
#include <cmath>
#include <cstdint>

#include "tests/support/field_test.h"

extern "C" {
void* _find_matching_fldkey(const void* buf, int key, int nth);
int _getnth_from_curpos(const void* buf, const void* rec);
int _is_value_null(const void* rec);
int _get_fbval_to_usrloc(const void* rec, void* value, int* len);
int _fbput(void* buf, int key, const void* value, int len);
int _srch_fcache(const void* buf, std::uint32_t key, int nth, int* occurrence, int* offset);
int _clear_fcache(const void* buf);
}

namespace {

const int kOne = 1;

TEST(Put, LaysOutEveryTypeAndLeavesPaddingAlone) {
  Buffer buf;
  std::memset(buf + 8, 'x', 1024);
  const std::int32_t stored = -1;
  buf.put(kChar, 'A').put(kShort, -2).put(kInt, 0x01020304).put(kLong, 0x100000005L).put(kFloat, 1.5F);
  buf.put(kDouble, -2.0).put(kString, "abc").put(kString, "abcd").put(kString, "");
  buf.put_value(kCarray, "\0xyz\xff", 5);
  EXPECT_EQ(_fbput(buf, kLong, &stored, 4), 1) << "reads four bytes";
  EXPECT_EQ(buf.image(), bytes("b8 22 00 00  78 00 00 00"
                               "01 00 00 04  41 78 78 78"
                               "02 00 00 08  fe ff 78 78"
                               "03 00 00 0c  04 03 02 01"
                               "04 00 00 10  05 00 00 00"
                               "05 00 00 14  00 00 c0 3f"
                               "06 00 00 18  78 78 78 78  00 00 00 00 00 00 00 c0"
                               "07 00 00 1c  61 62 63 00"
                               "07 00 00 1c  61 62 63 64 00 78 78 78 78 78 78 78"
                               "07 00 00 1c  00 78 78 78"
                               "08 00 00 20  05 00 00 00  00 78 79 7a ff 78 78 78"
                               "04 00 00 10  ff ff ff ff"));
  EXPECT_EQ(fbfldcount(buf), 11);
}

TEST(Changes, MoveWhatFollows) {
  Buffer buf;
  const int first = 9, middle = 8, behind_a_gap = 7;
  buf.put(kInt, 1).put(kString, "ab").put(kInt, 2);
  EXPECT_EQ(fbinsert(buf, kInt, 0, &first, 0), 1);
  EXPECT_EQ(fbinsert(buf, kInt, 2, &middle, 0), 1);
  EXPECT_EQ(fbinsert(buf, kInt, 5, &behind_a_gap, 0), 1);
  EXPECT_EQ(fbupdate(buf, kString, 0, "abcdef", 0), 1);
  EXPECT_EQ(buf.records().replace(27, 5, 5, '\0'), bytes("03 00 00 0c 09 00 00 00  03 00 00 0c 01 00 00 00"
                                                         "07 00 00 1c 61 62 63 64  65 66 00 __ __ __ __ __"
                                                         "03 00 00 0c 08 00 00 00  03 00 00 0c 02 00 00 00"
                                                         "03 00 00 0c 00 00 00 00  03 00 00 0c 07 00 00 00"));
  int value = 0;
  EXPECT_EQ(fbget(buf, kInt, &value, nullptr), 1);
  EXPECT_EQ(fbdelete(buf, kInt, 0), 1);
  EXPECT_EQ(fbupdate(buf, kString, 0, "x", 0), 1);
  EXPECT_EQ(outcome(fbdelall(buf, kInt)), std::pair(4, 0));
  EXPECT_EQ(buf.records().substr(0, 14), bytes("03 00 00 0d 09 00 00 00  07 00 00 1c 78 00"))
      << "fetched ones are of another key";
}

TEST(Changes, FailBeforeTheyWriteAnything) {
  Buffer buf;
  buf.put_value(kCarray, "x", 1);
  const std::string before = buf.image();
  const auto insert = [&](int field, int nth, int len) { return [=, &buf] { fbinsert(buf, field, nth, &kOne, len); }; };
  const auto put = [&](int field, int len) { return [=, &buf] { fbput(buf, field, &kOne, len); }; };
  expect_refusals({{"fbput = -1", FBEINVAL, put(kCarray, 0)},
                   {"fbput = -1", FBEINVAL, put(kCarray, -9)},
                   {"fbput = -1", FBENOSPACE, put(kCarray, INT32_MAX)},
                   {"fbput = -1", FBETYPE, put(7, 0)},
                   {"fbput = -1", FBETYPE, put(kUnknown, 0)},
                   {"fbput = -1", FBETYPE, put(-1, 0)},
                   {"fbput = -1", FBEINVAL, [&] { fbput(buf, kString, nullptr, 0); }},
                   {"fbinsert = -1", FBEINVAL, insert(kInt, -1, 0)},
                   {"fbinsert = -1", FBEINVAL, insert(kCarray, 2, 4)},  // a gap of carrays
                   {"fbinsert = -1", FBEINVAL, insert(kCarray, 0, 0)},
                   {"fbinsert = -1", FBETYPE, insert(3, 5, 0)},
                   {"fbinsert = -1", FBENOSPACE, insert(kInt, 126, 0)},  // room for the gap, not for the value
                   {"fbinsert = -1", FBENOSPACE, insert(kInt, INT32_MAX, 0)},
                   {"fbinsert = -1", FBENOSPACE, insert(kCarray, INT32_MAX, INT32_MAX)},
                   {"fbupdate = -1", FBENOENT, [&] { fbupdate(buf, kCarray, 1, "", 0); }},
                   {"fbupdate = -1", FBENOSPACE, [&] { fbupdate(buf, kCarray, 0, "", INT32_MAX); }},
                   {"fbupdate = -1", FBEINVAL, [&] { fbupdate(buf, kCarray, 0, "", 0); }},
                   {"fbdelete = -1", FBENOENT, [&] { fbdelete(buf, kCarray, -1); }},
                   {"fbdelall = -1", FBENOENT, [&] { fbdelall(buf, kInt); }}});
  EXPECT_EQ(buf.image(), before);
  EXPECT_EQ(fbinsert(buf, kInt, 125, &kOne, 0), 1);
  EXPECT_EQ(fbget_unused(buf), 0);
}

TEST(GetFromPosition, StartsOverWhereNoRecordOfTheKeyBegins) {
  // The bytes of the carray look like a record of kInt.
  const std::string record = bytes("03 00 00 0c 07 00 00 00");
  const struct {
    int hint, result, position;
  } kHints[] = {
      {-8, 1, 24}, {0, 1, 24},  {1, 1, 24},  {4, 1, 24},  {16, 1, 24},  {24, 1, 24},  {32, 1, 24},
      {33, 1, 24}, {39, 1, 24}, {40, 1, 40}, {48, 1, 24}, {56, -1, 56}, {57, -1, 57}, {INT32_MAX, -1, INT32_MAX}};
  for (const auto& [hint, result, position] : kHints) {
    Buffer buf;
    buf.put(kShort, 1).put_value(kCarray, record.data(), 8).put(kInt, 24).put(kShort, 2).put(kInt, 40);
    int value = hint, pos = hint;
    EXPECT_EQ(outcome(fbgetf(buf, kInt, &value, nullptr, &pos)), std::pair(result, result == 1 ? 0 : FBENOENT)) << hint;
    EXPECT_EQ(std::pair(pos, value), std::pair(position, position)) << hint;
  }
}

TEST(FindValue, ComparesByType) {
  Buffer buf;
  buf.put(kDouble, 1.0).put(kDouble, -0.0).put(kLong, -1L).put(kLong, 5L).put(kString, "abc").put(kString, "abcd");
  buf.put_value(kCarray, "123456", 6);
  const double zero = 0, nan = std::nan("");
  const long negative = -1, unsigned_form = 4294967295L, five = 5;
  const struct {
    int key;
    const void* value;
    int len, occurrence;
  } kSearches[] = {{kDouble, &zero, 0, 1},  {kDouble, &nan, 0, -1},  {kLong, &negative, 0, -1},
                   {kLong, &five, 0, 1},    {kString, "abcd", 0, 1}, {kLong, &unsigned_form, 0, 0},
                   {kString, "ab", 0, -1},  {kCarray, "123", 3, 0},  {kCarray, "1234567", 7, 0},
                   {kCarray, "124", 3, -1}, {kUnknown, "1", 0, -1}};
  for (const auto& [field, value, len, occurrence] : kSearches)
    EXPECT_EQ(outcome(fbgetnth(buf, field, value, len)), std::pair(occurrence, 0)) << (field >> 26);
  expect_refusals({{"fbgetnth = -1", FBEINVAL, [&] { fbgetnth(buf, kCarray, "1", 0); }},
                   {"fbgetnth = -1", FBEMINNO, [&] { fbgetnth(buf, kString, "ab", 0); }}});
}

TEST(NullTest, KnowsTheNullOfEachType) {
  Buffer buf;
  buf.put(kChar, '\0').put(kDouble, -0.0).put(kString, "").put(kLong, 0x100000000L);
  buf.put(kChar, '\1').put(kString, "x").put(kInt, -1);
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
  EXPECT_EQ(std::pair(occurrence, offset), std::pair(5, 80));
  EXPECT_EQ(_srch_fcache(buf, kInt, 4, &occurrence, &offset), -1);
  EXPECT_EQ(fbkeyoccur(buf, kInt), 40);
  EXPECT_GE(_srch_fcache(buf, kInt, 1000, &occurrence, &offset), 0);
  EXPECT_GT(occurrence, 25);
  EXPECT_EQ(offset, 16 * occurrence) << "the occurrence is that of the record at the offset";
  fbdelete(buf, kShort, 0);
  EXPECT_EQ(_srch_fcache(buf, kInt, 1000, &occurrence, &offset), -1);
}

// More keys than the first table of the index holds, several buffers in turn, and changes in between.
TEST(Search, FindsEachOfManyKeys) {
  constexpr int kKeys = 700, kLast = kKeys - 1;
  const int kAdded = 5000;
  Buffer buffers[] = {Buffer(kKeys + 2), Buffer(kKeys + 2), Buffer(kKeys + 2), Buffer(kKeys + 2), Buffer(kKeys + 2)};
  const auto value = [&](int i, const Buffer& buf) { return i + static_cast<int>(&buf - buffers); };
  for (int i = 0; i < kKeys; ++i)
    for (Buffer& buf : buffers) buf.put(key(FB_INT, i), value(i, buf));
  for (int i = 0; i < 2 * kKeys; ++i)
    for (Buffer& buf : buffers) ASSERT_EQ(fbgetvall_tu(buf, key(FB_INT, i % kKeys), 0), value(i % kKeys, buf));
  Buffer& first = buffers[0];
  EXPECT_EQ(fbispres(first, key(FB_INT, kKeys), 0), 0);
  first.put(key(FB_INT, kKeys), kAdded);
  EXPECT_EQ(fbgetvall_tu(first, key(FB_INT, kKeys), 0), kAdded) << "an append is seen";
  EXPECT_EQ(fbinsert(first, key(FB_INT, kLast), 0, &kAdded, 0), 1);
  EXPECT_EQ(fbgetvall_tu(first, key(FB_INT, kLast), 0), kAdded);
  EXPECT_EQ(fbgetvall_tu(first, key(FB_INT, kLast), 1), kLast);
}

TEST(DamagedBuffer, IsWalkedAsFarAsItsRecordsGo) {
  const std::string good = bytes("03 00 00 0c 01 00 00 00"), unknown = bytes("09 00 00 24 03 00 00 0c");
  std::string full;
  while (full.size() < 1024) full += good;
  const struct {
    const char* what;
    std::string records;
    int used, count, put_code;
  } kBuffers[] = {{"an unknown type takes a slot of 8", unknown + good, 24, 2, 0},
                  {"carray beyond the used part", good + bytes("08 00 00 20 09 00 00 00") + good, 32, 1, 0},
                  {"carray of 4 GB", good + bytes("08 00 00 20 f8 ff ff ff") + good, 32, 1, 0},
                  {"empty carray", good + bytes("08 00 00 20 00 00 00 00"), 24, 2, 0},
                  {"half a double", good + bytes("06 00 00 18 00 00 00 00"), 24, 1, 0},
                  {"string without an end", good + bytes("07 00 00 1c 78 78 78 78"), 24, 1, 0},
                  {"half a record", good + good, 20, 1, 0},
                  {"more used than there is", full, 2000, 128, FBENOSPACE},
                  {"negative used part", good, -1, 0, FBEBADFB},
                  {"no header in the used part", good, 0, 0, FBEBADFB}};
  for (const auto& [what, records, used, expected, put_code] : kBuffers) {
    SCOPED_TRACE(what);
    Buffer buf;
    buf.forge(records, used);
    EXPECT_EQ(fbfldcount(buf), expected);
    int stepped = 0, field = 0, nth = 0;
    while (stepped <= expected && fbnext_tu(buf, &field, &nth, nullptr, nullptr) == 1) ++stepped;
    EXPECT_EQ(stepped, expected);
    EXPECT_EQ(refusal(fbgetlen(buf, kUnknown, 0)), records.starts_with(unknown) ? FBEBADFLD : FBENOENT);
    EXPECT_EQ(outcome(fbput(buf, kInt, &kOne, 0)), std::pair(put_code == 0 ? 1 : -1, put_code));
    buf.forge("");
  }
}

TEST(FieldCalls, RefuseWhatIsMissing) {
  int value = 0;
  Buffer buf, unknown;
  buf.put(kInt, 1).put_value(kCarray, "1", 1);
  unknown.forge(bytes("09 00 00 24 01 02 03 04"));
  expect_refusals({{"fbget = -1", FBEINVAL, [&] { fbget(buf, kInt, nullptr, nullptr); }},
                   {"fbget = -1", FBETYPE, [&] { fbget(unknown, kUnknown, &value, nullptr); }},
                   {"fbgetf = -1", FBEINVAL, [&] { fbgetf(nullptr, kInt, &value, nullptr, &value); }},
                   {"fbgetval = NULL", FBENOENT, [&] { fbgetval(buf, kInt, -1, nullptr); }},
                   {"fbgetlen = -1", FBENOENT, [&] { fbgetlen(buf, kInt, 1); }},
                   {"fbkeyoccur = -1", FBEINVAL, [] { fbkeyoccur(nullptr, kInt); }},
                   {"fbispres = 0", FBEINVAL, [] { fbispres(nullptr, kInt, 0); }},
                   {"fbfldcount = 0", FBEINVAL, [] { fbfldcount(nullptr); }}});
  const host::Tracing tracing;
  fbispres(buf, kInt, 0);
  fbgetval(nullptr, 5, -1, nullptr);
  const auto events = host::take_trace();
  EXPECT_EQ(events[1], (TraceEvent{"fbispres", 2, "fbispres = 1"}));
  EXPECT_EQ(events[2], (TraceEvent{"fbgetval", 1, "fbgetval(0, 5, -1, 0)"}));
  EXPECT_EQ(buf.key_at(8), kInt);
  EXPECT_EQ(unknown.key_at(8), kUnknown);
  EXPECT_EQ(refusal(_get_fbval_to_usrloc(buf + 16, &value, nullptr)), FBEINVAL) << "a carray needs its length";
  EXPECT_EQ(refusal(_fbput(buf, kCarray, "", 0)), FBEINVAL);
}

// Programs copy whole records over a buffer; what was remembered of the old ones must not be believed.
TEST(Search, BelievesTheBufferNotItsMemory) {
  Buffer buf;
  buf.put(key(FB_INT, 9), 1).put(key(FB_INT, 9), 2);
  const auto overwrite = [&](const char* records) { std::memcpy(buf + 8, bytes(records).data(), 16); };
  const auto value = [&](int number) {
    const auto* at = static_cast<const int*>(fbgetval(buf, key(FB_INT, number), 0, nullptr));
    return at ? *at : -1;
  };
  overwrite("01 00 00 0c  0b 00 00 00  02 00 00 0c  0c 00 00 00");
  EXPECT_EQ(value(2), 12);
  EXPECT_EQ(value(3), -1);
  overwrite("03 00 00 0c  0d 00 00 00  02 00 00 0c  0e 00 00 00");
  EXPECT_EQ(value(3), 13) << "a key that was not there, in front of one that is still in its place";
  EXPECT_EQ(value(1), -1);
  overwrite("02 00 00 0c  0f 00 00 00  01 00 00 0c  10 00 00 00");
  EXPECT_EQ(value(2), 15);
  EXPECT_EQ(value(1), 16);
  EXPECT_EQ(fbkeyoccur(buf, key(FB_INT, 3)), 0);
}

}  // namespace
