// Struct description files: lists of them, joining, renumbering, and every way in which one can be broken.
#include <tuple>

#include "tests/support/test.h"

namespace {

std::string word(int value) { return {reinterpret_cast<const char*>(&value), 4}; }
std::string text(const std::string& value, std::size_t size) { return value + std::string(size - value.size(), '\0'); }

std::string file_header(int structs, int members) { return bytes("61 1e 00 00") + word(structs) + word(members); }

std::string struct_bytes(const std::string& name, int first, int last, int host_size) {
  return text(name, 16) + std::string(16, '\0') + word(first) + word(last) + std::string(8, '\0') + word(host_size) +
         word(0) + word(host_size + 1) + word(0);
}

std::string member_bytes(const std::string& name) {
  return text(name, 32) + word(0x0c000001) + word(3) + text("0", 36) + word(1) + word(0) + word(4) + word(0);
}

// Structs one (members 0 to 2) and two (3 to 4).
std::string first_file() {
  std::string bytes = file_header(2, 5) + struct_bytes("one", 0, 2, 3000) + struct_bytes("two", 3, 4, 8);
  for (const char* name : {"a", "b", "c", "d", "e"}) bytes += member_bytes(name);
  return bytes;
}

// One struct whose name has no terminator, members 0 to 1.
std::string second_file() {
  return file_header(1, 2) + struct_bytes("exactly16charact", 0, 1, 77) + member_bytes("f") + member_bytes("g");
}

class StructFile : public testing::Test {
 protected:
  StructFile() { host::take_log(); }
  // Loads a list of paths.
  static int load(const std::string& list) {
    const Environment unset("SDLFILE64", nullptr);
    const Environment set("SDLFILE", list.c_str());
    return _sdlfile_load();
  }
  // First and last member of each struct.
  using Range = std::pair<int, int>;
  static std::vector<Range> ranges() {
    std::vector<Range> all;
    for (int i = 0; i < _sdl_table_size; ++i) all.emplace_back(_sdl_table[i].first, _sdl_table[i].last);
    return all;
  }
  static void expect_empty() {
    EXPECT_EQ(std::tuple(_sdl_table, _sdl_field_table), std::tuple(nullptr, nullptr));
    EXPECT_EQ(std::tuple(_sdl_table_size, _sdl_field_table_size), std::tuple(0, 0));
  }

