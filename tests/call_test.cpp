// `vxa call`: what it refuses to send, what it prints of a reply, and how it tells of a failure.
#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <iostream>
#include <sstream>

#include "tests/support/gateway_process.h"
#include "tests/support/test.h"
#include "tools/commands.h"

namespace {

// What the command says on both streams, or what it dies of.
std::string called(const std::string& arguments, const std::string& input) {
  CLI::App vxa;
  vxa::tools::add_commands(vxa);
  std::istringstream stream(input);
  std::streambuf* const terminal = std::cin.rdbuf(stream.rdbuf());
  testing::internal::CaptureStderr();
  std::string trouble;
  const std::string shown = printed([&] { trouble = thrown([&] { vxa.parse("call " + arguments); }); });
  std::cin.rdbuf(terminal);
  return shown + testing::internal::GetCapturedStderr() + trouble;
}

TEST(CallCommand, RefusesWhatItCannotSend) {
  const std::string to = " --gateway 127.0.0.1:1 ";
  EXPECT_EQ(called(to + std::string(32, 'S'), ""), "the name of a service has 1 to 31 characters");
  EXPECT_EQ(called(to + "S", std::string(1, '\0')), "standard input holds a byte 0: use --carray");
  EXPECT_THAT(called(to + "--field S", "no tab\n"), HasSubstr("line 1: a name, a tab"));
  EXPECT_THAT(called(to + "--field --carray S", ""), HasSubstr("excludes"));
  EXPECT_THAT(called(to + "--timeout 0 S", ""), HasSubstr("--timeout"));
  EXPECT_THAT(called("S", ""), HasSubstr("--gateway is required"));
}

TEST(CallCommand, PrintsTheReplyAndHowTheTransactionEnded) {
  const GatewayProcess gateway;
  const Environment no_names("FDLFILE", nullptr);
  const std::string to = "--gateway 127.0.0.1:" + std::to_string(gateway.port());
  EXPECT_EQ(called(to + " TOUPPER", "abc"), "ABCvxa: TOUPPER answered, committed\n");
  EXPECT_EQ(called(to + " --carray --rollback ECHO", std::string("a\0b", 3)),
            std::string("a\0b", 3) + "vxa: ECHO answered, rolled back\n");
  EXPECT_EQ(called(to + " --field --text ECHO", "#201326595\t5\n"), "#201326595\t5\nvxa: ECHO answered, committed\n");
  EXPECT_THAT(called(to + " FAIL", "data"),
              testing::MatchesRegex("data.*TPESVCFAIL.*the transaction is not committed"));
}

}  // namespace
