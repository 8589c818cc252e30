// Fields as another type, and the compatibility operations: results, error codes, lengths, and what the trace hook
// sees.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>

#include "fb/scratch.h"
#include "tests/support/field_buffer.h"
#include "tests/support/host.h"
#include "tests/support/semantics.h"
#include "vxa/xatmi.h"

extern "C" int _clear_fcache(const void* buf);

namespace {

using fields::Buffer;
using fields::key;
using fields::kFetched;
using host::Semantics;
using testing::ElementsAre;

constexpr int kChar = key(FB_CHAR, 1), kShort = key(FB_SHORT, 2), kInt = key(FB_INT, 3), kLong = key(FB_LONG, 4),
              kDouble = key(FB_DOUBLE, 6), kString = key(FB_STRING, 7), kCarray = key(FB_CARRAY, 8),
              kUnknown = key(9, 9);
constexpr short kMinusOne = -1;

struct Free {
  void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<void, Free>;

// The one event that follows the entry, as "EVENT TEXT".
template <class Call>
std::string outcome(Call call) {
  host::Tracing tracing;
  call();
  const auto events = host::take_trace();
  if (events.size() != 2 || events[0].event != 1) return "not an entry and one outcome";
  return std::to_string(events[1].event) + " " + events[1].text;
}

int int_at(const Buffer& buf, int field, int nth) {
  const void* value = fbgetval(buf, field, nth, nullptr);
  int number = INT_MIN;
  if (value) std::memcpy(&number, value, sizeof number);
  return number;
}

TEST(PutAs, ConvertsToTheKeysType) {
  Buffer buf;
  EXPECT_EQ(fbputt(buf, kInt, "123", 0, FB_STRING), 1);
  EXPECT_EQ(fbputt(buf, kDouble, "123", 0, FB_STRING), 1);
  EXPECT_EQ(fbputt(buf, kLong, "-5", 2, FB_CARRAY), 1);
  const double number = 1.5;
  EXPECT_EQ(fbputt(buf, kString, &number, 0, FB_DOUBLE), 1);
  EXPECT_EQ(fbputt(buf, kCarray, &number, 0, FB_DOUBLE), 1);
  EXPECT_EQ(buf.records(), host::bytes("03 00 00 0c  7b 00 00 00"
                                       "06 00 00 18  00 00 00 00  00 00 00 00  00 c0 5e 40"
                                       "04 00 00 10  fb ff ff ff"
                                       "07 00 00 1c  31 2e 35 30 30 30 30 30 00 __ __ __"
                                       "08 00 00 20  08 00 00 00  31 2e 35 30 30 30 30 30"));
}

TEST(PutAs, TellsAFailedConversionFromAFailedPut) {
  Buffer buf;
  EXPECT_EQ(outcome([&] { fbputt(buf, kInt, "1", 0, 9); }), "4 fbputt = -1 [13 : FBETYPE (type error)]");
  EXPECT_EQ(outcome([&] { fbputt(buf, kInt, nullptr, 0, FB_STRING); }),
            "4 fbputt = -1 [4 : FBEINVAL (invalid argument)]");
  EXPECT_EQ(outcome([&] { fbputt(nullptr, kInt, "1", 0, FB_STRING); }),
            "4 fbputt = -1 [4 : FBEINVAL (invalid argument)]");
  EXPECT_EQ(outcome([&] { fbputt(buf, kCarray, "", 0, FB_STRING); }), "4 fbputt = -1 [4 : FBEINVAL (invalid argument)]")
      << "the empty text is a carray of no bytes";
  const std::string large(2 << 20, '1');
  EXPECT_EQ(fbputt(buf, kString, large.data(), 2 << 20, FB_CARRAY), -1);
  EXPECT_EQ(fberror, FBENOSPACE);
  EXPECT_EQ(st, nullptr);
  EXPECT_EQ(fbputt(buf, kUnknown, "1", 0, FB_STRING), -1);
  EXPECT_EQ(fberror, FBEBADFLD);
  EXPECT_EQ(buf.records(), "");
}

TEST(ValueAs, ReadsAStoredLongAsAnInt) {
  Buffer buf;
  buf.put(kLong, -5L).put_value(kShort, &kMinusOne, 0).put(kDouble, 2.5).put(kString, "77 mm");
  int length = 0;
  EXPECT_STREQ(static_cast<char*>(fbgetvalt(buf, kLong, 0, &length, FB_STRING)), "-5");
  EXPECT_EQ(length, 3);
  EXPECT_EQ(*static_cast<long*>(fbgetvalt(buf, kLong, 0, nullptr, FB_LONG)), -5);
  EXPECT_STREQ(fbgetvals(buf, kDouble, 0), "2.500000");
  EXPECT_EQ(fbgetvals(buf, kString, 0), fbgetval(buf, kString, 0, nullptr)) << "no copy is needed";
  EXPECT_EQ(fbgetvali(buf, kShort, 0), -1) << "with its sign, other than from a record";
  EXPECT_EQ(fbgetvali(buf, kString, 0), 77);
  EXPECT_EQ(fbgetvalt(buf, kString, 1, &length, FB_INT), nullptr);
  EXPECT_EQ(fberror, FBENOENT);
  EXPECT_EQ(fbgetvalt(buf, kString, 0, &length, 0), nullptr);
  EXPECT_EQ(fberror, FBEBADFLD);
}

TEST(ValueAs, KeepsAnOversizedTextUntilAnotherConversion) {
  const std::string large(2 << 20, 'x');
  Buffer buf(0, 3 << 20);
  buf.put_value(kCarray, large.data(), 2 << 20);
  EXPECT_EQ(fbgetvals(buf, kCarray, 0), large);
  EXPECT_NE(st, nullptr);
  EXPECT_EQ(fbgetvali(buf, kCarray, 0), 0);
  EXPECT_EQ(st, nullptr);
  const void* bytes = fbgetvalt(buf, kCarray, 0, nullptr, FB_CARRAY);
  EXPECT_EQ(bytes, fbgetval(buf, kCarray, 0, nullptr));
  EXPECT_EQ(st, nullptr) << "the result lies in the buffer";
  const Block text(fbgetalloc_tut(buf, kCarray, 0, FB_STRING, nullptr));
  EXPECT_EQ(static_cast<char*>(text.get()), large);
  EXPECT_EQ(st, nullptr);
}

TEST(ValueAs, ReportsAFailureAsAReturnWhereOnlyTheCodeTells) {
  Buffer buf;
  EXPECT_EQ(outcome([&] { EXPECT_EQ(fbgetvals(buf, kInt, 0), nullptr); }), "2 fbgetvals = 0");
  EXPECT_EQ(fberror, FBENOENT);
  EXPECT_EQ(outcome([&] { EXPECT_EQ(fbgetvali(nullptr, kInt, 0), 0); }), "2 fbgetvali = 0");
  EXPECT_EQ(fberror, FBEINVAL);
  EXPECT_EQ(outcome([&] { fbgetvalt(buf, kInt, 0, nullptr, FB_INT); }),
            "4 fbgetvalt = NULL [6 : FBENOENT (not found)]");
}

TEST(FindAs, SearchesWithTheConvertedValue) {
  Buffer buf;
  buf.put(kInt, 1).put(kInt, 42).put(kLong, -1L);
  EXPECT_EQ(fbgetntht(buf, kInt, "42", 0, FB_STRING), 1);
  EXPECT_EQ(fbgetntht(buf, kInt, "43", 0, FB_STRING), -1);
  EXPECT_EQ(fberror, 0);
  EXPECT_EQ(fbgetntht(buf, kLong, "-1", 0, FB_STRING), -1) << "stored longs count as unsigned";
  EXPECT_EQ(outcome([&] { fbgetntht(buf, kInt, "7", 0, FB_STRING); }),
            "4 fbgetntht = -1 [0 : FBEMINNO (bottom of error message codes)]");
  EXPECT_EQ(outcome([&] { fbgetntht(buf, kInt, "7", 0, FB_CARRAY); }),
            "4 fbgetntht = -1 [4 : FBEINVAL (invalid argument)]");
}

TEST(FetchAs, WalksOccurrencesAndMarksThem) {
  Buffer buf;
  buf.put_value(kShort, &kMinusOne, 0).put(kDouble, 2.5).put(kDouble, 3.);
  int number = 0;
  int position = 0;
  EXPECT_EQ(fbgetc(buf, kShort, &number, nullptr, &position, FB_INT), 1);
  EXPECT_EQ(number, 65535);
  char text[16];
  for (const char* expected : {"2.5", "3"}) {
    int length = 0;
    EXPECT_EQ(fbgetc(buf, kDouble, text, &length, &position, FB_STRING), 1);
    EXPECT_STREQ(text, expected);
    EXPECT_EQ(length, static_cast<int>(std::strlen(expected)) + 1);
  }
  EXPECT_EQ(fbgetc(buf, kDouble, text, nullptr, &position, FB_STRING), -1);
  EXPECT_EQ(fberror, FBENOENT);
  EXPECT_EQ(fbgetc(buf, kDouble, text, nullptr, nullptr, FB_STRING), -1);
  EXPECT_EQ(fberror, FBEINVAL);
}

TEST(FetchAs, LeavesARefusedRecordUnmarkedAndTellsItsLength) {
  const Semantics refusing("FDL_LEN=ERR");
  Buffer buf;
  buf.put(kString, "sixsix");
  const std::string before = buf.image();
  int length = 4;
  int position = 0;
  char text[9] = "as it is";
  EXPECT_EQ(outcome([&] { fbgetc(buf, kString, text, &length, &position, FB_STRING); }),
            "4 fbgetc = -1 [10 : FBENOSPACE (no space)]");
  EXPECT_EQ(length, 7);
  EXPECT_STREQ(text, "as it is");
  EXPECT_EQ(buf.image(), before);
  EXPECT_EQ(fbgetc(buf, kString, text, &length, &position, FB_STRING), 1);
  EXPECT_EQ(buf.key_at(8), kString | kFetched);
}

TEST(Change, AppendsReplacesInsertsAndRemoves) {
  Buffer buf;
  const int one = 1, two = 2, seven = 7;
  EXPECT_EQ(fbchg_tu(buf, kInt, -1, &one, 0), 1);
  EXPECT_EQ(fbchg_tu(buf, kInt, 0, &two, 0), 1);
  EXPECT_EQ(fbchg_tu(buf, kInt, 3, &seven, 0), 1);
  EXPECT_THAT((std::vector{int_at(buf, kInt, 0), int_at(buf, kInt, 1), int_at(buf, kInt, 2), int_at(buf, kInt, 3)}),
              ElementsAre(2, 0, 0, 7));
  EXPECT_EQ(fbchg_tu(buf, kInt, 1, nullptr, 0), 1);
  EXPECT_EQ(fbkeyoccur(buf, kInt), 3);
  const std::string before = buf.image();
  const auto refused = [&](int nth, const void* value) {
    return outcome([&] { EXPECT_EQ(fbchg_tu(buf, kInt, nth, value, 0), -1); });
  };
  EXPECT_EQ(refused(-1, nullptr), "4 fbchg_tu = -1 [4 : FBEINVAL (invalid argument)]");
  EXPECT_EQ(refused(-2, &one), "4 fbchg_tu = -1 [4 : FBEINVAL (invalid argument)]");
  EXPECT_EQ(refused(3, nullptr), "4 fbchg_tu = -1 [6 : FBENOENT (not found)]");
  EXPECT_EQ(refused(1000, &one), "4 fbchg_tu = -1 [10 : FBENOSPACE (no space)]");
  EXPECT_EQ(buf.image(), before);
}

TEST(Change, ConvertsFirst) {
  Buffer buf;
  EXPECT_EQ(fbchg_tut(buf, kInt, 1, "12", 0, FB_STRING), 1);
  EXPECT_EQ(int_at(buf, kInt, 1), 12);
  const auto refused = [&](const void* value, int len, int type) {
    EXPECT_EQ(fbchg_tut(buf, kInt, 0, value, len, type), -1);
    return fberror;
  };
  EXPECT_EQ(refused("12", 0, 9), FBETYPE);
  EXPECT_EQ(refused(nullptr, 0, FB_CARRAY), FBEINVAL) << "the conversion's checks come before the removal";
  EXPECT_EQ(refused(nullptr, 0, 9), FBETYPE);
  EXPECT_EQ(fbkeyoccur(buf, kInt), 2);
  EXPECT_EQ(fbchg_tut(buf, kInt, 0, nullptr, 0, FB_STRING), 1);
  EXPECT_EQ(int_at(buf, kInt, 0), 12);
  EXPECT_EQ(fbkeyoccur(buf, kInt), 1);
}

TEST(DeleteAll, AddsUpAListOfKeys) {
  Buffer buf;
  buf.put(kInt, 1).put(kString, "a").put(kInt, 2).put(kString, "b").put(kString, "c").put(kDouble, 4.);
  const int keys[] = {kInt, kLong, kString, 0, kDouble};
  EXPECT_EQ(fbdelall_tu(buf, keys), 5);
  EXPECT_EQ(fberror, 0);
  EXPECT_EQ(fbfldcount(buf), 1) << "the list ends at the key 0";
  const int absent[] = {kDouble, kInt, 0};
  EXPECT_EQ(outcome([&] { fbdelall_tu(buf, absent); }), "2 fbdelall_tu = 1");
  EXPECT_EQ(fberror, FBENOENT) << "there was nothing of the last key";
  EXPECT_EQ(fbdelall_tu(buf, nullptr), -1);
  EXPECT_EQ(fberror, FBEINVAL);
}

TEST(Read, CopiesWithoutAMark) {
  const Semantics none(nullptr);
  Buffer buf;
  buf.put(kLong, -1L).put(kString, "word").put(kString, "later");
  long number = 0;
  int length = 99;
  EXPECT_EQ(fbget_tu(buf, kLong, 0, &number, &length), 1);
  EXPECT_EQ(number, 4294967295L);
  EXPECT_EQ(length, 99) << "fixed lengths are not told";
  char text[8];
  EXPECT_EQ(fbget_tu(buf, kString, 1, text, nullptr), 1);
  EXPECT_STREQ(text, "later");
  EXPECT_EQ(fbget_tut(buf, kString, 0, text, &length, FB_CARRAY), 1);
  EXPECT_EQ(length, 4);
  EXPECT_EQ(fbgett(buf, kLong, text, &length, FB_STRING), 1);
  EXPECT_STREQ(text, "-1");
  EXPECT_EQ(fbkeyoccur(buf, kString), 2);
}

TEST(Read, TellsTheLengthThatARefusedValueNeeds) {
  const Semantics refusing("FDL_LEN=ERR");
  Buffer buf;
  buf.put(kString, "1234567890");
  char text[16] = "";
  const auto needed = [&](int (*call)(const void*, char*, int*)) {
    int length = 10;
    EXPECT_EQ(call(buf, text, &length), -1);
    EXPECT_EQ(fberror, FBENOSPACE);
    return length;
  };
  EXPECT_EQ(needed([](auto b, auto t, auto n) { return fbget_tu(b, kString, 0, t, n); }), 11);
  EXPECT_EQ(needed([](auto b, auto t, auto n) { return fbget_tut(b, kString, 0, t, n, FB_STRING); }), 11);
  EXPECT_EQ(needed([](auto b, auto t, auto n) { return fbgett(b, kString, t, n, FB_STRING); }), 11);
  EXPECT_EQ(needed([](auto b, auto t, auto n) { return fbgetlast_tu(b, kString, nullptr, t, n); }), 11);
  EXPECT_STREQ(text, "");
}

TEST(Read, ReportsInItsOwnWords) {
  const Semantics refusing("FDL_LEN=ERR");
  Buffer buf;
  buf.put(kString, "text");
  char text[8];
  int one = 1;
  EXPECT_EQ(outcome([&] { fbgett(buf, kString, text, nullptr, FB_STRING); }), "2 fbgett = 1 ");
  EXPECT_EQ(outcome([&] { fbgett(buf, kInt, text, nullptr, FB_STRING); }), "4 fbgett = -1 [6 : FBENOENT (not found)]");
  EXPECT_EQ(outcome([&] { fbget_tu(buf, kInt, 0, text, nullptr); }), "4 fbget_tu = NULL [6 : FBENOENT (not found)]");
  EXPECT_EQ(outcome([&] { fbget_tut(buf, kString, 0, text, nullptr, 9); }),
            "4 fbget_tut = -1 [8 : FBEBADFLD (bad field)]");
  EXPECT_EQ(outcome([&] { fbgetlast_tu(buf, kInt, nullptr, text, nullptr); }),
            "4 fbgetlast_tu = -1 [6 : FBENOENT (not found)]");
  EXPECT_EQ(outcome([&] { fbgetlast_tu(buf, kString, nullptr, text, &one); }),
            "4 fbgetlast_tu = n [10 : FBENOSPACE (no space)]");
  EXPECT_EQ(outcome([&] { fbgetval_last_tu(buf, kInt, nullptr, nullptr); }),
            "4 fbgetval_last_tu = NULL [6 : FBENOENT (not found)]");
}

TEST(Last, IsFoundWithItsNumber) {
  Buffer buf;
  for (int i = 0; i < 40; ++i) buf.put(kInt, i).put(kString, "between");
  int nth = -7;
  int number = 0;
  int length = 0;
  EXPECT_EQ(fbgetlast_tu(buf, kInt, &nth, &number, nullptr), 1);
  EXPECT_EQ(nth, 39);
  EXPECT_EQ(number, 39);
  EXPECT_EQ(fbgetval_last_tu(buf, kString, &nth, &length), fbgetval(buf, kString, 39, nullptr));
  EXPECT_EQ(length, 7);
  EXPECT_EQ(fbgetlast_tu(buf, kLong, &nth, &number, nullptr), -1);
  EXPECT_EQ(fberror, FBENOENT);
  EXPECT_EQ(nth, 39);
}

TEST(AllocatingRead, GrowsTheBlockButNotTheSizeItTells) {
  const Semantics none(nullptr);
  Buffer buf;
  buf.put(kInt, 258).put(kLong, -2L).put(kString, "abc").put(kDouble, -DBL_MAX);
  int size = 0;
  const Block number(fbgetalloc_tu(buf, kInt, 0, &size));
  EXPECT_EQ(*static_cast<int*>(number.get()), 258);
  EXPECT_EQ(size, 4);
  size = 0;
  const Block wide(fbgetalloc_tu(buf, kLong, 0, &size));
  EXPECT_EQ(*static_cast<long*>(wide.get()), 4294967294L);
  EXPECT_EQ(size, 4);
  size = 10;
  const Block text(fbgetalloc_tu(buf, kString, 0, &size));
  EXPECT_STREQ(static_cast<char*>(text.get()), "abc");
  EXPECT_EQ(size, 13);
  const Block bare(fbgetalloc_tu(buf, kString, 0, nullptr));
  EXPECT_STREQ(static_cast<char*>(bare.get()), "abc");
  size = 1;
  const Block digits(fbgetalloc_tut(buf, kDouble, 0, FB_STRING, &size));
  EXPECT_EQ(std::strlen(static_cast<char*>(digits.get())), 310u) << "a sign and 309 digits";
  EXPECT_EQ(size, 101);
  size = 0;
  const Block widened(fbgetalloc_tut(buf, kInt, 0, FB_LONG, &size));
  EXPECT_EQ(*static_cast<long*>(widened.get()), 258);
  EXPECT_EQ(size, 4);
}

TEST(AllocatingRead, IsLimitedByTheSizeItTells) {
  Buffer buf;
  buf.put(kString, "abc").put(kDouble, 1e200);
  {
    const Semantics refusing("FDL_LEN=ERR");
    int extra = 0;
    EXPECT_EQ(fbgetalloc_tu(buf, kString, 0, &extra), nullptr);
    EXPECT_EQ(fberror, FBENOSPACE);
    EXPECT_EQ(extra, 0);
    EXPECT_EQ(fbgetalloc_tut(buf, kDouble, 0, FB_CARRAY, &extra), nullptr);
    EXPECT_EQ(fberror, FBENOSPACE);
    extra = 1;
    const Block whole(fbgetalloc_tu(buf, kString, 0, &extra));
    EXPECT_STREQ(static_cast<char*>(whole.get()), "abc");
  }
  const Semantics cutting("FDL_LEN=TRU");
  const Block cut(fbgetalloc_tu(buf, kString, 0, nullptr));
  EXPECT_STREQ(static_cast<char*>(cut.get()), "ab");
}

TEST(AllocatingRead, RefusesBeforeItAllocates) {
  Buffer buf;
  buf.put(kInt, 1);
  const auto refused = [&](int field, int type, int extra) {
    int size = extra;
    EXPECT_EQ(type ? fbgetalloc_tut(buf, field, 0, type, &size) : fbgetalloc_tu(buf, field, 0, &size), nullptr);
    EXPECT_EQ(size, extra);
    return fberror;
  };
  EXPECT_EQ(refused(kLong, 0, 0), FBENOENT);
  EXPECT_EQ(refused(kInt, 9, INT_MAX), FBEBADFLD);
  EXPECT_EQ(refused(kInt, 0, INT_MAX), FBEMALLOC);
  EXPECT_EQ(refused(kInt, FB_INT, -5), FBEMALLOC);
  EXPECT_EQ(outcome([&] { fbgetalloc_tu(buf, kInt, 1, nullptr); }),
            "4 fbgetalloc_tu = NULL [6 : FBENOENT (not found)]");
}

TEST(StringInPlace, IsEmptyWhereThereIsNone) {
  Buffer buf;
  buf.put(kString, "here").put(kInt, 1);
  EXPECT_EQ(fbgetvals_tu(buf, kString, 0), fbgetval(buf, kString, 0, nullptr));
  EXPECT_EQ(outcome([&] { EXPECT_STREQ(fbgetvals_tu(buf, kInt, 0), ""); }), "2 fbgetvals_tu = \"\"");
  EXPECT_EQ(fberror, 0);
  EXPECT_STREQ(fbgetvals_tu(buf, kString, 1), "");
  EXPECT_EQ(fberror, 0);
  EXPECT_STREQ(fbgetvals_tu(nullptr, kString, 0), "");
  EXPECT_EQ(getFerror(), FBEINVAL);
}

TEST(LongInPlace, IsReadWithoutASign) {
  Buffer buf;
  buf.put_value(kShort, &kMinusOne, 0).put(kInt, -1).put(kLong, 4294967301L).put(kDouble, 1.);
  EXPECT_EQ(fbgetvall_tu(buf, kShort, 0), 65535);
  EXPECT_EQ(fbgetvall_tu(buf, kInt, 0), 4294967295L);
  EXPECT_EQ(fbgetvall_tu(buf, kLong, 0), 5);
  EXPECT_EQ(outcome([&] { EXPECT_EQ(fbgetvall_tu(buf, kDouble, 0), 0); }),
            "4 fbgetvall_tu = 0 [13 : FBETYPE (type error)]");
  EXPECT_EQ(outcome([&] { EXPECT_EQ(fbgetvall_tu(buf, kInt, 1), 0); }),
            "4 fbgetvall_tu = 0 [6 : FBENOENT (not found)]");
}

// The records of a buffer as fbnext_tu steps through them: key, occurrence and value length.
using Step = std::tuple<int, int, int>;

std::vector<Step> steps(const void* buf, bool forget = false) {
  std::vector<Step> all;
  int field = 0, nth = 0, length = 0;
  while (fbnext_tu(buf, &field, &nth, nullptr, &length) == 1) {
    all.emplace_back(field, nth, length);
    if (forget) _clear_fcache(buf);
  }
  EXPECT_EQ(fberror, 0);
  return all;
}

TEST(Next, VisitsEveryRecordWithItsOccurrence) {
  Buffer buf;
  EXPECT_THAT(steps(buf), ElementsAre());
  buf.put(kInt, 1).put(kString, "ab").put(kInt, 2).put(kLong, 3L).put(kInt, 3).put_value(kCarray, "xyz", 3);
  int taken = 0;
  fbget(buf, kInt, &taken, nullptr);
  fbget(buf, kInt, &taken, nullptr);
  const std::vector<Step> expected = {{kInt | kFetched, 0, 4}, {kString, 0, 2}, {kInt | kFetched, 1, 4},
                                      {kLong, 0, 4},           {kInt, 0, 4},    {kCarray, 0, 3}};
  EXPECT_EQ(steps(buf), expected);
  EXPECT_EQ(steps(buf), expected) << "from where the first loop left the cache";
  EXPECT_EQ(steps(buf, true), expected);
}

// One walk over a buffer of 8-byte records, held against a count of the words before each.
class Walk {
 public:
  explicit Walk(const Buffer& buf) : buf_(buf) {}

