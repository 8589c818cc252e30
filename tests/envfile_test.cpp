// Environment files: what each form of a line means, which sections apply, and what is reported.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "tests/support/host.h"
#include "tests/support/temp_dir.h"
#include "vxa/vxa_host.h"

namespace {

using host::Environment;
using host::LogRecord;
using testing::ElementsAre;
using testing::IsEmpty;

struct Parsed {
  int result;
  std::string text;
  bool operator==(const Parsed&) const = default;
};

Parsed parse(const std::string& line) {
  char out[1024] = "untouched";
  const int result = _process_env_line(line.c_str(), out);
  return {result, out};
}

std::string filled(const char* front, std::size_t count, const char* back = "") {
  return std::string(front).append(count, 'v').append(back);
}

LogRecord syntax_error(const char* code, const char* reason) {
  return {0, 2, code, std::string("0212 env file error : ") + reason};
}

TEST(EnvironmentLine, WhatItsFormsMean) {
  const Environment home("VXA_T_HOME", "/h=$VXA_T_HOME \""), unset("VXA_T_UNSET", nullptr);
  const Environment long_value("VXA_T_LONG", filled("", 1000).c_str());
  const std::string longest = filled("A=", 1021);
  const struct {
    std::string line;
    Parsed parsed;
  } cases[] = {
      {"", {5, "untouched"}},
      {" \t\v\f\r\n", {5, "untouched"}},
      {"# A=1", {1, "untouched"}},
      {" / x", {1, "untouched"}},
      {";", {1, "untouched"}},
      {"!\n", {1, "untouched"}},
      {" [] behind it", {3, "untouched"}},
      {"[a b] c]\n", {2, "a b"}},
      {filled("[", 1023, "]"), {2, filled("", 1023)}},
      {"  A=1\n", {4, "A=1"}},
      {"A=", {4, "A="}},
      {"=1", {4, "=1"}},
      {longest, {4, longest}},
      // Blanks and quotes end an assignment.
      {"A=1 2", {4, "A=1"}},
      {"A=\"x y\"z\n", {4, "A=x y"}},
      {"A=b\"c d\" e", {4, "A=bc d"}},
      {"A=\"open end \n", {4, "A=open end "}},
      {"\"A=1 2\"", {4, "A=1 2"}},
      {"A=\\x\\", {4, "A=\\x\\"}},  // a backslash with no $ behind it is itself
      // So does a reference, whose value is not looked into.
      {"X=a$VXA_T_HOME", {4, "X=a/h=$VXA_T_HOME \""}},
      {"X=\\$VXA_T_HOME b", {4, "X=/h=$VXA_T_HOME \""}},
      {"X=$(VXA_T_HOME)", {4, "X=/h=$VXA_T_HOME \""}},
      {"X=${VXA_T_HOME)b", {4, "X=/h=$VXA_T_HOME \""}},
      {"X=\"\\$(VXA_T_HOME}b=2", {4, "X=/h=$VXA_T_HOME \""}},
      {"X=$VXA_T_UNSET", {4, "X="}},
      {"X=$VXA_T_HOM", {4, "X="}},  // a name that another one begins with
      {"X=a$", {4, "X=a"}},
      {filled("X=${", 5000, "}"), {4, "X="}},
      {filled("A=", 21, "$VXA_T_LONG"), {4, longest}},
  };
  for (const auto& c : cases) EXPECT_EQ(parse(c.line), c.parsed) << c.line;
  EXPECT_THAT(host::take_log(), IsEmpty());
}

TEST(EnvironmentLine, MalformedOnesAreReported) {
  const struct {
    const char* line;
    LogRecord record;
  } cases[] = {
      {"[label", syntax_error("COM0029", "label without ]")},
      {"A$B=1", syntax_error("COM0030", "$ or \\$ met without =")},
      {"\\$B", syntax_error("COM0030", "$ or \\$ met without =")},
      {"A=$B}", syntax_error("COM0031", "no pair brace")},
      {"A=${B", syntax_error("COM0032", "no pair brace")},
      {"A=$(B }", syntax_error("COM0032", "no pair brace")},
      {"A=b=c", syntax_error("COM0033", "two = met")},
      {"A=\"x=y\"", syntax_error("COM0033", "two = met")},
      {"A = 1", syntax_error("COM0034", "no = met")},
      {"A\"B\"=1", syntax_error("COM0034", "no = met")},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(parse(c.line), (Parsed{-1, "untouched"})) << c.line;
    EXPECT_THAT(host::take_log(), ElementsAre(c.record)) << c.line;
  }
  const Environment value("VXA_T_LONG", filled("", 1000).c_str());
  for (const std::string& too_long : {filled("A=", 1022), filled("A=", 22, "$VXA_T_LONG"), filled("[", 1024, "]")})
    EXPECT_EQ(parse(too_long).result, -1);
  host::take_log();
}

// The library gives each block to the environment for good; removes the variable, and releases its block.
std::string taken(const char* name) {
  char* const set = getenv(name);
  if (!set) return "- ";
  const std::string value = set;
  unsetenv(name);
  std::free(set - std::strlen(name) - 1);
  return value + " ";
}

TEST(EnvironmentFile, SectionsApplyByLabel) {
  const host::TempDir dir;
  constexpr const char* kSections = "VXA_T_A=1\n[s1]\nVXA_T_B=2\n[]\nVXA_T_C=3";
  const struct {
    std::string file;
    const char* section;
    int result;
    const char* values;  // of the three variables
  } cases[] = {{kSections, "s1", 1, "1 2 3 "},
               {kSections, "S1", 1, "1 - 3 "},
               {kSections, nullptr, 1, "1 - 3 "},
               {"[s1]\nVXA_T_A=1\n[s2]\nVXA_T_B=2\n[s1]\nVXA_T_C=3\n", "s1", 1, "1 - 3 "},
               {"VXA_T_A=1\nVXA_T_B=x$VXA_T_A\n", nullptr, 1, "1 x1 - "},  // later lines see earlier ones
               {"# only\n\n; comments\n[s1]\nVXA_T_A=1\n", "s2", -1, "- - - "},
               {"VXA_T_A\n[open\nVXA_T_B=2\n", nullptr, 1, "- 2 - "},                 // malformed lines are skipped
               {filled("#", 1022, "VXA_T_A=1\nVXA_T_B=2\n"), nullptr, 1, "1 2 - "}};  // read in pieces
  for (const auto& c : cases) {
    EXPECT_EQ(_set_veskenv(dir.file("env", c.file).c_str(), c.section), c.result) << c.file;
    EXPECT_EQ(taken("VXA_T_A") + taken("VXA_T_B") + taken("VXA_T_C"), c.values) << c.file;
  }
  EXPECT_THAT(host::take_log(),
              ElementsAre(syntax_error("COM0034", "no = met"), syntax_error("COM0029", "label without ]")));
}

TEST(EnvironmentFile, UnreadableFilesAreReported) {
  const host::TempDir dir;
  for (const std::string& path : {dir.path("missing"), dir.path()}) {
    EXPECT_EQ(_set_veskenv(path.c_str(), nullptr), -1);
    EXPECT_THAT(host::take_log(),
                ElementsAre(LogRecord{1, 2, "COM0035", std::string("0010 file open error : ") + path}));
  }
  EXPECT_EQ(_set_veskenv(nullptr, nullptr), -1);
}

}  // namespace
