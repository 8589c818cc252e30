// Operations on whole buffers: copies, comparison, joins and projections.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <tuple>
#include <vector>

#include "tests/support/field_buffer.h"
#include "tests/support/host.h"

namespace {

struct Entry {  // as _make_flist lays it out
  std::uint32_t key;
  std::int32_t mark;
  void* slot;
};

extern "C" Entry* _make_flist(const void* buf);
extern "C" int _update_unchecked(Entry* list, const Entry* entry);

using fields::Buffer;
using fields::key;
using fields::kFetched;
using host::bytes;

constexpr int kA = key(FB_INT, 1), kB = key(FB_STRING, 2), kC = key(FB_LONG, 3);
constexpr int kE = key(FB_DOUBLE, 5);

// "A:1 B:text", a field an item, fetched ones with a star in front.
std::string listing(const Buffer& buf) {
  std::string text;
  const std::string records = buf.records();
  for (std::size_t at = 0; at < records.size();) {
    int stored;
    std::memcpy(&stored, &records[at], 4);
    const int field = stored & ~kFetched;
    const char* value = &records[at + 4];
    if (!text.empty()) text += ' ';
    if (stored & kFetched) text += '*';
    text += static_cast<char>('A' + (field & 0xFFFFFF) - 1);
    int number;
    std::memcpy(&number, value, 4);
    text += ':' + (field == kB ? std::string(value) : field == kE ? "double" : std::to_string(number));
    const std::size_t length = field == kB ? 5 + std::strlen(value) : field == kE ? 16 : 8;
    at += (length + 7) / 8 * 8;
  }
  return text;
}

TEST(Joins, MatchOccurrenceByOccurrence) {
  const struct {
    int op;
    const char* result;
  } cases[] = {{FB_OP_JOIN, "A:9 A:8"},
               {FB_OP_OUTER_JOIN, "A:9 B:two A:8 A:4 C:5"},
               {FB_OP_UPDATE, "A:9 B:two A:8 A:4 C:5 E:double"}};
  for (const auto& [op, result] : cases) {
    Buffer dest, source;
    dest.put(kA, 1).put(kB, "two").put(kA, 3).put(kA, 4).put(kC, 5L);
    source.put(kA, 9).put(kE, 7.0).put(kA, 8);
    const std::string before = source.image();
    EXPECT_EQ(fbbufop(dest, source, op), 1);
    EXPECT_EQ(fberror, 0);
    EXPECT_EQ(listing(dest), result);
    EXPECT_EQ(source.image(), before);
  }
  Buffer dest, source;
  dest.put(kA, 1);
  source.put(kA, 5).put(kA, 6);
  EXPECT_EQ(fbbufop(dest, source, FB_OP_OUTER_JOIN), 1);
  EXPECT_EQ(listing(dest), "A:5");
  EXPECT_EQ(fbbufop(dest, source, FB_OP_UPDATE), 1);
  EXPECT_EQ(listing(dest), "A:5 A:6");
  EXPECT_EQ(fbbufop(dest, dest, FB_OP_UPDATE), 1) << "with itself";
  EXPECT_EQ(listing(dest), "A:5 A:6");
}

TEST(Joins, DoNotSeeTheFetchedMark) {
  Buffer dest, source;
  dest.put(kB, "long enough").put(kC, -1L);
  source.put(kB, "x").put(kA, 2);
  char text[16];
  fbget(dest, kB, text, nullptr);
  int number;
  fbget(source, kA, &number, nullptr);
  EXPECT_EQ(fbbufop(dest, source, FB_OP_UPDATE), 1);
  EXPECT_EQ(dest.records(), bytes("02 00 00 1c 78 00 __ __  03 00 00 10 ff ff ff ff  01 00 00 0c 02 00 00 00"));
}

TEST(Joins, FailWithTheCodeOfTheRefusedRecordAndChangeNothing) {
  const std::string good = bytes("01 00 00 0c 01 00 00 00");
  const struct {
    std::string record;
    int code;
  } cases[] = {{bytes("05 00 00 24 01 00 00 00"), FBETYPE}, {bytes("05 00 00 20 00 00 00 00"), FBEINVAL}};
  for (const auto& [record, code] : cases) {
    Buffer dest, source;
    dest.forge(good);
    source.forge(record + good);
    const std::string before = dest.image();
    EXPECT_EQ(fbbufop(dest, source, FB_OP_UPDATE), -1);
    EXPECT_EQ(fberror, code);
    EXPECT_EQ(dest.image(), before);
    EXPECT_EQ(fbbufop(dest, source, FB_OP_JOIN), 1) << "what is not taken is not looked at";
    EXPECT_EQ(fberror, 0);
  }
}

TEST(Joins, RefuseAResultThatOnlyTheWorkBufferHolds) {
  Buffer dest, source;
  while (fbget_unused(dest) > 0) dest.put(kA, 1);
  source.put(kC, 1L);
  const std::string before = dest.image();
  EXPECT_EQ(fbbufop(dest, source, FB_OP_UPDATE), -1);
  EXPECT_EQ(fberror, FBENOSPACE);
  EXPECT_EQ(dest.image(), before);
}

TEST(Joins, PassOverRecordsWithoutAKey) {
  Buffer dest, source;
  dest.forge(bytes("00 00 00 01 00 00 00 00") + bytes("01 00 00 0c 01 00 00 00") + bytes("00 00 00 00 00 00 00 00"));
  source.put(kA, 7);
  EXPECT_EQ(fbbufop(dest, source, FB_OP_OUTER_JOIN), 1);
  EXPECT_EQ(listing(dest), "A:7");
}

TEST(FieldLists, StandForTheRecordsInOrder) {
  Buffer buf;
  buf.put(kA, 1).put(kB, "text").put(kA, 2);
  int number;
  fbget(buf, kA, &number, nullptr);
  Entry* list = _make_flist(buf);
  for (const auto& [at, field, offset] : {std::tuple{0, kA, 8}, {1, kB, 16}, {2, kA, 32}}) {
    EXPECT_EQ(list[at].key, static_cast<unsigned>(field));
    EXPECT_EQ(list[at].mark, 0);
    EXPECT_EQ(list[at].slot, buf + offset);
  }
  EXPECT_EQ(list[3].key, 0U);
  EXPECT_EQ(list[3].slot, nullptr);

  const Entry entry{static_cast<unsigned>(kA), 0, &number};
  EXPECT_EQ(_update_unchecked(list, &entry), 0);
  EXPECT_EQ(_update_unchecked(list, &entry), 2);
  EXPECT_EQ(_update_unchecked(list, &entry), -1);
  EXPECT_EQ(list[2].slot, &number);
  EXPECT_EQ(list[1].mark, 0);
  std::free(list);
}

TEST(Copies, CheckBothSides) {
  Buffer dest, source(400);
  dest.put(kA, 1);
  source.put(kB, "copied");
  const std::string before = dest.image();
  EXPECT_EQ(fbbufop(dest, source, FB_OP_COPY_WHOLE), -1);
  EXPECT_EQ(fberror, FBENOSPACE) << "the source's capacity counts";
  EXPECT_EQ(dest.image(), before);
  EXPECT_EQ(fbbufop(dest, source, FB_OP_COPY), 1);
  EXPECT_EQ(listing(dest), "B:copied");
  source[0] ^= 1;
  for (const int op : {FB_OP_COPY_WHOLE, FB_OP_COPY}) {
    EXPECT_EQ(fbbufop(dest, source, op), -1);
    EXPECT_EQ(fberror, FBEINVAL);
  }
  source[0] ^= 1;
  EXPECT_EQ(fbbufop(source, dest, FB_OP_COPY_WHOLE), 1);
  EXPECT_EQ(source.image(), dest.image());

  while (fbget_used(source) < fbget_fbsize(dest)) source.put(kA, 1);
  EXPECT_EQ(fbbufop(dest, source, FB_OP_COPY), 1) << "exactly full";
  source.put(kA, 1);
  EXPECT_EQ(fbbufop(dest, source, FB_OP_COPY), -1);
  EXPECT_EQ(fberror, FBENOSPACE);
}

TEST(Concatenation, AppendsFieldsAsTheyAre) {
  Buffer dest, source, empty;
  dest.put(kA, 1);
  source.put(kA, 2).put(kB, "b");
  int number;
  fbget(source, kA, &number, nullptr);
  EXPECT_EQ(fbbufop(dest, source, FB_OP_CONCAT), 1);
  EXPECT_EQ(listing(dest), "A:1 *A:2 B:b");
  EXPECT_EQ(fbbufop(dest, empty, FB_OP_CONCAT), 1);
  EXPECT_EQ(fbbufop(dest, dest, FB_OP_CONCAT), 1);
  EXPECT_EQ(listing(dest), "A:1 *A:2 B:b A:1 *A:2 B:b");
  while (fbget_unused(dest) > 8) dest.put(kA, 3);
  const std::string before = dest.image();
  EXPECT_EQ(fbbufop(dest, source, FB_OP_CONCAT), -1);
  EXPECT_EQ(fberror, FBENOSPACE);
  EXPECT_EQ(dest.image(), before);
}

TEST(Comparison, GoesByBytesThenLengthThenKeys) {
  Buffer one, same, wide(400), shorter;
  for (Buffer* buf : {&one, &same, &wide}) buf->put(kC, 1L).put(kB, "b");
  shorter.put(kB, "b");
  EXPECT_EQ(fbbufop(one, same, FB_OP_COMPARE), 0);
  EXPECT_EQ(fbbufop(one, wide, FB_OP_COMPARE), 1) << "capacities differ";
  EXPECT_EQ(fbbufop(shorter, one, FB_OP_COMPARE), -1);
  EXPECT_EQ(fberror, 0);
  EXPECT_EQ(fbbufop(one, shorter, FB_OP_COMPARE), -1) << "C sorts before B";
  EXPECT_EQ(fbbufop(wide, wide, FB_OP_COMPARE), 0);
  Buffer negative;
  negative.forge(bytes("00 00 00 80 00 00 00 00") + bytes("01 00 00 0c 01 00 00 00"));
  EXPECT_EQ(fbbufop(negative, one, FB_OP_COMPARE), -1) << "keys compare as signed numbers";
}

TEST(Projection, KeepsTheListedKeys) {
  const int keys[] = {kB, kE, 0};
  Buffer buf, copy;
  buf.put(kA, 1).put(kB, "2").put(kE, 1.0).put(kA, 3).put(kB, "long enough for three").put(kB, "6");
  char text[8];
  fbget(buf, kB, text, nullptr);
  copy.put(kA, 77);
  EXPECT_EQ(fbbufop_proj(copy, buf, keys), 1);
  EXPECT_EQ(listing(copy), "E:double B:long enough for three B:6");
  EXPECT_EQ(listing(buf), "A:1 *B:2 E:double A:3 B:long enough for three B:6");
  EXPECT_EQ(fbbufop_proj(buf, nullptr, keys), 1);
  EXPECT_EQ(buf.image(), copy.image());
  const int none[] = {0};
  EXPECT_EQ(fbbufop_proj(buf, buf, none), 1);
  EXPECT_EQ(fbget_used(buf), 8);
}

TEST(Projection, TakesLongLists) {
  std::vector<int> keys;
  for (int i = 0; i < 300; ++i) keys.push_back(key(FB_SHORT, 1000 - i));
  keys.push_back(kB);
  keys.push_back(0);
  Buffer buf;
  buf.put(kA, 1).put(kB, "kept").put(key(FB_SHORT, 700), 5);
  EXPECT_EQ(fbbufop_proj(buf, nullptr, keys.data()), 1);
  EXPECT_EQ(listing(buf), "B:kept");
}

TEST(Projection, RefusesADestinationThatIsTooSmall) {
  const int keys[] = {kA, 0};
  Buffer dest, source(400);
  for (int i = 0; i < 128; ++i) source.put(kC, 5L).put(kA, i);
  EXPECT_EQ(fbbufop_proj(dest, source, keys), 1);
  source.put(kA, 128);
  dest.forge(bytes("01 00 00 0c 07 00 00 00"));
  EXPECT_EQ(fbbufop_proj(dest, source, keys), -1);
  EXPECT_EQ(fberror, FBENOSPACE);
  EXPECT_EQ(listing(dest), "A:7");
}

TEST(WholeBuffers, RefuseWhatIsMissing) {
  Buffer buf, other;
  const int keys[] = {0};
  for (const int op : {0, 8, -1, 1 << 20}) {
    EXPECT_EQ(fbbufop(buf, other, op), -1);
    EXPECT_EQ(fberror, FBEINVAL);
  }
  host::Tracing tracing;
  EXPECT_EQ(fbbufop_proj(nullptr, buf, keys), -1);
  EXPECT_EQ(fberror, FBEINVAL);
  EXPECT_TRUE(host::take_trace().empty());
  EXPECT_EQ(fbbufop_proj(buf, other, nullptr), -1);
  EXPECT_EQ(fberror, FBEINVAL);
  EXPECT_EQ(fbbufop(nullptr, buf, 3), -1);
  EXPECT_EQ(fbbufop(buf, nullptr, 3), -1);
  host::take_trace();
  buf.put(kA, 1);
  fbbufop(other, buf, FB_OP_COMPARE);
  EXPECT_EQ(host::take_trace().back(), (host::TraceEvent{"fbbufop", 2, "fbbufop = -1"}));
}

}  // namespace
