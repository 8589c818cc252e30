// Trace specifications: the settings that each text makes, and what is wrong with the bad ones.
#include "base/heap.h"
#include "tests/support/test.h"
#include "trace/spec.h"

namespace {

const std::string kInvalid = "5002 Invalid trace specification : ";
const std::string kIncomplete = "5001 Invalid trace specification";
const std::string kNoAction = "5003 Invalid trace specification, no action spec : ";

std::string settings() {
  char numbers[40];
  std::snprintf(numbers, sizeof numbers, "%x %x %d", _level, _action, _act_sleep);
  std::string all = numbers;
  for (const char* text : {_recv_spec, _act_spec, _act_msg}) all += std::string(" ") + (text ? text : "-");
  return all;
}

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
    take_log();
  }
};

TEST_F(TraceSpecification, AcceptedOnes) {
  // The settings are level, action, seconds, receiver, target and message.
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      {"1 100000 -1 - - ", {"on", "atmi", ":ulog", "\t\natmi:\v\fulog\r", "atmi: ulog ", "atmi:ulog:/dye"}},
      {"0 200000 -1 - - ", {"off"}},
      {"1 200000 -1 - - ", {"atmi:ulog://undye//rest"}},
      {"f 10000 -1 - - ", {"*:ulog:abort", "*:ulog:abort(now)", "*:ulog:abort(now"}},
      {"4 40000 -1 rcv1 tgt cmd", {"xa:rcv1/ulog:/tgt/system(cmd)"}},
      {"3 20000 -1 - - entering", {"iatmi:ulog:ulog(entering)"}},
      {"8 400000 5 - - 5", {"trace::sleep(5)"}},
      {"1 400000 -12 - -  \t-12x", {"atmi:ulog:sleep( \t-12x)"}},
      {"1 400000 2147483647 - - 99999999999", {"atmi:ulog:sleep(99999999999)"}},
      {"1 80000 -1 - - ", {"atmi:ulog:trace()"}},
      {"1 20000 -1 - -  a  b ", {"atmi:ulog:ulog(\" a  b \")"}},
      {"1 20000 -1 - - a(b:c)d:e", {"atmi:ulog:ulog(a(b:c)d:e)"}},
      {"1 20000 -1 - - ", {"atmi:ulog:ulog(\")", "atmi:ulog:ulog(\"\")"}},
      {"1 20000 -1 - - a", {"atmi:ulog:ulog(\"ab)"}},
      {"1 20000 -1 - - ab\"", {"atmi:ulog:ulog(ab\")"}},
      {"1 10000 -1 - dye(x) ", {"atmi:ulog:/dye(x)/abort"}},
      {"1 100000 -1 rcv - ", {"atmi:rcv//ulog/rest:dye"}},
  };
  for (const auto& [expected, specs] : cases) {
    for (const char* spec : specs) {
      reset();
      EXPECT_EQ(_parse_trace(spec, 0), 1) << spec;
      EXPECT_EQ(settings(), expected) << spec;
      EXPECT_STREQ(_obuf, spec);
      EXPECT_TRUE(logged({})) << spec;
    }
  }
}

TEST_F(TraceSpecification, RefusedOnes) {
  // The names are those of receiver and target, as they are left.
  const std::tuple<const char*, std::string, const char*, std::vector<const char*>> cases[] = {
      {"TRC5003", kInvalid, "- -", {""}},
      {"TRC5003", kInvalid + " ", "- -", {" : :dye"}},
      {"TRC5003", kInvalid + "on:ulog:dye:", "- -", {"on:ulog:dye:"}},
      {"TRC5004", kInvalid + "ON", "- -", {"ON", "ON "}},
      {"TRC5004", kInvalid + "ulog", "- -", {"ulog"}},
      {"TRC5004", kInvalid + "atmi ", "- -", {"atmi :ulog"}},
      {"TRC5004", kInvalid + "*", "- -", {"+*:ulog"}},
      {"TRC5004", kInvalid + "(a:b", "- -", {"(a:b"}},
      {"TRC5006", kInvalid + "log", "rcv -", {"atmi:rcv/log"}},
      {"TRC5013", kIncomplete, "- -", {"atmi://"}},
      {"TRC5015", kIncomplete, "ulog -", {"atmi:ulog/", "atmi:/ulog"}},
      {"TRC5021", kIncomplete, "- -", {"atmi:ulog:none", "atmi:ulog:ulog(a)b"}},
      {"TRC5021", kIncomplete, "- tgt", {"atmi:ulog:/tgt/ulog(a/b)"}},
      {"TRC5012", kInvalid + "none", "- -", {"atmi:ulog:none(a)"}},
      {"TRC5012", kInvalid + "ulog)", "- -", {"atmi:ulog:ulog)"}},
      {"TRC5011", kNoAction + "soon", "- -", {"atmi:ulog:sleep(soon)"}},
      {"TRC5016", kIncomplete, "- -", {"atmi:ulog:///"}},
      {"TRC5018", kIncomplete, "- tgt", {"atmi:ulog:/tgt/"}},
      {"TRC5020", kIncomplete, "- -", {"atmi:ulog:(a)"}},
  };
  for (const auto& [code, text, names, specs] : cases) {
    for (const char* spec : specs) {
      reset();
      EXPECT_EQ(_parse_trace(spec, 0), -1) << spec;
      EXPECT_TRUE(logged({{0, 2, code, text}})) << spec;
      EXPECT_THAT(settings(), HasSubstr(std::string(" ") + names + " ")) << spec;
      EXPECT_EQ(_action, 0) << spec;
    }
  }
}