  TempDir folder_;
  std::string one_ = folder_.file("one.sdl", first_file() + "what follows is ignored");
  std::string two_ = folder_.file("two.sdl", second_file());
};

TEST_F(StructFile, SeveralAreJoinedAndRenumbered) {
  ASSERT_EQ(load(one_ + "," + two_), 1);
  EXPECT_EQ(_sdlfile_loadsw, 1);
  ASSERT_EQ(_sdl_field_table_size, 7);
  EXPECT_THAT(ranges(), ElementsAre(Range(0, 2), Range(3, 4), Range(5, 6)));
  EXPECT_STREQ(_sdl_field_table[6].name, "g");
  EXPECT_EQ(_sdl_field_table[6].key, 0x0c000001u);
  EXPECT_EQ(_sdl_field_table[6].offset, 4);

  EXPECT_EQ(_get_host_stsize("exactly16characters"), 77);
  EXPECT_EQ(_get_host_stsize("none"), -1);
  int host_size = 0, network_size = 0;
  EXPECT_EQ(_get_host_nw_stsize("one", &host_size, &network_size), 1);
  EXPECT_EQ(_get_host_nw_stsize("none", &host_size, &network_size), -1);
  EXPECT_EQ(std::pair(host_size, network_size), std::pair(3000, 3001));

  char* buffer = tpalloc("VIEW", "one", 0);
  char type[8];
  EXPECT_EQ(tptypes(buffer, type, nullptr), 3000);
  EXPECT_STREQ(type, "STRUCT");
  tpfree(buffer);
}

// A range in a later file goes by the distance between its ends, starting behind the struct before it.
TEST_F(StructFile, RenumberingChainsOnTheRowBefore) {
  const std::string odd = folder_.file(
      "odd.sdl", file_header(2, 1) + struct_bytes("x", 7, 9, 4) + struct_bytes("y", 5, 4, 4) + member_bytes("m"));
  ASSERT_EQ(load(two_ + "," + odd), 1);
  EXPECT_THAT(ranges(), ElementsAre(Range(0, 1), Range(2, 4), Range(5, 4)));
}

TEST_F(StructFile, TheListIsTakenFromOneVariable) {
  {
    const Environment both("SDLFILE64", two_.c_str());
    const Environment ignored("SDLFILE", one_.c_str());
    EXPECT_EQ(_sdlfile_load(), 1);
    EXPECT_EQ(_sdl_table_size, 1);
    EXPECT_EQ(getenv("SDLFILE64"), two_);
  }
  EXPECT_EQ(load(",," + one_ + ","), 1);
  EXPECT_EQ(_sdl_table_size, 2) << "loaded anew";
  _sdlfile_loadsw = 0;
  EXPECT_EQ(load(","), 1);
  EXPECT_EQ(_sdlfile_loadsw, 1);
  EXPECT_EQ(_sdl_table_size, 2) << "an empty list changes nothing";
  const Environment no_list("SDLFILE", nullptr);
  const Environment nor_that("SDLFILE64", nullptr);
  EXPECT_EQ(_sdlfile_load(), 1);
}

TEST_F(StructFile, OneThatIsNoneEndsTheLoadWithWhatCameBefore) {
  _sdlfile_loadsw = 0;
  const std::string missing = folder_.path("missing.sdl");
  const std::string foreign = folder_.file("foreign.sdl", bytes("60 1e 00 00") + std::string(400, '\0'));
  const std::string stub = folder_.file("stub.sdl", first_file().substr(0, 11));
  for (const std::string& bad : {missing, foreign, stub, folder_.path("")}) {
    EXPECT_EQ(load(two_ + "," + bad + "," + one_), -1) << bad;
    EXPECT_EQ(std::tuple(_sdl_table_size, _sdl_field_table_size), std::tuple(1, 2)) << bad;
  }
  EXPECT_EQ(_sdlfile_loadsw, 0);
  EXPECT_THAT(host::take_log(), ElementsAre(LogRecord{1, 2, "CLI0116", "0010 file open error : " + missing},
                                            LogRecord{0, 2, "CLI0118", "3005 Invalid magic number of SDL file"},
                                            LogRecord{1, 2, "CLI0117", "0011 file read error : 0 12"},
                                            LogRecord{1, 2, "CLI0117", "0011 file read error : 0 12"}));
  EXPECT_EQ(load(std::string(256, 'x')), -1);
  EXPECT_EQ(host::take_log().size(), 1u);
}

TEST_F(StructFile, OneCutShortAnywhereLeavesNothing) {
  const std::string cut = folder_.file("cut.sdl", first_file());
  for (std::size_t length = first_file().size() - 1; length >= 12; --length) {
    std::filesystem::resize_file(cut, length);
    ASSERT_EQ(load(two_ + "," + cut), -1) << length;
    expect_empty();
    EXPECT_THAT(host::take_log(), testing::SizeIs(length < 12 + 2 * 64)) << length;
  }
}

TEST_F(StructFile, CountsThatLieAreFailedReads) {
  const std::string at_structs = "0011 file read error : 0 ";
  const struct {
    int structs, members;
    std::vector<LogRecord> log = {};
  } kCounts[] = {{0, 5, {{1, 2, "CLI0122", at_structs + "0"}}},
                 {-1, 5, {{1, 2, "CLI0122", at_structs + "-64"}}},
                 {10, 5, {{1, 2, "CLI0122", at_structs + "640"}}},
                 {3, 5},
                 {2, 0},
                 {2, -5},
                 {2, 6}};
  const auto load_lying = [&](int structs, int members) {
    return load(one_ + ',' + folder_.file("lying.sdl", file_header(structs, members) + first_file().substr(12)));
  };
  for (const auto& [structs, members, log] : kCounts) {
    SCOPED_TRACE(testing::Message() << structs << ' ' << members);
    EXPECT_EQ(load_lying(structs, members), -1);
    expect_empty();
    EXPECT_EQ(host::take_log(), log);
  }
  EXPECT_EQ(load_lying(0x7fffffff, 1), -1);
  expect_empty();
}

}  // namespace
