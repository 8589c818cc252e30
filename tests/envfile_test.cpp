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

constexpr const char* kUntouched = "untouched";

struct Parsed {
  int result;
  std::string text;
  bool operator==(const Parsed&) const = default;
};

Parsed parse(const std::string& line) {
  char out[1024];
  std::strcpy(out, kUntouched);
  const int result = _process_env_line(line.c_str(), out);
  return {result, out};
}

LogRecord syntax_error(const char* code, const char* reason) {
  return {0, 2, code, std::string("0212 env file error : ") + reason};
}

TEST(EnvironmentLine, KindsOfLines) {
  for (const char* blank : {"", "\n", " \t\v\f\r\n"}) EXPECT_EQ(parse(blank), (Parsed{5, kUntouched})) << blank;
  for (const char* comment : {"# A=1", " / x", ";", "!\n"}) EXPECT_EQ(parse(comment), (Parsed{1, kUntouched}));
  EXPECT_EQ(parse(" [] behind it"), (Parsed{3, kUntouched}));
  EXPECT_EQ(parse("[a b] c]\n"), (Parsed{2, "a b"}));
  EXPECT_EQ(parse("  A=1\n"), (Parsed{4, "A=1"}));
  EXPECT_EQ(parse("A="), (Parsed{4, "A="}));
  EXPECT_EQ(parse("=1"), (Parsed{4, "=1"}));
  EXPECT_THAT(host::take_log(), IsEmpty());
}

TEST(EnvironmentLine, BlanksAndQuotesEndAnAssignment) {
  EXPECT_EQ(parse("A=1 2"), (Parsed{4, "A=1"}));
  EXPECT_EQ(parse("A=\"x y\"z\n"), (Parsed{4, "A=x y"}));
  EXPECT_EQ(parse("A=b\"c d\" e"), (Parsed{4, "A=bc d"}));
  EXPECT_EQ(parse("A=\"open end \n"), (Parsed{4, "A=open end "}));
  EXPECT_EQ(parse("\"A=1 2\""), (Parsed{4, "A=1 2"}));
  EXPECT_EQ(parse("A=\\x\\"), (Parsed{4, "A=\\x\\"})) << "a backslash with no $ behind it is itself";
}

TEST(EnvironmentLine, AReferenceEndsTheValue) {
  const Environment home("VXA_T_HOME", "/h=$VXA_T_HOME \"");
  const Environment unset("VXA_T_UNSET", nullptr);
  for (const char* form : {"$VXA_T_HOME", "\\$VXA_T_HOME", "${VXA_T_HOME}", "$(VXA_T_HOME)", "${VXA_T_HOME)b",
                           "\\$(VXA_T_HOME}b=2", "$VXA_T_HOME b", "\"${VXA_T_HOME}\""})
    EXPECT_EQ(parse(std::string("X=a") + form), (Parsed{4, "X=a/h=$VXA_T_HOME \""})) << form;
  EXPECT_EQ(parse("X=$VXA_T_UNSET"), (Parsed{4, "X="}));
  EXPECT_EQ(parse("X=$VXA_T_HOM"), (Parsed{4, "X="})) << "a name that another one begins with";
  EXPECT_EQ(parse("X=a$"), (Parsed{4, "X=a"}));
  EXPECT_EQ(parse(std::string("X=${") + std::string(5000, 'n') + "}"), (Parsed{4, "X="}));
}

TEST(EnvironmentLine, MalformedLinesAreReported) {
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
    EXPECT_EQ(parse(c.line), (Parsed{-1, kUntouched})) << c.line;
    EXPECT_THAT(host::take_log(), ElementsAre(c.record)) << c.line;
  }
  host::log_level = 1;
  EXPECT_EQ(parse("A").result, -1);
  host::log_level = 9;
  EXPECT_THAT(host::take_log(), IsEmpty()) << "level 2 was not wanted";
}