TEST_F(TraceSpecification, ComesFromTheEnvironmentWhenNoneIsGiven) {
  _level = 5;
  _action = 6;
  const Environment unset("VESK_TRACE", nullptr);
  EXPECT_EQ(_parse_trace(nullptr, 0), 1);
  EXPECT_EQ(settings(), "5 6 -1 - - ");
  EXPECT_EQ(_tmtrace, 2);
  const Environment set("VESK_TRACE", "xa");
  EXPECT_EQ(_parse_trace(nullptr, 0), 1);
  EXPECT_EQ(settings(), "4 100000 -1 - - ");
  EXPECT_EQ(_tmtrace, 1);
}

TEST_F(TraceSpecification, LaterOnesBuildOnWhatStands) {
  EXPECT_EQ(_parse_trace("xa:rcv/ulog:/tgt/sleep(7)", 0), 1);
  EXPECT_EQ(_parse_trace("+iatmi:ulog:dye", 0), 1);
  EXPECT_EQ(_parse_trace("-atmi", 0), 1);
  EXPECT_EQ(settings(), "6 100000 7 rcv tgt ");
  const vxa::HeapPtr<char> message(_act_msg), target(_act_spec);  // forgotten by a check, not released
  EXPECT_EQ(_chk_trace("bad", 0), -1);
  EXPECT_EQ(settings(), "0 0 0 rcv - ");
}

TEST_F(TraceSpecification, LengthsAreLimited) {
  std::string longest = "atmi:ulog:ulog(";
  longest += std::string(4079, 'm') + ")";
  EXPECT_EQ(_parse_trace(longest.c_str(), 0), 1);
  EXPECT_EQ(_act_msg, std::string(4079, 'm'));
  std::string too_long(4096, 'x');
  EXPECT_EQ(_parse_trace(too_long.c_str(), 0), -1);
  EXPECT_EQ(_obuf, longest) << "not taken for parsing";
  EXPECT_EQ(_get_spec(too_long.data(), 3), nullptr);
  EXPECT_TRUE(logged({{0, 2, "TRC5002", kInvalid + too_long}, {0, 2, "TRC5019", kIncomplete}}));
  std::string long_target(5000, 't');
  long_target.front() = '/';
  long_target += "/abort";
  EXPECT_STREQ(_get_spec(long_target.data(), 3), "abort");
  EXPECT_EQ(_act_spec, std::string(4095, 't'));
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
  EXPECT_EQ(split_trcfld(nullptr, fields), 1);
  EXPECT_EQ(advbrace(nullptr), 0);

  const std::pair<const char*, const char*> need_message[] = {
      {"ulog", "TRC5007"}, {"system", "TRC5008"}, {"trace", "TRC5009"}, {"sleep", "TRC5010"}};
  for (const auto& [action, code] : need_message) {
    char field[20];
    std::strcat(std::strcpy(field, action), "(m)");
    EXPECT_STREQ(_get_spec(field, 3), action) << "no message holder, no message";
    EXPECT_EQ(_spel_chk(action, 3, 0), -1);
    EXPECT_TRUE(logged({{0, 2, code, kNoAction + action}}));
  }
}

TEST_F(TraceSpecification, SettingsPrintOnOneLine) {
  const auto shown = [] { EXPECT_EQ(_trace_dbg(), 1); };
  EXPECT_EQ(printed(shown), "_level = [0], _action = [0], _act_sleep = [-1], \n");
  _parse_trace("xa:rcv/ulog:/tgt/sleep(3)", 0);
  EXPECT_EQ(printed(shown),
            "_level = [0x4], _recv_spec = [rcv], _action = [0x400000], _act_spec = [tgt], _act_msg = [3], "
            "_act_sleep = [3], \n");
}

}  // namespace
