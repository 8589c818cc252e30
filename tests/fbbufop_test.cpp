// Operations on whole buffers: copies, comparison, joins and projections. Their results over random buffers are held
// against a model in fields_random_test.cpp.
#include <cstdint>
#include <cstdlib>
#include <numeric>

#include "tests/support/field_test.h"

namespace {

struct Entry {  // as _make_flist lays it out
  std::uint32_t key;
  std::int32_t mark;
  void* slot;
  bool operator==(const Entry&) const = default;
};

extern "C" Entry* _make_flist(const void* buf);
extern "C" int _update_unchecked(Entry* list, const Entry* entry);

constexpr int kA = key(FB_INT, 1), kB = key(FB_STRING, 2), kC = key(FB_LONG, 3), kE = key(FB_DOUBLE, 5);

void fetch(const Buffer& buf, int field) {
  char area[32];
  EXPECT_EQ(fbget(buf, field, area, nullptr), 1);
}

// "A:1 B:text", a field an item, fetched ones with a star in front.
std::string listing(const Buffer& buf) {
  std::string text;
  for (int field = 0, nth = 0; fbnext_tu(buf, &field, &nth, nullptr, nullptr) == 1;) {
    text += field & kFetched ? " *" : " ";
    text += std::string(1, static_cast<char>('@' + fbget_fldno(field))) + ':' + fbgetvals(buf, field, nth);
  }
  return text.substr(1);
}

TEST(WholeBuffers, AreCombined) {
  const struct {
    int op;
    std::string result;
  } kOperations[] = {{FB_OP_COPY_WHOLE, "*A:9 E:0.500000 A:8"},
                     {FB_OP_COPY, "*A:9 E:0.500000 A:8"},
                     {FB_OP_CONCAT, "A:1 *B:two A:3 A:4 C:5 *A:9 E:0.500000 A:8"},
                     {FB_OP_JOIN, "A:9 A:8"},
                     {FB_OP_OUTER_JOIN, "A:9 B:two A:8 A:4 C:5"},
                     {FB_OP_UPDATE, "A:9 B:two A:8 A:4 C:5 E:0.500000"}};
  for (const auto& [op, result] : kOperations) {
    SCOPED_TRACE(op);
    Buffer dest, source;
    dest.put(kA, 1).put(kB, "two").put(kA, 3).put(kA, 4).put(kC, 5L);
    source.put(kA, 9).put(kE, 0.5).put(kA, 8);
    fetch(dest, kB);
    fetch(source, kA);
    const std::string before = source.image();
    EXPECT_EQ(outcome(fbbufop(dest, source, op)), std::pair(1, 0));
    EXPECT_EQ(listing(dest), result);
    EXPECT_EQ(source.image(), before);
    EXPECT_EQ(fbbufop(dest, dest, op), 1);
    EXPECT_EQ(listing(dest), op == FB_OP_CONCAT ? result + ' ' + result : result) << "with itself";
  }
}

TEST(WholeBuffers, RefuseWhatIsDamagedOrMissing) {
  const std::string good = bytes("01 00 00 0c 01 00 00 00");
  const int keys[] = {0};
  Buffer dest, source, unknown, empty_carray, foreign;
  for (Buffer* buf : {&dest, &source}) buf->put(kA, 1);
  unknown.forge(bytes("05 00 00 24 01 00 00 00") + good);
  empty_carray.forge(bytes("05 00 00 20 00 00 00 00") + good);
  foreign[0] ^= 1;
  const std::string before = dest.image();
  expect_refusals({{"fbbufop = -1", FBETYPE, [&] { fbbufop(dest, unknown, FB_OP_UPDATE); }},
                   {"fbbufop = -1", FBEINVAL, [&] { fbbufop(dest, empty_carray, FB_OP_UPDATE); }},
                   {"fbbufop = -1", FBEINVAL, [&] { fbbufop(dest, foreign, FB_OP_COPY_WHOLE); }},
                   {"fbbufop = -1", FBEINVAL, [&] { fbbufop(dest, foreign, FB_OP_COPY); }},
                   {"fbbufop = -1", FBEINVAL, [&] { fbbufop(nullptr, source, FB_OP_COMPARE); }},
                   {"fbbufop = -1", FBEINVAL, [&] { fbbufop(dest, nullptr, FB_OP_COMPARE); }},
                   {"fbbufop = -1", FBEINVAL, [&] { fbbufop(dest, source, 0); }},
                   {"fbbufop = -1", FBEINVAL, [&] { fbbufop(dest, source, 8); }},
                   {"fbbufop = -1", FBEINVAL, [&] { fbbufop(dest, source, -1); }},
                   {"fbbufop_proj = -1", FBEINVAL, [&] { fbbufop_proj(dest, source, nullptr); }}});
  const host::Tracing tracing;
  EXPECT_EQ(refusal(fbbufop_proj(nullptr, source, keys)), FBEINVAL);
  EXPECT_TRUE(host::take_trace().empty());
  EXPECT_EQ(dest.image(), before);
  EXPECT_EQ(fbbufop(dest, unknown, FB_OP_JOIN), 1) << "what is not taken is not looked at";
  dest.forge(bytes("00 00 00 01 00 00 00 00") + good + bytes("00 00 00 00 00 00 00 00"));
  EXPECT_EQ(fbbufop(dest, source, FB_OP_OUTER_JOIN), 1);
  EXPECT_EQ(dest.records(), good) << "without the records that have no key";
  foreign[0] ^= 1;
}

TEST(FieldLists, StandForTheRecordsInOrder) {
  Buffer buf;
  buf.put(kA, 1).put(kB, "text").put(kA, 2);
  fetch(buf, kA);
  Entry* list = _make_flist(buf);
  const Entry expected[] = {{kA, 0, buf + 8}, {kB, 0, buf + 16}, {kA, 0, buf + 32}, {0, 0, nullptr}};
  for (int at = 0; at < 4; ++at) EXPECT_EQ(list[at], expected[at]) << at;

  int value;
  const Entry entry{kA, 0, &value};
  for (const int updated : {0, 2, -1}) EXPECT_EQ(_update_unchecked(list, &entry), updated);
  EXPECT_EQ(list[2].slot, &value);
  EXPECT_EQ(list[1].mark, 0);
  std::free(list);
}

TEST(Comparison, GoesByBytesThenLengthThenKeys) {
  Buffer one, same, wide(400), shorter, negative;
  for (Buffer* buf : {&one, &same, &wide}) buf->put(kC, 1L).put(kB, "b");
  shorter.put(kB, "b");
  negative.forge(bytes("00 00 00 80 00 00 00 00") + bytes("01 00 00 0c 01 00 00 00"));
  EXPECT_EQ(fbbufop(one, same, FB_OP_COMPARE), 0);
  EXPECT_EQ(fbbufop(wide, wide, FB_OP_COMPARE), 0);
  EXPECT_EQ(fbbufop(one, wide, FB_OP_COMPARE), 1) << "capacities differ";
  EXPECT_EQ(outcome(fbbufop(shorter, one, FB_OP_COMPARE)), std::pair(-1, 0));
  EXPECT_EQ(fbbufop(one, shorter, FB_OP_COMPARE), -1) << "C sorts before B";
  const host::Tracing tracing;
  EXPECT_EQ(fbbufop(negative, one, FB_OP_COMPARE), -1) << "keys compare as signed numbers";
  EXPECT_EQ(host::take_trace().back(), (TraceEvent{"fbbufop", 2, "fbbufop = -1"}));
}

TEST(Projection, KeepsTheListedKeys) {
  // More keys than are kept aside without an allocation.
  std::vector<int> keys(300);
  std::iota(keys.begin(), keys.end(), key(FB_SHORT, 700));
  keys.insert(keys.end(), {kE, kB, 0});
  Buffer buf, copy;
  buf.put(kA, 1).put(kB, "2").put(kE, 0.5).put(kA, 3).put(kB, "long enough for three").put(kB, "6");
  fetch(buf, kB);
  copy.put(kA, 77);
  EXPECT_EQ(fbbufop_proj(copy, buf, keys.data()), 1);
  EXPECT_EQ(listing(copy), "E:0.500000 B:long enough for three B:6");
  EXPECT_EQ(listing(buf), "A:1 *B:2 E:0.500000 A:3 B:long enough for three B:6");
  EXPECT_EQ(fbbufop_proj(buf, nullptr, keys.data()), 1);
  EXPECT_EQ(buf.image(), copy.image());
  EXPECT_EQ(fbbufop_proj(buf, buf, &keys.back()), 1);
  EXPECT_EQ(fbget_used(buf), 8) << "of no keys";
}

}  // namespace
