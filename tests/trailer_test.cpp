// Trailers: what adding, finding and removing entries leaves in the header and behind the data, and damaged areas.
#include "tests/support/test.h"

namespace {

constexpr unsigned kFree = 0x02000000;
constexpr unsigned kPresent = 0x04000000;

class Trailer : public testing::Test {
 protected:
  Trailer() : data_(tpalloc("CARRAY", nullptr, 0)) { header()->datalen = 10; }
  ~Trailer() override { tpfree(data_); }

  vesk_msg_header* header() const { return reinterpret_cast<vesk_msg_header*>(data_) - 1; }
  int add(int tag, const std::string& data) {
    return _vesk_add_trailer(header(), data.data(), tag, static_cast<int>(data.size()));
  }
  // Lays an area by hand behind the ten bytes of data.
  void lay(const std::string& area, unsigned low_byte) {
    header()->reqctl = kPresent | low_byte;
    header()->size = 1088;
    header()->datalen = static_cast<int>(10 + area.size());
    std::memcpy(data_ + 10, area.data(), area.size());
  }
  // datalen, size, control word.
  using Header = std::tuple<int, int, unsigned>;
  Header state() const { return {header()->datalen, header()->size, header()->reqctl}; }
  std::string found(int tag, int room) const {
    std::string out(64, '.');
    int length = room;
    if (_vesk_find_trailer(header(), out.data(), tag, &length) != 1) return "none";
    return out.substr(0, static_cast<std::size_t>(length));
  }

  char* data_;
};

TEST_F(Trailer, FillsTheReserveEntryByEntry) {
  EXPECT_EQ(add(7, "0123456789"), 1);
  EXPECT_EQ(state(), Header(22, 1088, kPresent | 12));
  EXPECT_EQ(add(0xff, std::string(48, 'x')), 1);
  EXPECT_EQ(state(), Header(72, 1088, kPresent | 62));
  EXPECT_EQ(std::string(data_ + 10, 62), bytes("07 0a") + "0123456789" + bytes("ff 30") + std::string(48, 'x'));
  take_log();
  EXPECT_EQ(add(1, "y"), -1);
  EXPECT_TRUE(logged({{0, 2, "COM0050", "0209 internal error : trailer error"}}));
  EXPECT_EQ(state(), Header(72, 1088, kPresent | 62));
  EXPECT_EQ(found(7, 10), "0123456789");
  EXPECT_EQ(found(255, 64), std::string(48, 'x'));
  EXPECT_EQ(found(8, 64), "none");
}

TEST_F(Trailer, RefusesWhatCannotBeAdded) {
  const std::string long_data(63, 'x');
  EXPECT_EQ(_vesk_add_trailer(nullptr, "a", 1, 1), -1);
  EXPECT_EQ(_vesk_add_trailer(header(), nullptr, 1, 1), -1);
  for (const int length : {0, -1, 63, 0x7fffffff})
    EXPECT_EQ(_vesk_add_trailer(header(), long_data.data(), 1, length), -1);
  header()->reqctl = 0x10000000;
  EXPECT_EQ(add(1, "a"), -1) << "a control word that a request has used has neither bit";
  header()->reqctl = kFree;
  header()->datalen = 1025;
  EXPECT_EQ(add(1, "a"), -1) << "the payload already lies in the reserve";
  header()->datalen = 1024;
  EXPECT_EQ(add(1, std::string(62, 'z')), 1);
  EXPECT_EQ(state(), Header(1088, 1088, kPresent | 64));
}

TEST_F(Trailer, RemovalClosesTheGapAndFreesTheReserve) {
  add(1, "one");
  add(2, "two!");
  add(1, "three");
  char out[8] = {};
  int length = 8;
  EXPECT_EQ(_vesk_del_trailer(header(), out, 1, &length), 1);
  EXPECT_EQ(std::string(out, 8), std::string("one\0\0\0\0\0", 8));
  EXPECT_EQ(length, 3);
  EXPECT_EQ(std::string(data_ + 10, 13), bytes("02 04") + "two!" + bytes("01 05") + "three");
  EXPECT_EQ(state(), Header(23, 1088, kPresent | 13));
  length = 4;
  EXPECT_EQ(_vesk_del_trailer(header(), out, 1, &length), 1);
  EXPECT_EQ(length, 0) << "removed, though its data does not fit";
  EXPECT_EQ(_vesk_del_trailer(header(), nullptr, 2, nullptr), 1);
  EXPECT_EQ(state(), Header(10, 1024, kFree));
  EXPECT_EQ(_vesk_del_trailer(header(), out, 2, &length), 0);
  EXPECT_EQ(_vesk_del_trailer(nullptr, out, 2, &length), 0);
}

TEST_F(Trailer, FindingStoresALengthOnlyForAPlaceToCopyTo) {
  add(3, "abc");
  char out[4] = "...";
  const std::tuple<char*, int, int> cases[] = {{out, 0, 0}, {out, -1, -1}, {nullptr, 2, 2}, {out, 2, 0}};
  for (const auto& [to, room, after] : cases) {
    int length = room;
    EXPECT_EQ(_vesk_find_trailer(header(), to, 3, &length), 1);
    EXPECT_EQ(length, after);
    EXPECT_STREQ(out, "...");
  }
  EXPECT_EQ(_vesk_find_trailer(header(), out, 3, nullptr), 1);

  lay(bytes("05 00 06 01 41"), 5);
  EXPECT_EQ(found(5, 9), "") << "an entry may be without data";
  EXPECT_EQ(found(6, 9), "A");
  EXPECT_EQ(_vesk_del_trailer(header(), nullptr, 5, nullptr), 1);
  EXPECT_EQ(state(), Header(13, 1088, kPresent | 3));
}

TEST_F(Trailer, DamagedAreasHoldNothing) {
  const std::tuple<const char*, std::string, unsigned> cases[] = {
      {"an entry runs past the area", bytes("05 02 41"), 3},
      {"a lone tag", bytes("01 01 41 05"), 4},
      {"empty", bytes("05 01 41"), 0},
      {"longer than the payload", bytes("05 01 41"), 14},
      {"longer than the reserve", std::string(100, '\5'), 65}};
  for (const auto& [why, area, low_byte] : cases) {
    lay(area, low_byte);
    EXPECT_EQ(found(5, 9), "none") << why;
    EXPECT_EQ(_vesk_del_trailer(header(), nullptr, 5, nullptr), 0) << why;
  }
  EXPECT_EQ(add(1, "a"), -1);
  lay(bytes("05 01 41"), 3);
  header()->datalen = 100000;
  EXPECT_EQ(found(0, 9), "none") << "a payload beyond the block";
}

TEST_F(Trailer, ResizingLeavesNoWayOutOfTheBlock) {
  header()->datalen = 1000;
  add(1, "one");
  data_ = tprealloc(data_, 3000);
  data_[2999] = 'z';
  data_ = tprealloc(data_, 5000);
  EXPECT_EQ(data_[2999], 'z') << "the first resize set the size word without the reserve";
  EXPECT_EQ(found(1, 9), "one");
  header()->datalen = 5000;
  EXPECT_EQ(add(2, std::string(62, 'z')), 1) << "free again after a resize: the old entries become data";
  EXPECT_EQ(state(), Header(5064, 5064, kPresent | 64));
  data_ = tprealloc(data_, 0);
  EXPECT_EQ(found(2, 64), "none") << "cut off";
  EXPECT_EQ(add(3, "x"), -1);
  EXPECT_EQ(_vesk_del_trailer(header(), nullptr, 2, nullptr), 0);
}

}  // namespace