  // One step; false at the end.
  bool step() {
    if (fbnext_tu(buf_, &field_, &nth_, nullptr, nullptr) != 1) {
      EXPECT_EQ(std::tuple(fberror, at_), std::tuple(0, fbget_used(buf_)));
      return false;
    }
    int before = 0;
    for (int offset = 8; offset < at_; offset += 8) before += buf_.key_at(offset) == buf_.key_at(at_);
    EXPECT_EQ(std::tuple(field_, nth_), std::tuple(buf_.key_at(at_), before)) << "at " << at_;
    at_ += 8;
    return true;
  }
  int field() const { return field_; }

 private:
  const Buffer& buf_;
  int at_ = 8;
  int field_ = 0;
  int nth_ = 0;
};

TEST(Next, CountsRightWhateverHappensBetweenSteps) {
  std::mt19937 random{4711};
  const auto some_key = [&](unsigned of) { return key(FB_INT, 1 + static_cast<int>(random() % of)); };
  for (int round = 0; round < 60; ++round) {
    Buffer one(3000), other(3000);
    const unsigned keys = round % 3 ? 7 : 500;
    for (int i = 0; i < 300; ++i) one.put(some_key(keys), i), other.put(some_key(keys), i);
    Walk walks[] = {Walk(one), Walk(other)};
    for (const Walk& interrupting = walks[1]; walks[0].step();) {
      const int field = some_key(keys);
      int taken = 0;
      switch (random() % 40) {
        case 0:
          if (field != walks[0].field()) fbget(one, field, &taken, nullptr);
          break;
        case 1:
          if (field != interrupting.field()) fbget(other, field, &taken, nullptr);
          break;
        case 2:
          one.put(field, 0);
          break;
        case 3:
          fbinsert(one, field, fbkeyoccur(one, field), &taken, 0);
          break;
        case 4:
          walks[1].step();
          break;
        default:
          break;
      }
    }
  }
}

TEST(Next, CopiesValuesThatAreNotNull) {
  Buffer buf;
  buf.put(kInt, 0).put(kString, "").put(kChar, 'x').put(kString, "text");
  char dest[8] = "kept";
  int field = 0, nth = 0, length = 4;
  EXPECT_EQ(fbnext_tu(buf, &field, &nth, dest, &length), 1);
  EXPECT_EQ(fbnext_tu(buf, &field, &nth, dest, nullptr), 1);
  EXPECT_STREQ(dest, "kept");
  EXPECT_EQ(outcome([&] { fbnext_tu(buf, &field, &nth, dest, nullptr); }), "2 fbnext_tu = 1");
  EXPECT_STREQ(dest, "xept");
  EXPECT_EQ(fbnext_tu(buf, &field, &nth, dest, nullptr), 1);
  EXPECT_STREQ(dest, "text");
  length = 77;
  EXPECT_EQ(outcome([&] { fbnext_tu(buf, &field, &nth, dest, &length); }), "2 fbnext_tu = 0");
  EXPECT_EQ(std::tuple(field, nth, length), Step(kString, 1, 77)) << "the end leaves all as it was";
}

// A call with an area of that many bytes on the only record: its result and what it left in length and key.
struct NextCall {
  int field;
  int room;
  int result;
  int length;
};

TEST(Next, AsksForTheRoomThatTheCopyTakes) {
  const Semantics none(nullptr);
  const NextCall kCalls[] = {{kString, 3, -1, 3}, {kString, 4, -1, 4}, {kString, 5, 1, 4},
                             {kLong, 4, -1, 4},   {kLong, 7, -1, 7},   {kLong, 8, 1, 4},
                             {kCarray, 1, -1, 1}, {kCarray, 2, 1, 2},  {kDouble, -1, -1, -1}};
  for (const NextCall& expected : kCalls) {
    SCOPED_TRACE(testing::Message() << "type " << (expected.field >> 26) << ", room " << expected.room);
    Buffer buf;
    if (expected.field == kString) buf.put(kString, "four");
    if (expected.field == kLong) buf.put(kLong, 6L);
    if (expected.field == kCarray) buf.put_value(kCarray, "xy", 2);
    if (expected.field == kDouble) buf.put(kDouble, 0.);
    int field = 0, nth = 55, length = expected.room;
    char dest[8];
    EXPECT_EQ(fbnext_tu(buf, &field, &nth, dest, &length), expected.result);
    EXPECT_EQ(length, expected.length);
    EXPECT_EQ(std::pair(field, nth), expected.result == 1 ? std::pair(expected.field, 0) : std::pair(0, 55));
    EXPECT_EQ(fberror, expected.result == 1 ? 0 : FBENOSPACE);
  }
}

TEST(Next, LeavesStringsToAnEnforcedPolicy) {
  Buffer buf;
  buf.put(kString, "four");
  char dest[4];
  int field = 0, nth = 0, length = 4;
  {
    const Semantics cutting("FDL_LEN=TRU");
    EXPECT_EQ(fbnext_tu(buf, &field, &nth, dest, &length), 1);
    EXPECT_STREQ(dest, "fou");
    EXPECT_EQ(length, 4);
  }
  const Semantics refusing("FDL_LEN=ERR");
  field = 0;
  EXPECT_EQ(outcome([&] { EXPECT_EQ(fbnext_tu(buf, &field, &nth, dest, &length), -1); }),
            "2 fbnext_tu = -1 [10 : FBENOSPACE (no space)]");
  EXPECT_EQ(fberror, FBENOSPACE);
  EXPECT_EQ(field, kString) << "the record was told before its copy failed";
}

TEST(Next, RefusesWhatTellsNoRecord) {
  Buffer buf;
  buf.put(kInt, 1);
  int field = kInt, nth = 1;
  EXPECT_EQ(outcome([&] { EXPECT_EQ(fbnext_tu(buf, &field, &nth, nullptr, nullptr), -1); }),
            "4 fbnext_tu = -1 [4 : FBEINVAL (invalid argument)]");
  EXPECT_EQ(fbnext_tu(buf, nullptr, &nth, nullptr, nullptr), -1);
  EXPECT_EQ(fbnext_tu(buf, &field, nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(fberror, FBEINVAL);
  buf.forge(std::string(16, '\0'));
  field = 0;
  EXPECT_EQ(fbnext_tu(buf, &field, &nth, nullptr, nullptr), -1) << "a key 0 would start over for ever";
  EXPECT_EQ(fberror, FBEBADFB);
}

TEST(NullBuffer, IsRefusedByEveryCall) {
  int number = 0;
  char text[8];
  const int keys[] = {kInt, 0};
  const auto refused = [](auto result) {
    EXPECT_EQ(fberror, FBEINVAL);
    fberror = 0;
    if constexpr (std::is_pointer_v<decltype(result)>)
      return result ? 0 : -1;
    else
      return static_cast<int>(result);
  };
  EXPECT_EQ(refused(fbgetvalt(nullptr, kInt, 0, &number, FB_INT)), -1);
  EXPECT_EQ(refused(fbgetntht(nullptr, kInt, "1", 0, FB_STRING)), -1);
  EXPECT_EQ(refused(fbgetc(nullptr, kInt, text, nullptr, &number, FB_INT)), -1);
  EXPECT_EQ(refused(fbgetvals(nullptr, kInt, 0)), -1);
  EXPECT_EQ(refused(fbchg_tu(nullptr, kInt, 0, &number, 0)), -1);
  EXPECT_EQ(refused(fbchg_tut(nullptr, kInt, 0, "1", 0, FB_STRING)), -1);
  EXPECT_EQ(refused(fbdelall_tu(nullptr, keys)), -1);
  EXPECT_EQ(refused(fbgetval_last_tu(nullptr, kInt, nullptr, nullptr)), -1);
  EXPECT_EQ(refused(fbget_tu(nullptr, kInt, 0, text, nullptr)), -1);
  EXPECT_EQ(refused(fbget_tut(nullptr, kInt, 0, text, nullptr, FB_INT)), -1);
  EXPECT_EQ(refused(fbgett(nullptr, kInt, text, nullptr, FB_INT)), -1);
  EXPECT_EQ(refused(fbgetalloc_tu(nullptr, kInt, 0, nullptr)), -1);
  EXPECT_EQ(refused(fbgetalloc_tut(nullptr, kInt, 0, FB_INT, nullptr)), -1);
  EXPECT_EQ(refused(fbgetlast_tu(nullptr, kInt, nullptr, text, nullptr)), -1);
  EXPECT_EQ(refused(fbnext_tu(nullptr, &number, &number, text, nullptr)), -1);
  EXPECT_EQ(refused(fbgetvall_tu(nullptr, kInt, 0)), 0);
}

struct Damage {
  const char* what;
  std::string records;
  int used;
  std::size_t readable;  // the records in front of the damage
};

TEST(Next, EndsWhereDamageBegins) {
  const std::string good = host::bytes("03 00 00 0c  05 00 00 00");
  const std::string to_the_end(1024 - 8 - 8, 'x');
  const Damage kDamages[] = {
      {"used beyond the capacity", good, INT_MAX, 1},
      {"used negative", good, -8, 0},
      {"used ends within a record", good, 12, 0},
      {"string without an end", good + host::bytes("07 00 00 1c") + "xxxx" + to_the_end, 1032, 1},
      {"carray beyond the end", good + host::bytes("08 00 00 20  ff ff ff 7f"), 24, 1},
      {"carray of a negative length", good + host::bytes("08 00 00 20  f0 ff ff ff"), 24, 1},
      {"half a double", good + host::bytes("06 00 00 18  00 00 00 00"), 24, 1},
      {"empty carray at the end", good + host::bytes("08 00 00 20  00 00 00 00"), 24, 2},
      {"unknown type", good + host::bytes("09 00 00 24  ff ff ff ff"), 24, 2},
  };
  for (const Damage& damage : kDamages) {
    SCOPED_TRACE(damage.what);
    Buffer buf;
    buf.forge(damage.records, damage.used);
    int field = 0, nth = 0;
    std::size_t visited = 0;
    while (visited <= damage.readable && fbnext_tu(buf, &field, &nth, nullptr, nullptr) == 1) ++visited;
    EXPECT_EQ(visited, damage.readable);
  }
}

}  // namespace
