// libvxahost behind a program that has no log functions and no trace hook: preloaded, linked, and by `vxa trace`.
// The build gives the paths of the library and the programs.
#include <regex.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>

#include "tests/support/test.h"

namespace {

using testing::AllOf;
using testing::Not;

// A command's output, standard error included, and its wait status.
struct Ended {
  std::string output;
  int status;
};

void replace_all(std::string& text, const char* pattern, const std::string& by) {
  regex_t compiled;
  ASSERT_EQ(regcomp(&compiled, pattern, REG_EXTENDED), 0) << pattern;
  regmatch_t match;
  for (size_t at = 0; regexec(&compiled, text.c_str() + at, 1, &match, 0) == 0; at += by.size()) {
    at += static_cast<size_t>(match.rm_so);
    text.replace(at, static_cast<size_t>(match.rm_eo - match.rm_so), by);
  }
  regfree(&compiled);
}

// What differs from run to run is masked or taken out: process numbers, times, addresses and durations.
Ended run(const std::string& command) {
  std::string output;
  std::FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  for (int c; (c = std::getc(pipe)) != EOF;) output.push_back(static_cast<char>(c));
  const int status = pclose(pipe);
  const std::pair<const char*, const char*> masks[] = {{"[a-z_]+\\[[0-9]+\\] ", ""},
                                                       {"[0-9]{4}(-[0-9]{2}){2} ([0-9]{2}[:.]){3}[0-9]{3} ", "TIME "},
                                                       {"0x[0-9a-f]+", "ADDRESS"},
                                                       {"  <[0-9.]+ (ns|us|ms|s)>", ""}};
  for (const auto& [pattern, mask] : masks) replace_all(output, pattern, mask);
  return {output, status};
}

// The program's own output, without host and with one.
const std::string kAlone = "byte order 0\n";
const std::string kWithHost = "byte order 2\n";

constexpr const char* kLogOfTheKey =
    "TIME FDL0502 0010 file open error : /no/such/table (No such file or directory)\n"
    "TIME FDL0801 3007 failed to load field key table\n";
constexpr const char* kLogOfTheFile = "TIME COM0035 0010 file open error : /no/such.file (No such file or directory)\n";
const std::string kLog = std::string(kLogOfTheKey) + kLogOfTheFile;

constexpr const char* kPreloaded = "LD_PRELOAD=" VXAHOST_LIBRARY " " BUSINESS;

Ended run_with(const std::string& settings, const char* program = kPreloaded) {
  return run("env -u VESK_TRACE ASAN_OPTIONS=verify_asan_link_order=0 FDLFILE=/no/such/table " + settings + " " +
             program);
}

// What is shown under that trace specification, the log left out.
std::string traced(const std::string& specification, const std::string& settings = "") {
  const Ended result = run_with("VXA_LOG_LEVEL=0 VESK_TRACE='" + specification + "' " + settings);
  EXPECT_TRUE(result.output.starts_with(kWithHost)) << result.output;
  return result.output.substr(std::min(kWithHost.size(), result.output.size()));
}

constexpr const char* kAlloc = "fballoc(1, 2) = ADDRESS\n";
constexpr const char* kFailedFree = "fbfree(0) = -1 [4 : FBEINVAL (invalid argument)]\n";
constexpr const char* kIsBuffer = "fbisfbuf(ADDRESS) = 1\n";
constexpr const char* kKey = "fbget_fldkey(\"NAME\") = 0 [0 : FBEMINNO (bottom of error message codes)]\n";
constexpr const char* kFree = "fbfree(ADDRESS) = 1\n";

std::string lines(std::initializer_list<const char*> texts, const char* prefix = "") {
  std::string all;
  for (const char* text : texts) all += std::string(prefix) + text;
  return all;
}

const std::string kAll = lines({kAlloc, kFailedFree, kIsBuffer, kKey, kFree});

TEST(Host, LogsForAProgramThatHasNoLog) {
  EXPECT_EQ(run_with("", BUSINESS).output, kAlone);
  for (const char* program : {kPreloaded, BUSINESS_LINKED, BUSINESS_STATIC})
    EXPECT_EQ(run_with("VXA_LOG_LEVEL=2", program).output, kWithHost + kLog) << program;
  for (const char* settings : {"VXA_LOG_LEVEL=1", "VXA_LOG_TO=syslog"})
    EXPECT_EQ(run_with(settings).output, kWithHost) << settings;
}

TEST(Host, ShowsWhatTheSpecificationSays) {
  const std::pair<const char*, std::string> cases[] = {
      {"on", kAll},
      {"iatmi", kAll},
      {"off", ""},
      {"xa", ""},
      {"atmi::undye", ""},
      {"*:fbf*/ulog", lines({kFailedFree, kFree}, "TIME TRC9000 9000 ")},
      {"atmi::/fbis*/dye", lines({kIsBuffer, kKey, kFree})},
      {"atmi::/fbis*/undye", lines({kAlloc, kFailedFree, kIsBuffer})},
      {"xa::ulog(seen)", ""},
      {"atmi:x/ulog:/fbfree/ulog(seen)", lines({"fbfree : seen\n", "fbfree : seen\n"}, "TIME TRC9002 9002 ")},
      {"atmi::/fbfree/trace(off)", lines({kAlloc, kFailedFree})},
  };
  for (const auto& [specification, shown] : cases) EXPECT_EQ(traced(specification), shown) << specification;
  for (const char* program : {BUSINESS_LINKED, BUSINESS_STATIC})
    EXPECT_EQ(run_with("VXA_LOG_LEVEL=0 VESK_TRACE=on", program).output, kWithHost + kAll);
  EXPECT_EQ(run_with("VESK_TRACE='atmi:nowhere'").output,
            "TIME TRC5006 5002 Invalid trace specification : nowhere\n" + kWithHost + kLog);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(traced("atmi::/fbis*/sleep(1)"), kAll);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(Host, TracesIntoAFileAndAroundTheLog) {
  EXPECT_THAT(run_with("VESK_TRACE=on").output,
              HasSubstr(std::string("\nfbget_fldkey(\"NAME\") ...\n") + kLogOfTheKey + "fbget_fldkey = 0 [0 : "));
  const TempDir dir;
  EXPECT_EQ(run_with("VESK_TRACE=on VXA_TRACE_FILE=" + dir.path("trace")).output, kWithHost + kLog);
  EXPECT_THAT(TempDir::contents(dir.path("trace")),
              testing::ContainsRegex("business.[0-9]+. fballoc.1, 2. = 0x[0-9a-f]+  <"));
}

TEST(Host, RunsCommandsAndEndsTheProcessOnlyWhenAllowed) {
  constexpr const char* kCommand = "atmi:x/ulog:/fbfree/system(echo ran)";
  constexpr const char* kRefused = "TIME TRC9001 9001 trace action not allowed, name it in VXA_TRACE_ALLOW : ";
  EXPECT_EQ(traced(kCommand, "VXA_TRACE_ALLOW=systematic,abort"), std::string(kRefused) + "system\n");
  EXPECT_EQ(traced(kCommand, "VXA_TRACE_ALLOW=abort,system"), "ran\nran\n");

  const Ended aborted = run_with("VESK_TRACE='atmi::/fbis*/abort' VXA_TRACE_ALLOW=abort");
  EXPECT_THAT(aborted.output, AllOf(HasSubstr("TRC9003 9003 aborted by the trace specification : fbisfbuf"),
                                    Not(HasSubstr("fbisfbuf("))));
  EXPECT_NE(aborted.status, 0);
}

TEST(TraceCommand, RunsTheProgramUnderTheSpecification) {
  const std::string trace =
      "FDLFILE=/no/such/table VXA_LOG_LEVEL=0 ASAN_OPTIONS=verify_asan_link_order=0 " VXA_COMMAND " trace ";
  EXPECT_EQ(run(trace + "-- " BUSINESS).output, kWithHost + kAll);
  EXPECT_EQ(run(trace + "--spec atmi::/fbget*/dye " BUSINESS).output, kWithHost + lines({kKey, kFree}));
  const std::pair<const char*, int> statuses[] = {{BUSINESS " --three", 3},
                                                  {"/no/such/program", 127},
                                                  {"/etc", 126},
                                                  {"sh -c 'kill -PIPE $$; exit 5'", 141}};  // SIGPIPE acts again
  for (const auto& [program, status] : statuses)
    EXPECT_EQ(WEXITSTATUS(run(trace + "-- " + program).status), status) << program;
  const TempDir dir;
  EXPECT_EQ(
      run("cd " + dir.path() + "; " + trace + "-o trace --spec atmi::/fbis*/system:x --allow x -- " BUSINESS).output,
      kWithHost);
}

}  // namespace
