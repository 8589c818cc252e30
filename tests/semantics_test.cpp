// The settings of VESK_SEMANTICS: what a text makes of the policies, and what a bad one leaves alone.
#include "tests/support/test.h"

extern "C" int _get_sem_value(const char* item);
extern "C" int _get_sem_key(const char** cursor);

namespace {

class Semantics : public testing::Test {
 protected:
  // Empties the stored values too, which outlive a reset.
  void SetUp() override {
    _vesk_init_semantics();
    read("FDL_LEN=,CRYPT_SW=");
    _vesk_init_semantics();
  }
  void TearDown() override { SetUp(); }

  static int read(const char* text) {
    const Environment set("VESK_SEMANTICS", text);
    return _vesk_read_semantics();
  }
};

TEST_F(Semantics, TextsAndTheirPolicies) {
  const std::tuple<std::string, int, int, int> cases[] = {
      {"FDL_LEN=OLD", 1, 1, 0},
      {"FDL_LEN=ERR", 1, 3, 0},
      {"FDL_LEN=tru", 1, 0, 0},
      {" FDL_LEN \t= T R\vU\r\n", 1, 2, 0},
      {"F DL_L\fEN = ERR , CRYPT_SW : Y", 1, 3, 1},
      {"CRYPT_SW=y,FDL_LEN=OLD", 1, 1, 1},
      {"FDL_LEN=ERR,FDL_LEN=TRU", 1, 2, 0},
      {"FDL_LEN=TRU,", 1, 2, 0},
      {"FDL_LEN=TRU,,", -1, 0, 0},
      {",FDL_LEN=TRU", -1, 0, 0},
      {"FDL_LENGTH=TRU", -1, 0, 0},
      {"FDL_LEN", -1, 0, 0},
      {"CRYPT_SW=Y,NONE=1", -1, 0, 0},
      {"FDL_LEN=TRU,CRYPT_SW=" + std::string(247, 'v'), 1, 2, 0},
      {"FDL_LEN=TRU,CRYPT_SW=" + std::string(248, 'v'), -1, 0, 0},
      {"FDL_LEN=TRU,CRYPT_SW=" + std::string(100000, 'v'), -1, 0, 0}};
  for (const auto& [text, result, policy, crypt] : cases) {
    SetUp();
    EXPECT_EQ(read(text.c_str()), result) << text;
    EXPECT_EQ(_vesk_flen_flag, policy) << text;
    EXPECT_EQ(_vesk_crypt_sw, crypt) << text;
    EXPECT_EQ(_vesk_semantics_flag, result == 1) << text;
  }
}

TEST_F(Semantics, IsReadOnceWhenTheVariableIsSet) {
  EXPECT_EQ(read(nullptr), 1);
  EXPECT_EQ(_vesk_semantics_flag, 0);
  EXPECT_EQ(read("FDL_LEN=TRU"), 1);
  EXPECT_EQ(read("FDL_LEN=ERR"), 1);
  EXPECT_EQ(_vesk_flen_flag, 2);
}

TEST_F(Semantics, StoredValuesOutliveAResetAndAFailedRead) {
  EXPECT_EQ(read("FDL_LEN=TRU,NONE=1"), -1);
  EXPECT_EQ(read("CRYPT_SW=Y"), 1);
  EXPECT_EQ(_vesk_flen_flag, 2) << "the item before the malformed one stayed stored";
  _vesk_init_semantics();
  EXPECT_EQ(_vesk_flen_flag, 0);
  EXPECT_EQ(read("CRYPT_SW=N"), 1);
  EXPECT_EQ(_vesk_flen_flag, 2);
  EXPECT_EQ(_vesk_crypt_sw, 0);
}

TEST_F(Semantics, SingleItems) {
  const char* cursor = "CRYPT_SWITCH";
  EXPECT_EQ(_get_sem_key(&cursor), 1);
  EXPECT_STREQ(cursor, "ITCH");
  EXPECT_EQ(_get_sem_key(&cursor), -1);
  EXPECT_STREQ(cursor, "ITCH");
  EXPECT_EQ(_get_sem_value(("FDL_LEN=" + std::string(255, 'x')).c_str()), 1);
  EXPECT_EQ(_get_sem_value(("FDL_LEN=" + std::string(256, 'x')).c_str()), -1);
}

}  // namespace
