// Trace specifications: the settings that each text makes, and what is wrong with the bad ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/host.h"
#include "trace/spec.h"
#include "vxa/vxa_host.h"

namespace {

using host::LogRecord;
using testing::ElementsAre;
using testing::IsEmpty;

std::string shown(const char* text) { return text ? text : "none"; }

class TraceSpecification : public testing::Test {
 protected:
  void SetUp() override { reset(); }
  void TearDown() override { reset(); }

  static void reset() {
    for (char** holder : {&_recv_spec, &_act_spec, &_act_msg}) {
      std::free(*holder);
      *holder = nullptr;
    }
    _level = 0;
    _action = 0;
    _act_sleep = -1;
    _tmtrace = 0;
    host::take_log();
  }
};

struct Accepted {
  const char* spec;
  int level;
  int action;
  const char* message = "";
  const char* receiver = "none";
  const char* target = "none";
  int sleep = -1;
};

TEST_F(TraceSpecification, AcceptedOnes) {
  const Accepted cases[] = {
      {"on", 1, 0x100000},
      {"off", 0, 0x200000},
      {"atmi", 1, 0x100000},
      {"iatmi", 3, 0x100000},
      {"*:ulog", 0xF, 0x100000},
      {":ulog", 1, 0x100000},
      {"iatmi:ulog:ulog(entering)", 3, 0x20000, "entering"},
      {"xa:rcv1/ulog:/tgt/system(cmd)", 4, 0x40000, "cmd", "rcv1", "tgt"},
      {"trace::sleep(5)", 8, 0x400000, "5", "none", "none", 5},
      {"atmi:ulog:sleep( \t-12x)", 1, 0x400000, " \t-12x", "none", "none", -12},
      {"atmi:ulog:sleep()", 1, 0x400000, "", "none", "none", 0},
      {"atmi:ulog:sleep(99999999999)", 1, 0x400000, "99999999999", "none", "none", 2147483647},
      {"*:ulog:abort", 0xF, 0x10000},
      {"*:ulog:abort(now)", 0xF, 0x10000},
      {"*:ulog:abort(now", 0xF, 0x10000},
      {"atmi: ulog ", 1, 0x100000},
      {"\t\natmi:\v\fulog\r", 1, 0x100000},
      {"atmi:ulog:trace()", 1, 0x80000},
      {"atmi:ulog:ulog(\"a:b\")", 1, 0x20000, "a:b"},
      {"atmi:ulog:ulog(\" a  b \")", 1, 0x20000, " a  b "},
      {"atmi:ulog:ulog(a(b:c)d:e)", 1, 0x20000, "a(b:c)d:e"},
      {"atmi:ulog:ulog(\")", 1, 0x20000, ""},
      {"atmi:ulog:ulog(\"\")", 1, 0x20000, ""},
      {"atmi:ulog:ulog(\"ab)", 1, 0x20000, "a"},
      {"atmi:ulog:ulog(ab\")", 1, 0x20000, "ab\""},
      {"atmi:ulog:ulog(a/b)", 1, 0x20000, "a/b"},
      {"atmi:ulog:/tgt/dye", 1, 0x100000, "", "none", "tgt"},
      {"atmi:ulog:/dye", 1, 0x100000},
      {"atmi:ulog://undye//rest", 1, 0x200000},
      {"atmi:ulog:/dye(x)/abort", 1, 0x10000, "", "none", "dye(x)"},
      {"atmi:rcv//ulog/rest:dye", 1, 0x100000, "", "rcv"},
  };
  for (const Accepted& c : cases) {
    reset();
    EXPECT_EQ(_parse_trace(c.spec, 0), 1) << c.spec;
    EXPECT_EQ(_level, c.level) << c.spec;
    EXPECT_EQ(_action, c.action) << c.spec;
    EXPECT_EQ(shown(_act_msg), c.message) << c.spec;
    EXPECT_EQ(shown(_recv_spec), c.receiver) << c.spec;
    EXPECT_EQ(shown(_act_spec), c.target) << c.spec;
    EXPECT_EQ(_act_sleep, c.sleep) << c.spec;
    EXPECT_EQ(_tmtrace, 1) << c.spec;
    EXPECT_STREQ(_obuf, c.spec);
    EXPECT_THAT(host::take_log(), IsEmpty()) << c.spec;
  }
}

TEST_F(TraceSpecification, RefusedOnes) {
  const struct {
    const char* spec;
    const char* code;
    const char* text;
    const char* receiver = "none";
    const char* target = "none";
  } cases[] = {
      {"", "TRC5003", "5002 Invalid trace specification : "},
      {" \t", "TRC5003", "5002 Invalid trace specification :  \t"},
      {" : :dye", "TRC5003", "5002 Invalid trace specification :  "},
      {"atmi:ulog:dye:", "TRC5003", "5002 Invalid trace specification : atmi:ulog:dye:"},
      {"on ", "TRC5004", "5002 Invalid trace specification : on"},
      {"ON", "TRC5004", "5002 Invalid trace specification : ON"},
      {"ulog", "TRC5004", "5002 Invalid trace specification : ulog"},
      {"atmi :ulog", "TRC5004", "5002 Invalid trace specification : atmi "},
      {"* :ulog", "TRC5004", "5002 Invalid trace specification : * "},
      {"+*:ulog", "TRC5004", "5002 Invalid trace specification : *"},
      {"at mi", "TRC5004", "5002 Invalid trace specification : at m"},
      {"(a:b", "TRC5004", "5002 Invalid trace specification : (a:b"},
      {"atmi:log", "TRC5006", "5002 Invalid trace specification : log"},
      {"atmi:rcv/log", "TRC5006", "5002 Invalid trace specification : log", "rcv"},
      {"atmi://", "TRC5013", "5001 Invalid trace specification"},
      {"atmi:ulog/", "TRC5015", "5001 Invalid trace specification", "ulog"},
      {"atmi:/ulog", "TRC5015", "5001 Invalid trace specification", "ulog"},
      {"atmi:ulog:ulog", "TRC5021", "5001 Invalid trace specification"},
      {"atmi:ulog:none", "TRC5021", "5001 Invalid trace specification"},
      {"atmi:ulog:ulog(a)b", "TRC5021", "5001 Invalid trace specification"},
      {"atmi:ulog:/tgt/ulog(a/b)", "TRC5021", "5001 Invalid trace specification", "none", "tgt"},
      {"atmi:ulog:none(a)", "TRC5012", "5002 Invalid trace specification : none"},
      {"atmi:ulog:ulog)", "TRC5012", "5002 Invalid trace specification : ulog)"},
      {"atmi:ulog:sleep(soon)", "TRC5011", "5003 Invalid trace specification, no action spec : soon"},
      {"atmi:ulog:///", "TRC5016", "5001 Invalid trace specification"},
      {"atmi:ulog:/tgt/", "TRC5018", "5001 Invalid trace specification", "none", "tgt"},
      {"atmi:ulog:(a)", "TRC5020", "5001 Invalid trace specification"},
  };
  for (const auto& c : cases) {
    reset();
    EXPECT_EQ(_parse_trace(c.spec, 0), -1) << c.spec;
    EXPECT_THAT(host::take_log(), ElementsAre(LogRecord{0, 2, c.code, c.text})) << c.spec;
    EXPECT_EQ(shown(_recv_spec), c.receiver) << c.spec;
    EXPECT_EQ(shown(_act_spec), c.target) << c.spec;
    EXPECT_EQ(_action, 0) << c.spec;
    EXPECT_EQ(_tmtrace, 1) << c.spec;
  }
}

TEST_F(TraceSpecification, ComesFromTheEnvironmentWhenNoneIsGiven) {
  _level = 5;
  _action = 6;
  _dye_level = 7;
  const host::Environment unset("VESK_TRACE", nullptr);
  EXPECT_EQ(_parse_trace(nullptr, 0), 1);
  EXPECT_EQ(_tmtrace, 2);
  EXPECT_EQ(_level, 5);
  EXPECT_EQ(_action, 6);
  EXPECT_EQ(_dye_level, 0);
  EXPECT_STREQ(_act_msg, "");
  const host::Environment set("VESK_TRACE", "xa");
  EXPECT_EQ(_parse_trace(nullptr, 0), 1);
  EXPECT_EQ(_level, 4);
}

TEST_F(TraceSpecification, SignsEditTheLevelThatStands) {
  _parse_trace("xa", 0);
  _parse_trace("+iatmi", 0);
  EXPECT_EQ(_level, 7);
  _parse_trace("-atmi:ulog", 0);
  EXPECT_EQ(_level, 6);
  char* message = _act_msg;
  EXPECT_EQ(_chk_trace("+trace", 0), 1);
  EXPECT_EQ(_level, 8) << "reset first";
  std::free(message);
}

TEST_F(TraceSpecification, LaterOnesKeepReceiverAndTargetUntilNamedAgain) {
  EXPECT_EQ(_parse_trace("atmi:rcv/ulog:/tgt/ulog(hello)", 0), 1);
  EXPECT_EQ(_parse_trace("atmi:ulog:dye", 0), 1);
  EXPECT_STREQ(_recv_spec, "rcv");
  EXPECT_STREQ(_act_spec, "tgt");
  EXPECT_STREQ(_act_msg, "");
  char* const message = _act_msg;
  char* const target = _act_spec;
  _act_sleep = 9;
  EXPECT_EQ(_chk_trace("bad", 0), -1);
  EXPECT_EQ(_level, 0);
  EXPECT_EQ(_action, 0);
  EXPECT_EQ(_act_sleep, 0);
  EXPECT_EQ(_act_spec, nullptr);
  EXPECT_STREQ(_recv_spec, "rcv");
  EXPECT_STREQ(target, "tgt") << "forgotten, not released";
  std::free(message);
  std::free(target);
}

TEST_F(TraceSpecification, LengthIsLimited) {
  std::string longest = "atmi:ulog:ulog(";
  longest += std::string(4079, 'm') + ")";
  ASSERT_EQ(longest.size(), 4095u);
  EXPECT_EQ(_parse_trace(longest.c_str(), 0), 1);
  EXPECT_EQ(_act_msg, std::string(4079, 'm'));
  EXPECT_EQ(_obuf, longest);
  const std::string too_long(4096, 'x');
  _tmtrace = 0;
  EXPECT_EQ(_parse_trace(too_long.c_str(), 0), -1);
  EXPECT_EQ(_tmtrace, 0);
  EXPECT_EQ(_obuf, longest) << "not taken for parsing";
  EXPECT_THAT(host::take_log(),
              ElementsAre(LogRecord{0, 2, "TRC5002", "5002 Invalid trace specification : " + too_long}));
}

TEST_F(TraceSpecification, SingleStepsStandOnTheirOwn) {
  char text[] = " a b : :(x:(y)z) c d";
  char* fields[3];
  EXPECT_EQ(split_trcfld(text, fields), 1);
  EXPECT_STREQ(fields[0], "a b ");
  EXPECT_EQ(fields[1], nullptr);
  EXPECT_STREQ(fields[2], "(x:(y)z) c");

  char group[] = "a(b)c(d)e)f";
  char* cursor = group;
  EXPECT_EQ(advbrace(&cursor), 9);
  EXPECT_STREQ(cursor, ")f");
  cursor = group + 10;
  EXPECT_EQ(advbrace(&cursor), 1);

  for (const char* action : {"ulog", "system", "trace", "sleep"}) {
    char field[20];
    std::strcat(std::strcpy(field, action), "(m)");
    EXPECT_STREQ(_get_spec(field, 3), action) << "no message holder, no message";
    EXPECT_EQ(_spel_chk(action, 3, 0), -1);
  }
  const std::string text_5003 = "5003 Invalid trace specification, no action spec : ";
  EXPECT_THAT(
      host::take_log(),
      ElementsAre(LogRecord{0, 2, "TRC5007", text_5003 + "ulog"}, LogRecord{0, 2, "TRC5008", text_5003 + "system"},
                  LogRecord{0, 2, "TRC5009", text_5003 + "trace"}, LogRecord{0, 2, "TRC5010", text_5003 + "sleep"}));
  EXPECT_EQ(_spel_chk("undye", 3, 0), 0x200000);
  EXPECT_EQ(_spel_chk("iatmi", 1, 0), 3);
  EXPECT_EQ(_spel_chk("ulog", 2, 0), 1);
  std::string too_long(4096, 'x');
  EXPECT_EQ(_get_spec(too_long.data(), 3), nullptr);
  EXPECT_THAT(host::take_log(), ElementsAre(LogRecord{0, 2, "TRC5019", "5001 Invalid trace specification"}));
  std::string long_target(5000, 't');
  long_target.front() = '/';
  long_target += "/abort";
  EXPECT_STREQ(_get_spec(long_target.data(), 3), "abort");
  EXPECT_EQ(_act_spec, std::string(4095, 't'));
}

TEST_F(TraceSpecification, SettingsPrintOnOneLine) {
  _level = 0;
  testing::internal::CaptureStdout();
  EXPECT_EQ(_trace_dbg(), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "_level = [0], _action = [0], _act_sleep = [-1], \n");
  _parse_trace("xa:rcv/ulog:/tgt/sleep(3)", 0);
  testing::internal::CaptureStdout();
  _trace_dbg();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "_level = [0x4], _recv_spec = [rcv], _action = [0x400000], _act_spec = [tgt], _act_msg = [3], "
            "_act_sleep = [3], \n");
}

}  // namespace
