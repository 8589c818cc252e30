// Environment files: what each form of a line means, which sections apply, and what is reported.
#include "tests/support/test.h"

namespace {

using Parsed = std::pair<int, std::string>;  // the result, and what it left

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
  const std::vector<std::pair<Parsed, std::vector<std::string>>> cases = {
      {{5, "untouched"}, {"", "\n", " \t\v\f\r\n"}},
      {{1, "untouched"}, {"# A=1", " / x", ";", "!\n"}},
      {{3, "untouched"}, {" [] behind it"}},
      {{2, "a b"}, {"[a b] c]\n"}},
      {{2, filled("", 1023)}, {filled("[", 1023, "]")}},
      {{4, "A=1"}, {"  A=1\n", "A=1 2"}},
      {{4, "=1"}, {"=1"}},
      {{4, "A=1 2"}, {"\"A=1 2\"", "A=\"1 2\"z\n", "A=1\" 2\" 3"}},
      {{4, "A=open end "}, {"A=\"open end \n"}},
      {{4, "A=\\x\\"}, {"A=\\x\\"}},
      {{4, longest}, {longest, filled("A=", 21, "$VXA_T_LONG")}},
      // A reference ends the value, which is not looked into.
      {{4, "A=/h=$VXA_T_HOME \""},
       {"A=$VXA_T_HOME", "A=\\$VXA_T_HOME b", "A=$(VXA_T_HOME)", "A=${VXA_T_HOME)b", "A=\"\\$(VXA_T_HOME}b=2"}},
      {{4, "A="}, {"A=", "A=$VXA_T_UNSET", "A=$VXA_T_HOM", "A=$", filled("A=${", 5000, "}")}},
  };
  for (const auto& [parsed, lines] : cases)
    for (const std::string& line : lines) EXPECT_EQ(parse(line), parsed) << line;
  EXPECT_TRUE(logged({}));
}

TEST(EnvironmentLine, MalformedOnesAreReported) {
  const Environment long_value("VXA_T_LONG", filled("", 1000).c_str());
  const std::vector<std::pair<LogRecord, std::vector<const char*>>> cases = {
      {syntax_error("COM0029", "label without ]"), {"[label"}},
      {syntax_error("COM0030", "$ or \\$ met without ="), {"A$B=1", "\\$B"}},
      {syntax_error("COM0031", "no pair brace"), {"A=$B}"}},
      {syntax_error("COM0032", "no pair brace"), {"A=${B", "A=$(B }"}},
      {syntax_error("COM0033", "two = met"), {"A=b=c", "A=\"x=y\""}},
      {syntax_error("COM0034", "no = met"), {"A = 1", "A\"B\"=1"}},
  };
  for (const auto& [record, lines] : cases) {
    for (const char* line : lines) {
      EXPECT_EQ(parse(line), Parsed(-1, "untouched")) << line;
      EXPECT_TRUE(logged({record})) << line;
    }
  }
  for (const std::string& too_long : {filled("A=", 1022), filled("A=", 22, "$VXA_T_LONG"), filled("[", 1024, "]")})
    EXPECT_EQ(parse(too_long).first, -1);
  take_log();
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
  const TempDir dir;
  constexpr const char* kSections = "VXA_T_A=1\n[s1]\nVXA_T_B=2\n[]\nVXA_T_C=3";
  const std::tuple<std::string, const char*, int, const char*> cases[] = {
      {kSections, "s1", 1, "1 2 3 "},
      {kSections, "S1", 1, "1 - 3 "},
      {kSections, nullptr, 1, "1 - 3 "},
      {"[s1]\nVXA_T_A=1\n[s2]\nVXA_T_B=2\n[s1]\nVXA_T_C=3\n", "s1", 1, "1 - 3 "},
      {"VXA_T_A=1\nVXA_T_B=x$VXA_T_A\n", nullptr, 1, "1 x1 - "},  // later lines see earlier ones
      {"# only\n\n; comments\n[s1]\nVXA_T_A=1\n", "s2", -1, "- - - "},
      {"VXA_T_A\n[open\nVXA_T_B=2\n", nullptr, 1, "- 2 - "},                 // malformed lines are skipped
      {filled("#", 1022, "VXA_T_A=1\nVXA_T_B=2\n"), nullptr, 1, "1 2 - "}};  // read in pieces
  for (const auto& [file, section, result, values] : cases) {
    EXPECT_EQ(_set_veskenv(dir.file("env", file).c_str(), section), result) << file;
    EXPECT_EQ(taken("VXA_T_A") + taken("VXA_T_B") + taken("VXA_T_C"), values) << file;
  }
  EXPECT_TRUE(logged({syntax_error("COM0034", "no = met"), syntax_error("COM0029", "label without ]")}));
}

TEST(EnvironmentFile, UnreadableFilesAreReported) {
  const TempDir dir;
  for (const std::string& path : {dir.path("missing"), dir.path()}) {
    EXPECT_EQ(_set_veskenv(path.c_str(), nullptr), -1);
    EXPECT_TRUE(logged({{1, 2, "COM0035", std::string("0010 file open error : ") + path}}));
  }
  EXPECT_EQ(_set_veskenv(nullptr, nullptr), -1);
}

}  // namespace
