// Fields as another type, and the compatibility operations: results, error codes, lengths, and what the trace hook
// sees.
#include <cfloat>
#include <climits>
#include <optional>
#include <tuple>

#include "base/heap.h"
#include "fb/scratch.h"
#include "tests/support/field_test.h"

namespace {

using Block = vxa::HeapPtr<char>;
Block block_of(void* value) { return Block(static_cast<char*>(value)); }

// The text with which a call that reports a return does so.
template <class Call>
std::string returned(Call call) {
  const host::Tracing tracing;
  call();
  const auto events = host::take_trace();
  return events.size() == 2 && events[1].event == 2 ? events[1].text : "not an entry and a return";
}

TEST(PutAs, ConvertsToTheKeysType) {
  Buffer buf;
  const double number = 1.5;
  EXPECT_EQ(fbputt(buf, kInt, "123", 0, FB_STRING), 1);
  EXPECT_EQ(fbputt(buf, kLong, "-5", 2, FB_CARRAY), 1);
  EXPECT_EQ(fbputt(buf, kString, &number, 0, FB_DOUBLE), 1);
  EXPECT_EQ(fbputt(buf, kCarray, &number, 0, FB_DOUBLE), 1);
  const std::string expected = bytes(
      "03 00 00 0c  7b 00 00 00"
      "04 00 00 10  fb ff ff ff"
      "07 00 00 1c  31 2e 35 30 30 30 30 30 00 __ __ __"
      "08 00 00 20  08 00 00 00  31 2e 35 30 30 30 30 30");
  EXPECT_EQ(buf.records(), expected);

  const std::string large(2 << 20, '1');
  expect_refusals({{"fbputt = -1", FBETYPE, [&] { fbputt(buf, kInt, "1", 0, 9); }},
                   {"fbputt = -1", FBEINVAL, [&] { fbputt(buf, kInt, nullptr, 0, FB_STRING); }},
                   {"fbputt = -1", FBEINVAL, [&] { fbputt(buf, kCarray, "", 0, FB_STRING); }},
                   {"fbputt = -1", FBEINVAL, [] { fbputt(nullptr, kInt, "1", 0, FB_STRING); }},
                   {"fbputt = -1", FBEBADFLD, [&] { fbputt(buf, kUnknown, "1", 0, FB_STRING); }},
                   {"fbputt = -1", FBENOSPACE, [&] { fbputt(buf, kString, large.data(), 2 << 20, FB_CARRAY); }}});
  EXPECT_EQ(st, nullptr);
  EXPECT_EQ(buf.records(), expected);
}

TEST(ValueAs, ReadsAStoredLongAsAnInt) {
  Buffer buf;
  buf.put(kLong, -5L).put(kShort, -1).put(kDouble, 2.5).put(kString, "77 mm");
  int length = 0;
  EXPECT_STREQ(static_cast<char*>(fbgetvalt(buf, kLong, 0, &length, FB_STRING)), "-5");
  EXPECT_EQ(length, 3);
  EXPECT_EQ(*static_cast<long*>(fbgetvalt(buf, kLong, 0, nullptr, FB_LONG)), -5);
  EXPECT_STREQ(fbgetvals(buf, kDouble, 0), "2.500000");
  EXPECT_EQ(fbgetvals(buf, kString, 0), fbgetval(buf, kString, 0, nullptr)) << "no copy is needed";
  EXPECT_EQ(fbgetvali(buf, kShort, 0), -1) << "with its sign, other than from a record";
  EXPECT_EQ(fbgetvali(buf, kString, 0), 77);
  expect_refusals({{"fbgetvalt = NULL", FBENOENT, [&] { fbgetvalt(buf, kString, 1, &length, FB_INT); }},
                   {"fbgetvalt = NULL", FBEBADFLD, [&] { fbgetvalt(buf, kString, 0, &length, 0); }}});
  EXPECT_EQ(returned([&] { EXPECT_EQ(refusal(fbgetvals(buf, kInt, 0)), FBENOENT); }), "fbgetvals = 0");
  EXPECT_EQ(returned([] { EXPECT_EQ(outcome(fbgetvali(nullptr, kInt, 0)), std::pair(0, FBEINVAL)); }), "fbgetvali = 0");
}

TEST(ValueAs, KeepsAnOversizedTextUntilAnotherConversion) {
  const std::string large(2 << 20, 'x');
  Buffer buf(0, 3 << 20);
  buf.put_value(kCarray, large.data(), 2 << 20);
  EXPECT_EQ(fbgetvals(buf, kCarray, 0), large);
  EXPECT_NE(st, nullptr);
  EXPECT_EQ(fbgetvali(buf, kCarray, 0), 0);
  EXPECT_EQ(st, nullptr);
  EXPECT_EQ(fbgetvalt(buf, kCarray, 0, nullptr, FB_CARRAY), fbgetval(buf, kCarray, 0, nullptr));
  EXPECT_EQ(st, nullptr) << "the result lies in the buffer";
  EXPECT_EQ(block_of(fbgetalloc_tut(buf, kCarray, 0, FB_STRING, nullptr)).get(), large);
  EXPECT_EQ(st, nullptr);
}

TEST(FindAs, SearchesWithTheConvertedValue) {
  Buffer buf;
  buf.put(kInt, 1).put(kInt, 42).put(kLong, -1L);
  EXPECT_EQ(fbgetntht(buf, kInt, "42", 0, FB_STRING), 1);
  EXPECT_EQ(fbgetntht(buf, kLong, "-1", 0, FB_STRING), -1) << "stored longs count as unsigned";
  expect_refusals({{"fbgetntht = -1", FBEMINNO, [&] { fbgetntht(buf, kInt, "43", 0, FB_STRING); }},
                   {"fbgetntht = -1", FBEINVAL, [&] { fbgetntht(buf, kInt, "7", 0, FB_CARRAY); }},
                   {"fbgetntht = -1", FBEINVAL, [] { fbgetntht(nullptr, kInt, "1", 0, FB_STRING); }}});
}

TEST(FetchAs, WalksOccurrencesAndMarksThem) {
  const Semantics refusing("FDL_LEN=ERR");
  Buffer buf;
  buf.put(kShort, -1).put(kDouble, 2.5).put(kString, "sixsix");
  int number = 0, position = 0, length = 0;
  EXPECT_EQ(fbgetc(buf, kShort, &number, nullptr, &position, FB_INT), 1);
  EXPECT_EQ(number, 65535);
  char text[16] = "as it is";
  length = 4;
  const std::string before = buf.image();
  expect_refusals({{"fbgetc = -1", FBENOSPACE, [&] { fbgetc(buf, kString, text, &length, &position, FB_STRING); }},
                   {"fbgetc = -1", FBENOENT, [&] { fbgetc(buf, kInt, text, nullptr, &number, FB_STRING); }},
                   {"fbgetc = -1", FBEINVAL, [&] { fbgetc(buf, kDouble, text, nullptr, nullptr, FB_STRING); }},
                   {"fbgetc = -1", FBEINVAL, [&] { fbgetc(nullptr, kInt, text, nullptr, &number, FB_INT); }}});
  EXPECT_EQ(length, 7) << "what the refused one needs";
  EXPECT_STREQ(text, "as it is");
  EXPECT_EQ(buf.image(), before);
  EXPECT_EQ(fbgetc(buf, kString, text, &length, &position, FB_STRING), 1);
  EXPECT_STREQ(text, "sixsix");
  EXPECT_EQ(buf.key_at(32), kString | kFetched);
  EXPECT_EQ(fbgetc(buf, kDouble, text, &(length = 0), &(position = 0), FB_STRING), 1);
  EXPECT_EQ(std::tuple(length, std::string(text)), std::tuple(4, "2.5"));
}

TEST(Change, AppendsReplacesInsertsAndRemoves) {
  Buffer buf;
  const int one = 1, two = 2, seven = 7;
  EXPECT_EQ(fbchg_tu(buf, kInt, -1, &one, 0), 1);
  EXPECT_EQ(fbchg_tu(buf, kInt, 0, &two, 0), 1);
  EXPECT_EQ(fbchg_tu(buf, kInt, 3, &seven, 0), 1);
  EXPECT_EQ(fbchg_tu(buf, kInt, 1, nullptr, 0), 1);
  EXPECT_EQ(fbchg_tut(buf, kInt, 3, "12", 0, FB_STRING), 1);
  const std::string changed = bytes(
      "03 00 00 0c 02 00 00 00  03 00 00 0c 00 00 00 00"
      "03 00 00 0c 07 00 00 00  03 00 00 0c 0c 00 00 00");
  EXPECT_EQ(buf.records(), changed);
  expect_refusals({{"fbchg_tu = -1", FBEINVAL, [&] { fbchg_tu(buf, kInt, -1, nullptr, 0); }},
                   {"fbchg_tu = -1", FBEINVAL, [&] { fbchg_tu(buf, kInt, -2, &one, 0); }},
                   {"fbchg_tu = -1", FBENOENT, [&] { fbchg_tu(buf, kInt, 4, nullptr, 0); }},
                   {"fbchg_tu = -1", FBENOSPACE, [&] { fbchg_tu(buf, kInt, 1000, &one, 0); }},
                   {"fbchg_tut = -1", FBETYPE, [&] { fbchg_tut(buf, kInt, 0, "12", 0, 9); }},
                   // The conversion's checks come before the removal.
                   {"fbchg_tut = -1", FBEINVAL, [&] { fbchg_tut(buf, kInt, 0, nullptr, 0, FB_CARRAY); }},
                   {"fbchg_tut = -1", FBETYPE, [&] { fbchg_tut(buf, kInt, 0, nullptr, 0, 9); }}});
  EXPECT_EQ(buf.records(), changed);
  EXPECT_EQ(fbchg_tut(buf, kInt, 0, nullptr, 0, FB_STRING), 1);
  EXPECT_EQ(buf.records(), changed.substr(8));
}

TEST(DeleteAll, AddsUpAListOfKeys) {
  Buffer buf;
  buf.put(kInt, 1).put(kString, "a").put(kInt, 2).put(kString, "b").put(kString, "c").put(kDouble, 4.);
  const int keys[] = {kInt, kLong, kString, 0, kDouble};
  EXPECT_EQ(outcome(fbdelall_tu(buf, keys)), std::pair(5, 0));
  EXPECT_EQ(fbfldcount(buf), 1) << "the list ends at the key 0";
  const int absent[] = {kDouble, kInt, 0};
  EXPECT_EQ(returned([&] { fbdelall_tu(buf, absent); }), "fbdelall_tu = 1");
  EXPECT_EQ(fberror, FBENOENT) << "there was nothing of the last key";
  expect_refusals({{"fbdelall_tu = -1", FBEINVAL, [&] { fbdelall_tu(buf, nullptr); }}});
}

TEST(Read, CopiesWithoutAMark) {
  Buffer buf;
  buf.put(kLong, -1L).put(kString, "word").put(kString, "later");
  const std::string before = buf.image();
  long number = 0;
  int length = 99, nth = -7;
  EXPECT_EQ(fbget_tu(buf, kLong, 0, &number, &length), 1);
  EXPECT_EQ(std::tuple(number, length), std::tuple(4294967295L, 99)) << "fixed lengths are not told";
  char text[8];
  EXPECT_EQ(fbget_tu(buf, kString, 1, text, nullptr), 1);
  EXPECT_STREQ(text, "later");
  EXPECT_EQ(fbget_tut(buf, kString, 0, text, &length, FB_CARRAY), 1);
  EXPECT_EQ(std::tuple(length, std::string(text, 5)), std::tuple(4, "wordr"));
  EXPECT_EQ(returned([&] { fbgett(buf, kLong, text, &length, FB_STRING); }), "fbgett = 1 ");
  EXPECT_STREQ(text, "-1");
  EXPECT_EQ(fbgetlast_tu(buf, kString, &nth, text, nullptr), 1);
  EXPECT_EQ(std::tuple(nth, std::string(text)), std::tuple(1, "later"));
  EXPECT_EQ(fbgetval_last_tu(buf, kString, &nth, &length), fbgetval(buf, kString, 1, nullptr));
  EXPECT_EQ(length, 5);
  EXPECT_EQ(buf.image(), before);
}

TEST(Read, ReportsInItsOwnWords) {
  const Semantics refusing("FDL_LEN=ERR");
  Buffer buf;
  buf.put(kString, "1234567890");
  char text[16] = "";
  int length = 10, nth = -7;
  expect_refusals({{"fbgett = -1", FBENOENT, [&] { fbgett(buf, kInt, text, nullptr, FB_STRING); }},
                   {"fbget_tu = NULL", FBENOENT, [&] { fbget_tu(buf, kInt, 0, text, nullptr); }},
                   {"fbget_tut = -1", FBEBADFLD, [&] { fbget_tut(buf, kString, 0, text, nullptr, 9); }},
                   {"fbgetlast_tu = -1", FBENOENT, [&] { fbgetlast_tu(buf, kInt, &nth, text, nullptr); }},
                   {"fbgetval_last_tu = NULL", FBENOENT, [&] { fbgetval_last_tu(buf, kInt, &nth, nullptr); }}});
  EXPECT_EQ(nth, -7);
  const auto reading = [&](auto read) {
    return [&, read] {
      read(&(length = 10));
      EXPECT_EQ(length, 11) << "what the refused value needs";
    };
  };
  expect_refusals(
      {{"fbget_tu = NULL", FBENOSPACE, reading([&](int* len) { fbget_tu(buf, kString, 0, text, len); })},
       {"fbget_tut = -1", FBENOSPACE, reading([&](int* len) { fbget_tut(buf, kString, 0, text, len, FB_STRING); })},
       {"fbgett = -1", FBENOSPACE, reading([&](int* len) { fbgett(buf, kString, text, len, FB_STRING); })},
       {"fbgetlast_tu = n", FBENOSPACE, reading([&](int* len) { fbgetlast_tu(buf, kString, nullptr, text, len); })}});
  EXPECT_STREQ(text, "");
}

// The block grows to what the copy writes, but neither the size that is told nor the limit that a policy enforces.
TEST(AllocatingRead, GrowsTheBlockButNotTheSizeItTells) {
  const auto number = [](long value, std::size_t size) {
    return std::string(reinterpret_cast<const char*>(&value), size);
  };
  const struct {
    const char* policy;
    int key, as, extra, told;  // as 0: by the call that does not convert; told -1: refused
    std::string value;
  } kReads[] = {{nullptr, kInt, 0, 0, 4, number(258, 4)},
                {nullptr, kLong, 0, 0, 4, number(4294967294L, 8)},
                {nullptr, kInt, FB_LONG, 0, 4, number(258, 8)},
                {nullptr, kString, 0, 10, 13, "abc"},
                {nullptr, kDouble, FB_STRING, 1, 101, "-17976931348623157"},
                {"FDL_LEN=ERR", kString, 0, 0, -1, ""},
                {"FDL_LEN=ERR", kString, 0, 1, 4, "abc"},
                {"FDL_LEN=ERR", kDouble, FB_CARRAY, 0, -1, ""},
                {"FDL_LEN=TRU", kString, 0, 0, 3, std::string("ab\0", 3)}};
  Buffer buf;
  buf.put(kInt, 258).put(kLong, -2L).put(kString, "abc").put(kDouble, -DBL_MAX);
  for (const auto& read : kReads) {
    SCOPED_TRACE(testing::Message() << (read.key >> 26) << " as " << read.as << ", " << read.extra << " more");
    const Semantics policy(read.policy);
    int size = read.extra;
    const Block block =
        block_of(read.as ? fbgetalloc_tut(buf, read.key, 0, read.as, &size) : fbgetalloc_tu(buf, read.key, 0, &size));
    EXPECT_EQ(size, read.told < 0 ? read.extra : read.told);
    EXPECT_EQ(fberror, read.told < 0 ? FBENOSPACE : 0);
    ASSERT_EQ(block != nullptr, read.told >= 0);
    EXPECT_EQ(std::string(block.get(), block ? read.value.size() : 0), read.value);
  }
  const Semantics none(nullptr);
  EXPECT_EQ(std::strlen(block_of(fbgetalloc_tut(buf, kDouble, 0, FB_STRING, nullptr)).get()), 310u);
  int wide = INT_MAX, below = -5;
  expect_refusals(
      {{"fbgetalloc_tu = NULL", FBENOENT, [&] { fbgetalloc_tu(buf, kShort, 0, nullptr); }},
       {"fbgetalloc_tu = NULL", FBEMALLOC, [&] { fbgetalloc_tu(buf, kInt, 0, &wide); }},
       {"fbgetalloc_tut = NULL", FBEBADFLD, [&] { fbgetalloc_tut(buf, kInt, 0, 9, &wide); }},  // before any allocation
       {"fbgetalloc_tut = NULL", FBEMALLOC, [&] { fbgetalloc_tut(buf, kInt, 0, FB_INT, &below); }}});
  EXPECT_EQ(wide, INT_MAX);
}

TEST(InPlace, AbsentStringsAreEmptyAndLongsHaveNoSign) {
  Buffer buf;
  buf.put(kString, "here").put(kShort, -1).put(kInt, -1).put(kLong, 4294967301L).put(kDouble, 1.);
  EXPECT_EQ(fbgetvals_tu(buf, kString, 0), fbgetval(buf, kString, 0, nullptr));
  EXPECT_EQ(returned([&] { EXPECT_STREQ(fbgetvals_tu(buf, kInt, 0), ""); }), "fbgetvals_tu = \"\"");
  EXPECT_EQ(outcome(std::string(fbgetvals_tu(buf, kString, 1))), std::pair(std::string(), 0));
  EXPECT_STREQ(fbgetvals_tu(nullptr, kString, 0), "");
  EXPECT_EQ(getFerror(), FBEINVAL);
  EXPECT_EQ(fbgetvall_tu(buf, kShort, 0), 65535);
  EXPECT_EQ(fbgetvall_tu(buf, kInt, 0), 4294967295L);
  EXPECT_EQ(fbgetvall_tu(buf, kLong, 0), 5);
  expect_refusals({{"fbgetvall_tu = 0", FBETYPE, [&] { EXPECT_EQ(fbgetvall_tu(buf, kDouble, 0), 0); }},
                   {"fbgetvall_tu = 0", FBENOENT, [&] { EXPECT_EQ(fbgetvall_tu(buf, kInt, 1), 0); }}});
}

TEST(Next, CopiesValuesThatAreNotNull) {
  Buffer buf;
  buf.put(kInt, 0).put(kString, "").put(kChar, 'x').put(kString, "text");
  char dest[8] = "kept";
  int field = 0, nth = 0, length = 4;
  for (const char* expected : {"kept", "kept", "xept", "text"}) {
    EXPECT_EQ(returned([&] { fbnext_tu(buf, &field, &nth, dest, nullptr); }), "fbnext_tu = 1");
    EXPECT_STREQ(dest, expected);
  }
  EXPECT_EQ(returned([&] { fbnext_tu(buf, &field, &nth, dest, &length); }), "fbnext_tu = 0");
  EXPECT_EQ(std::tuple(field, nth, length), std::tuple(kString, 1, 4)) << "the end leaves all as it was";
}

TEST(Next, AsksForTheRoomThatTheCopyTakes) {
  const struct {
    int field, room, result, length;  // the only record, the area's bytes; what is returned and told
  } kCalls[] = {{kString, 4, -1, 4}, {kString, 5, 1, 4}, {kLong, 7, -1, 7},    {kLong, 8, 1, 4},
                {kCarray, 1, -1, 1}, {kCarray, 2, 1, 2}, {kDouble, -1, -1, -1}};
  for (const auto& [key, room, result, told] : kCalls) {
    SCOPED_TRACE(testing::Message() << "type " << (key >> 26) << ", room " << room);
    Buffer buf;
    buf.put_value(key, key == kDouble ? "\0\0\0\0\0\0\0" : "four\0\0\0", 2);
    int field = 0, nth = 55, length = room;
    char dest[8];
    EXPECT_EQ(outcome(fbnext_tu(buf, &field, &nth, dest, &length)), std::pair(result, result == 1 ? 0 : FBENOSPACE));
    EXPECT_EQ(std::tuple(field, nth, length), result == 1 ? std::tuple(key, 0, told) : std::tuple(0, 55, told));
  }
}

TEST(Next, LeavesStringsToAnEnforcedPolicy) {
  Buffer buf;
  buf.put(kString, "four");
  char dest[4];
  int field = 0, nth = 0, length = 4;
  std::optional<Semantics> policy("FDL_LEN=TRU");
  EXPECT_EQ(fbnext_tu(buf, &field, &nth, dest, &length), 1);
  EXPECT_EQ(std::tuple(length, std::string(dest)), std::tuple(4, "fou"));
  policy.emplace("FDL_LEN=ERR");
  field = 0;
  EXPECT_EQ(returned([&] { EXPECT_EQ(refusal(fbnext_tu(buf, &field, &nth, dest, &length)), FBENOSPACE); }),
            "fbnext_tu = -1 [10 : FBENOSPACE (no space)]");
  EXPECT_EQ(field, kString) << "the record was told before its copy failed";
}

TEST(Next, RefusesWhatTellsNoRecord) {
  Buffer buf, zeros;
  buf.put(kInt, 1);
  zeros.forge(std::string(16, '\0'));
  int field = kInt, nth = 1, start = 0;
  expect_refusals({{"fbnext_tu = -1", FBEINVAL, [&] { fbnext_tu(buf, &field, &nth, nullptr, nullptr); }},
                   {"fbnext_tu = -1", FBEINVAL, [&] { fbnext_tu(buf, nullptr, &nth, nullptr, nullptr); }},
                   {"fbnext_tu = -1", FBEINVAL, [&] { fbnext_tu(buf, &field, nullptr, nullptr, nullptr); }},
                   // A key 0 would start over for ever.
                   {"fbnext_tu = -1", FBEBADFB, [&] { fbnext_tu(zeros, &start, &nth, nullptr, nullptr); }}});
}

}  // namespace