TEST(EnvironmentLine, WhatDoesNotFitIsRefused) {
  const std::string longest = std::string("A=") + std::string(1021, 'v');
  EXPECT_EQ(parse(longest), (Parsed{4, longest}));
  EXPECT_EQ(parse(longest + "v").result, -1);
  const Environment value("VXA_T_LONG", std::string(1000, 'v').c_str());
  EXPECT_EQ(parse(std::string("A=") + std::string(21, 'v') + "$VXA_T_LONG"), (Parsed{4, longest}));
  EXPECT_EQ(parse(std::string("A=") + std::string(22, 'v') + "$VXA_T_LONG").result, -1);
  EXPECT_EQ(parse(std::string("[") + std::string(1023, 'l') + "]"), (Parsed{2, std::string(1023, 'l')}));
  EXPECT_EQ(parse(std::string("[") + std::string(1024, 'l') + "]").result, -1);
  host::take_log();
}

class EnvironmentFile : public testing::Test {
 protected:
  // What the three variables are after reading the file; "-" stands for one that is not set.
  std::string values_after(std::string_view contents, const char* section, int expected) {
    EXPECT_EQ(_set_veskenv(dir_.file("env", contents).c_str(), section), expected) << contents;
    std::string values;
    for (const char* name : kNames) values += take(name) + " ";
    return values;
  }

  host::TempDir dir_;

 private:
  static constexpr const char* kNames[] = {"VXA_T_A", "VXA_T_B", "VXA_T_C"};

  // Removes the variable again, and releases its block, which the library gave to the environment for good.
  static std::string take(const char* name) {
    char* const set = getenv(name);
    if (!set) return "-";
    const std::string value = set;
    unsetenv(name);
    std::free(set - std::strlen(name) - 1);
    return value;
  }
};

TEST_F(EnvironmentFile, SectionsApplyByLabel) {
  constexpr std::string_view file = "VXA_T_A=1\n[s1]\nVXA_T_B=2\n[]\nVXA_T_C=3";
  EXPECT_EQ(values_after(file, "s1", 1), "1 2 3 ");
  EXPECT_EQ(values_after(file, "s2", 1), "1 - 3 ");
  EXPECT_EQ(values_after(file, "S1", 1), "1 - 3 ");
  EXPECT_EQ(values_after(file, nullptr, 1), "1 - 3 ");
  EXPECT_EQ(values_after("[s1]\nVXA_T_A=1\n[s2]\nVXA_T_B=2\n[s1]\nVXA_T_C=3\n", "s1", 1), "1 - 3 ");
}

TEST_F(EnvironmentFile, LaterLinesSeeEarlierOnes) {
  EXPECT_EQ(values_after("VXA_T_A=1\nVXA_T_B=x$VXA_T_A\n", nullptr, 1), "1 x1 - ");
}

TEST_F(EnvironmentFile, FailsWhenNothingApplies) {
  EXPECT_EQ(values_after("", nullptr, -1), "- - - ");
  EXPECT_EQ(values_after("# only\n\n; comments\n[s1]\nVXA_T_A=1\n", "s2", -1), "- - - ");
  EXPECT_THAT(host::take_log(), IsEmpty());
}

TEST_F(EnvironmentFile, MalformedLinesAreSkipped) {
  EXPECT_EQ(values_after("VXA_T_A\n[open\nVXA_T_B=2\n", nullptr, 1), "- 2 - ");
  EXPECT_THAT(host::take_log(),
              ElementsAre(syntax_error("COM0034", "no = met"), syntax_error("COM0029", "label without ]")));
}

TEST_F(EnvironmentFile, LongLinesAreReadInPieces) {
  const std::string comment = std::string("#") + std::string(1022, 'c');
  EXPECT_EQ(values_after(comment + "VXA_T_A=1\nVXA_T_B=2\n", nullptr, 1), "1 2 - ");
}

TEST_F(EnvironmentFile, UnreadableFilesAreReported) {
  const std::string missing = dir_.path("missing");
  EXPECT_EQ(_set_veskenv(missing.c_str(), nullptr), -1);
  EXPECT_THAT(host::take_log(),
              ElementsAre(LogRecord{1, 2, "COM0035", std::string("0010 file open error : ") + missing}));
  EXPECT_EQ(_set_veskenv(dir_.path().c_str(), nullptr), -1);
  EXPECT_THAT(host::take_log(),
              ElementsAre(LogRecord{1, 2, "COM0035", std::string("0010 file open error : ") + dir_.path()}));
  EXPECT_EQ(_set_veskenv(nullptr, nullptr), -1);
}

}  // namespace
