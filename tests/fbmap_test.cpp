// Field keys, field table files and lookups in them.
#include "fb/fbmap.h"

#include <numeric>
#include <optional>
#include <tuple>

#include "fb/fdlfile.h"
#include "tests/support/field_table.h"
#include "tests/support/field_test.h"

namespace {

using host::TableFile;

constexpr int kAmount = 0x18000001;  // double, number 1

// 12 + 52 + 8 bytes: a double AMOUNT with number 1.
const std::string kOneField = bytes("b8 22 00 00  01 00 00 00  00 00 00 00") + "AMOUNT" + std::string(42, '\0') +
                              bytes("01 00 00 18  01 00 00 18  00 00 00 00");

class FieldTable : public testing::Test {
 protected:
  FieldTable() {
    fbkeynm_unload();
    host::take_log();
  }
  ~FieldTable() override { fbkeynm_unload(); }

  void use(const std::string& list) {
    fbkeynm_unload();
    environment_.emplace("FDLFILE", list.c_str());
  }
  void use_file(const std::string& bytes) { use(folder_.file("table", bytes)); }

  TempDir folder_;
  std::optional<Environment> environment_;
};

TEST(FieldKeys, AreTypeAndNumberAddedUp) {
  EXPECT_EQ(fbmake_fldkey(3, 10), 201326602);
  EXPECT_EQ(fbmake_fldkey(5, 300), 0x1400012C);
  EXPECT_EQ(fbmake_fldkey(1, 1 << 26), 0x08000000) << "a number beyond its bits runs into the type";
  EXPECT_EQ(fbget_fldtype(0x1400012C), 5);
  EXPECT_EQ(fbget_fldno(0x1400012C), 300);
  EXPECT_EQ(fbget_fldno(0x0D00000A), 10) << "the fetched mark belongs to neither part";
  EXPECT_EQ(fbget_fldtype(-1), -1) << "the type is shifted with its sign";
  EXPECT_STREQ(fbget_strfldtype(0x1400012C), "float");
  EXPECT_STREQ(fbget_strfldtype(8 << 26), "carray");
  for (int key : {0, 9 << 26, 10 << 26, -1}) EXPECT_STREQ(fbget_strfldtype(key), "") << key;
  fberror = FBENOENT;
  fbmake_fldkey(1, 1);
  EXPECT_EQ(fberror, FBENOENT) << "only making a key keeps the error code";
  fbget_fldno(1);
  EXPECT_EQ(fberror, 0);
}

TEST(FieldHashes, ByMask) {
  const struct {
    std::string name;
    int mask, hash;
  } kNames[] = {{"AMOUNT", 99, 64},  // 65 + 77 + 79 + 85 + 78 + 84 = 468
                {"AB", 511, 131},
                {"AB", 512, 0},
                {"AB", 599, 66},
                {"AB", 1023, 322},
                {"ABC", 0x7fffffff, 0x4142 + 0x4300},
                {"\xff", 255, 255},  // bytes are signed
                {"", 511, 0},
                {std::string(48, 'A') + "BCD", 0x7fffffff, 24 * 0x4141},  // words end at 48 bytes
                {std::string(48, '\1') + '\2', 511, 50}};                 // bytes do not
  for (const auto& [name, mask, hash] : kNames) EXPECT_EQ(vxa::fdl::name_hash(name.c_str(), mask), hash) << name;

  const struct {
    unsigned key;
    int mask, hash;
  } kKeys[] = {{0x0C00000A, 99, 2},    {0x0C00000A, 511, 10},   {0x0C00000A, 512, 512},  // 0x0A00 + 0x000C = 2572
               {0x0C00000A, 599, 516}, {0x0C00000A, 1023, 524}, {0xFFFFFFFF, 99, 95}};
  for (const auto& [key, mask, hash] : kKeys) EXPECT_EQ(vxa::fdl::key_hash(key, mask, mask + 1), hash) << mask;
}

TEST_F(FieldTable, OneField) {
  use_file(kOneField);
  EXPECT_EQ(fbget_fldkey("AMOUNT"), 402653185);
  EXPECT_STREQ(fbget_fldname(402653185), "AMOUNT");
  EXPECT_EQ(std::tuple(_fname_fldkey_tab_loaded, _fname_count, _fldkey_count, _fname_hash_mask),
            std::tuple(1, 1, 1, 0));
  for (const char* name : {"amount", "AMOUNT ", "AMOUN", "AMOUNTXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXXX"})
    EXPECT_EQ(outcome(fbget_fldkey(name)), std::pair(0, FBENOENT)) << name;
  for (int key : {0, 1, 0x18000002, 0x19000001, -1}) EXPECT_EQ(refusal(fbget_fldname(key)), FBENOENT) << key;
  EXPECT_EQ(outcome(fbget_fldkey(nullptr)), std::pair(0, FBEINVAL));
  fbnmkey_unload();
  EXPECT_EQ(fberror, 0);
  EXPECT_EQ(std::tuple(_fldname, _fname_count, _fname_hash_mask), std::tuple(nullptr, 0, 0));
  EXPECT_EQ(fbget_fldkey("AMOUNT"), kAmount) << "loaded again";
}

TEST_F(FieldTable, MaskFollowsTheSlotsOfAllFiles) {
  const std::pair<std::vector<int>, int> kTables[] = {
      {{512}, 511}, {{513}, 512}, {{600}, 599}, {{3, 5}, 7}, {{3, 5, 600}, 606}};
  for (const auto& [files, mask] : kTables) {
    std::string list;
    for (const int slots : files)
      list += ',' + folder_.file(std::to_string(slots), TableFile{slots}.name(0, "AB", kAmount).bytes());
    use(list + ',');
    EXPECT_EQ(fbget_fldkey("AB"), kAmount);
    EXPECT_EQ(_fname_hash_mask, mask);
    EXPECT_EQ(_fldkey_count, std::accumulate(files.begin(), files.end(), 0));
  }
}

TEST_F(FieldTable, LookupsStartAtTheHashAndRunInACircle) {
  TableFile file{600};
  file.name(66, "AB", 1 << 26).name(67, "AB", 2 << 26);   // the first from the hash on wins
  file.name(577, "BA", 3 << 26);                          // 0x4241 & 599 = 577
  file.name(4, "\x02\x57", 4 << 26);                      // hash 599: found past the end
  file.key(516, 0x0C00000A, 66).key(0, 0x0C00000B, 577);  // the second: 0x0B0C & 599 = 516
  use_file(file.bytes());
  EXPECT_EQ(_find_fnamei_by_fname("AB"), -1) << "nothing is loaded";
  EXPECT_EQ(fbget_fldkey("AB"), 1 << 26);
  EXPECT_EQ(_find_fnamei_by_fname("BA"), 577);
  EXPECT_EQ(_find_fnamei_by_fname("\x02\x57"), 4);
  EXPECT_EQ(_find_fldkeyi_by_fldkey(0x0C00000A), 516);
  EXPECT_STREQ(fbget_fldname(0x0C00000B), "BA");
}

TEST_F(FieldTable, LaterFilesShiftTheirNameIndexes) {
  use(folder_.file("first", TableFile{2}.name(0, "A", 11).key(0, 11, 0).bytes()) + ',' +
      folder_.file("second", TableFile{2}.name(1, "B", 12).key(0, 12, 1).bytes()) + ",," +
      folder_.file("third", kOneField));
  EXPECT_EQ(fbget_fldkey("B"), 12);
  EXPECT_STREQ(fbget_fldname(12), "B");
  EXPECT_STREQ(fbget_fldname(kAmount), "AMOUNT");
  EXPECT_EQ(std::tuple(_fldkey[2].name, _fldkey[3].name, _fldkey[4].name), std::tuple(3, -1, 4));
  EXPECT_EQ(refusal(fbget_fldname(0)), FBENOENT) << "the key of a free slot";
}

TEST_F(FieldTable, NoFileIsAnEmptyTable) {
  use("");
  EXPECT_EQ(outcome(fbget_fldkey("AMOUNT")), std::pair(0, FBENOENT));
  EXPECT_EQ(refusal(fbget_fldname(kAmount)), FBENOENT);
  EXPECT_EQ(_fname_fldkey_tab_loaded, 1);
  EXPECT_EQ(_fname_hash_mask, 1);
  EXPECT_EQ(_fldkey_hash(5), 0);
  _fname_hash_mask = 1023;
  EXPECT_EQ(_fldkey_hash(0x0C00000A), 524) << "by the mask alone";
  EXPECT_TRUE(host::take_log().empty());
}

TEST_F(FieldTable, DamagedNamesAndIndexesLeadNowhere) {
  TableFile file{4};
  file.name(0, std::string(48, 'A').c_str(), 5).name(1, "GOOD", 6);
  file.key(0, 5, 0).key(1, 6, 4).key(2, 7, -2).key(3, 8, 0x7fffffff);
  use(folder_.file("damaged", file.bytes()) + "," + folder_.file("good", kOneField));
  EXPECT_EQ(outcome(fbget_fldkey(std::string(48, 'A').c_str())), std::pair(0, FBENOENT));
  for (int key : {5, 6, 7, 8}) EXPECT_EQ(refusal(fbget_fldname(key)), FBENOENT) << key;
  EXPECT_EQ(fbget_fldkey("GOOD"), 6);
  EXPECT_STREQ(fbget_fldname(kAmount), "AMOUNT");
}

TEST_F(FieldTable, AFileCutOffAnywhereFailsAtItsRead) {
  for (std::size_t length = 0; length < kOneField.size(); ++length) {
    use_file(kOneField.substr(0, length));
    EXPECT_EQ(outcome(fbget_fldkey("AMOUNT")), std::pair(0, 0));
    EXPECT_EQ(std::tuple(_fldname, _fldkey), std::tuple(nullptr, nullptr));
    const LogRecord read = length < 12   ? LogRecord{1, 2, "FDL0503", "0011 file read error : 0 12"}
                           : length < 64 ? LogRecord{1, 2, "FDL0509", "0011 file read error : 0 52"}
                                         : LogRecord{1, 2, "FDL0513", "0011 file read error : 0 8"};
    EXPECT_THAT(host::take_log(), ElementsAre(read, LogRecord{0, 2, "FDL0801", "3007 failed to load field key table"}));
  }
}

TEST_F(FieldTable, LogsWhyItCannotBeLoaded) {
  const auto changed = [this](const char* name, std::size_t at, const std::string& to) {
    return folder_.file(name, std::string(kOneField).replace(at, to.size(), to));
  };
  const std::string good = folder_.file("good", kOneField), missing = folder_.path("missing");
  const std::string fits = good + std::string(255 - good.size(), ','), too_long = fits + ',';
  const std::string zero = changed("zero", 4, {'\0'}), negative = changed("negative", 4, "\xff\xff\xff\xff");
  const struct {
    std::string list;
    LogRecord reason;
  } kLists[] = {{changed("magic", 0, "\xb9"), {0, 2, "FDL0504", "4408 Invalid magic number of FDL : 8889"}},
                {zero, {0, 2, "FDL0505", "4507 FDL table size is zero : " + zero}},
                {negative, {0, 2, "FDL0505", "4507 FDL table size is zero : " + negative}},
                {good + ',' + missing, {1, 2, "FDL0502", "0010 file open error : " + missing}},
                {too_long, {1, 2, "FDL0502", "0010 file open error : " + too_long}}};
  for (const auto& [list, reason] : kLists) {
    use(list);
    for (int lookup = 0; lookup < 2; ++lookup) {  // every lookup tries again
      EXPECT_EQ(refusal(fbget_fldname(kAmount)), 0);
      EXPECT_THAT(host::take_log(),
                  ElementsAre(reason, LogRecord{0, 2, "FDL0806", "3007 failed to load field key table"}));
    }
  }
  host::log_level = 1;
  fbget_fldname(kAmount);
  host::log_level = 9;
  EXPECT_TRUE(host::take_log().empty()) << "only what the host wants";

  environment_.emplace("FDLFILE", nullptr);
  EXPECT_EQ(_ffile_load(), -1);
  EXPECT_THAT(host::take_log(), ElementsAre(LogRecord{0, 2, "FDL0501", "0100 getenv error : "}));
  use(fits);
  EXPECT_EQ(_ffile_load(), 1);
}

TEST_F(FieldTable, Traces) {
  use_file(kOneField);
  const host::Tracing tracing;
  fbget_fldkey("AMOUNT");
  fbget_fldname(kAmount);
  fbget_fldname(7);
  fbget_strfldtype(kAmount);
  fbmake_fldkey(3, 10);
  fbnmkey_unload();
  use(folder_.path("missing"));
  fbget_fldkey("AMOUNT");
  fbget_fldname(1);
  std::string shown;
  for (const TraceEvent& event : host::take_trace()) shown += std::to_string(event.event) + event.text + '\n';
  EXPECT_EQ(shown,
            "1fbget_fldkey(\"AMOUNT\")\n"
            "2fbget_fldkey = 402653185\n"
            "1fbget_fldname(402653185)\n"
            "2fbget_fldname = AMOUNT\n"
            "1fbget_fldname(7)\n"
            "4fbget_fldname = NULL [6 : FBENOENT (not found)]\n"
            "1fbget_strfldtype(402653185)\n"
            "2fbget_strfldtype = double\n"
            "1fbmake_fldkey(3, 10)\n"
            "2fbmake_fldkey = 201326602\n"
            "1fbget_unload(void)\n"
            "2fbget_unload\n"
            "1fbkeynm_unload(void)\n"  // by the change of the list
            "2fbkeynm_unload\n"
            "1fbget_fldkey(\"AMOUNT\")\n"
            "4fbget_fldkey = 0 [0 : FBEMINNO (bottom of error message codes)]\n"
            "1fbget_fldname(1)\n"
            "4fbget_fldname = 0 [0 : FBEMINNO (bottom of error message codes)]\n");
}

}  // namespace
