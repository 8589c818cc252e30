// Field buffers on streams: byte images, listings, text assignments.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "base/file.h"
#include "tests/support/field_table.h"
#include "tests/support/host.h"
#include "tests/support/temp_dir.h"
#include "vxa/fbuf.h"
#include "vxa/vxa_host.h"
#include "vxa/xatmi.h"

namespace {

using host::TraceEvent;
using testing::ElementsAre;

constexpr int kChar = 0x04000001;
constexpr int kShort = 0x08000002;
constexpr int kInt = 0x0C000003;
constexpr int kLong = 0x10000004;
constexpr int kFloat = 0x14000005;
constexpr int kDouble = 0x18000006;
constexpr int kString = 0x1C000007;
constexpr int kCarray = 0x20000008;

class Streams : public testing::Test {
 protected:
  Streams() : buf_(fballoc(200, 0)), table_(named_table()), fdlfile_("FDLFILE", table_.c_str()) { fbkeynm_unload(); }
  ~Streams() override {
    fbkeynm_unload();
    fbfree(buf_);
    _vesk_flen_flag = 0;
  }

  // Names for three fields; the others have none.
  std::string named_table() const {
    host::TableFile file{3};
    file.name(0, "NOTE", kString).name(1, "BLOB", kCarray).name(2, "COUNT_OF_ALL_THE_THINGS", kInt);
    file.key(0, kString, 0).key(1, kCarray, 1).key(2, kInt, 2);
    return folder_.file("table", file.bytes());
  }

  static std::string contents(std::FILE* stream) {
    std::rewind(stream);
    std::string text;
    for (int c; (c = std::fgetc(stream)) != EOF;) text.push_back(static_cast<char>(c));
    return text;
  }
  static vxa::FilePtr holding(const std::string& text) {
    vxa::FilePtr stream{std::tmpfile()};
    std::fwrite(text.data(), 1, text.size(), stream.get());
    std::rewind(stream.get());
    return stream;
  }

  std::string image() const { return {static_cast<char*>(buf_), static_cast<std::size_t>(fbget_fbsize(buf_))}; }
  std::string text_of(int key, int nth) const {
    const void* value = fbgetval(buf_, key, nth, nullptr);
    return value ? static_cast<const char*>(value) : "none";
  }
  int int_of(int key, int nth) const {
    int value = 0;
    std::memcpy(&value, fbgetval(buf_, key, nth, nullptr), sizeof value);
    return value;
  }
  int apply(const std::string& text) { return fbextread(buf_, holding(text).get()); }
  std::string listing() const {
    const vxa::FilePtr stream{std::tmpfile()};
    EXPECT_EQ(fbfprint(buf_, stream.get()), 1);
    return contents(stream.get());
  }

  void* buf_;
  host::TempDir folder_;
  std::string table_;
  host::Environment fdlfile_;
};

TEST_F(Streams, ImageIsHeaderAndCapacityAndComesBack) {
  fbput(buf_, kString, "hello", 0);
  const vxa::FilePtr stream{std::tmpfile()};
  ASSERT_EQ(fbwrite(buf_, stream.get()), 1);
  const std::string written = contents(stream.get());
  EXPECT_EQ(written.size(), 136u + 1616u);
  EXPECT_EQ(written.substr(136), image());

  for (int count : {200, 300}) {
    void* other = fballoc(count, 0);
    const long capacity = fbget_fbsize(other);
    fbput(other, kString, "x", 0);
    fbgetval(other, kString, 0, nullptr);  // the search remembers a place that the next read changes
    std::rewind(stream.get());
    EXPECT_EQ(fbread(other, stream.get()), 1);
    EXPECT_EQ(fbget_used(other), 24);
    EXPECT_STREQ(static_cast<char*>(fbgetval(other, kString, 0, nullptr)), "hello");
    EXPECT_EQ(fbget_fbsize(other), capacity) << "the reader's own header stays";
    fbfree(other);
  }
}

TEST_F(Streams, RefusedImagesLeaveTheBufferAlone) {
  void* large = fballoc(201, 0);
  const vxa::FilePtr stream{std::tmpfile()};
  fbwrite(large, stream.get());
  fbfree(large);
  const std::string too_large = contents(stream.get());
  std::string written = too_large;
  written[12] = 8;  // the stored capacity, 1624 before
  written[13] = 0;
  const auto read = [this](const std::string& bytes) {
    fberror = 0;
    EXPECT_EQ(fbread(buf_, holding(bytes).get()), -1);
    return fberror;
  };
  fbput(buf_, kString, "stays", 0);
  const std::string before = image();
  EXPECT_EQ(read(too_large), FBENOSPACE);
  written[15] = '\x80';
  EXPECT_EQ(read(written), FBENOSPACE) << "a negative capacity";
  written[15] = 0;
  for (std::size_t length : {0u, 1u, 135u, 136u, 143u}) EXPECT_EQ(read(written.substr(0, length)), FBEOS) << length;
  EXPECT_EQ(image(), before);
  EXPECT_EQ(fbread(buf_, holding(written).get()), 1);

  const vxa::FilePtr full{std::fopen("/dev/full", "w")};
  std::setbuf(full.get(), nullptr);
  EXPECT_EQ(fbwrite(buf_, full.get()), -1);
  EXPECT_EQ(fberror, FBEOS);
}

TEST_F(Streams, ListsEveryType) {
  const short s = -2;
  const int i = -3;
  const long l = (5L << 32) + 4;
  const float f = 0.5F;
  const double d = 1.5;
  fbput(buf_, kChar, "c", 0);
  fbput(buf_, kShort, &s, 0);
  fbput(buf_, kInt, &i, 0);
  fbput(buf_, kLong, &l, 0);
  fbput(buf_, kFloat, &f, 0);
  fbput(buf_, kDouble, &d, 0);
  fbput(buf_, kString, "a%d", 0);
  fbput(buf_, kCarray, "a\\\x01 \n\xff", 6);
  fbput(buf_, kCarray, "\0", 1);
  int value = 0, length = 0;
  fbget(buf_, kInt, &value, &length);
  EXPECT_EQ(listing(),
            "    fkey = 67108865, fname = , type = char, value = c \n"
            "    fkey = 134217730, fname = , type = short, value = -2 \n"
            "(r) fkey = 201326595, fname = COUNT_OF_ALL_THE_THINGS, type = int, value = -3 \n"
            "    fkey = 268435460, fname = , type = long, value = 4 \n"
            "    fkey = 335544325, fname = , type = float, value = 0.500000 \n"
            "    fkey = 402653190, fname = , type = double, value = 1.500000 \n"
            "    fkey = 469762055, fname = NOTE, type = string, value = a%d \n"
            "    fkey = 536870920, fname = BLOB, type = carray, len = 6, value =a\\\\\\1 \\a\\ff\n"
            "    fkey = 536870920, fname = BLOB, type = carray, len = 1, value =\\0\n");
  EXPECT_EQ(fberror, 0) << "also when names were not found";
}

TEST_F(Streams, ListsDamagedBuffersWithinThem) {
  fbput(buf_, kInt, "abcd", 0);
  fbput(buf_, kString, "text", 0);
  char* bytes = static_cast<char*>(buf_);
  const int unknown = 0x24000001, negative = -4;
  std::memcpy(bytes + 8, &unknown, 4);
  EXPECT_EQ(listing(), "    type error: 9 \n    fkey = 469762055, fname = NOTE, type = string, value = text \n");
  std::memcpy(bytes + 8, &negative, 4);
  const int used = 0x7fffffff;
  std::memcpy(bytes + 4, &used, 4);
  EXPECT_THAT(listing(), testing::StartsWith("(r) type error: -1 \n    fkey = 469762055"));
  std::memset(bytes + 20, 'x', static_cast<std::size_t>(fbget_fbsize(buf_)) - 20);
  EXPECT_EQ(listing(), "(r) type error: -1 \n") << "no string ends within the buffer";
}

TEST_F(Streams, ListsWithoutATableAndNamesTheMagicOfWhatIsNoBuffer) {
  fbkeynm_unload();
  const host::Environment none("FDLFILE", nullptr);
  fbput(buf_, kChar, "c", 0);
  fbput(buf_, kChar, "d", 0);
  host::take_log();
  EXPECT_THAT(listing(), testing::StartsWith("    fkey = 67108865, fname = , type = char"));
  EXPECT_EQ(host::take_log().size(), 4u) << "each lookup tries the table again";
  EXPECT_EQ(fberror, 0);

  testing::internal::CaptureStdout();
  EXPECT_EQ(fbprint(buf_), 1);
  static_cast<char*>(buf_)[0] = 0;
  EXPECT_EQ(fbprint(buf_), -1);
  std::fflush(stdout);
  EXPECT_EQ(fberror, FBEBADFB);
  EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::EndsWith("value = d \nFDL magic error: 8704\n"));
  static_cast<char*>(buf_)[0] = '\xb8';
}

TEST_F(Streams, AssignmentsAddInsertDeleteAndCopy) {
  EXPECT_EQ(apply("# a comment\n"
                  "\n"
                  "NOTE\thello\n"
                  "+NOTE\tfirst\tignored\n"
                  "NOTE\n"        // no value column
                  " NOTE\tno\n"   // a blank before the name
                  "+ NOTE\tno\n"  //
                  "+\n"           //
                  "BLOB\tbytes\n"
                  "469762056\tby key\n"
                  "COUNT_OF_ALL_THE_THINGS\tABCDE\n"
                  "COUNT_OF_ALL_THE_THINGS\t1\n"
                  "268435460\t1\n"
                  "=469762057\tNOTE\n"
                  "=NOTE\tBLOB\n"
                  "-BLOB\t\n"
                  "NOTE\t\n"
                  "NOTE\tlast\t"),
            1);
  EXPECT_EQ(text_of(kString, 0), "bytes") << "copied from BLOB, over the inserted one";
  EXPECT_EQ(text_of(kString, 1), "hello");
  EXPECT_EQ(text_of(kString, 2), "");
  EXPECT_EQ(text_of(kString, 3), "last");
  EXPECT_EQ(fbkeyoccur(buf_, kString), 4);
  EXPECT_EQ(fbkeyoccur(buf_, kCarray), 0);
  EXPECT_EQ(text_of(469762056, 0), "by key");
  EXPECT_EQ(text_of(469762057, 0), "first");
  EXPECT_EQ(int_of(kInt, 0), 0x44434241) << "the text's bytes, not its number";
  EXPECT_EQ(int_of(kInt, 1), 0x31) << "zeros behind the text";
  EXPECT_EQ(int_of(kLong, 0), 0x31);
}

TEST_F(Streams, AFailingAssignmentEndsTheCallAndTellsItsCode) {
  struct Case {
    const char* text;
    int code;
  };
  for (const Case& c :
       {Case{"NONE\tx\n", FBETYPE}, Case{"+NONE\tx\n", FBETYPE}, Case{"-NONE\tx\n", FBENOENT},
        Case{"=NOTE\tNONE\n", FBENOENT}, Case{"=NOTE\tBLOB\n", FBENOENT}, Case{"=NONE\tNOTE\n", FBETYPE},
        Case{"BLOB\t\n", FBEINVAL}, Case{"-BLOB\t\n", FBENOENT}, Case{"603979777\tx\n", FBETYPE},
        Case{"ANAMETHATISLONGERTHANANYFIELDNAMETHATATABLECANHOLD\tx\n", FBETYPE}}) {
    fbinit(buf_, 0);
    EXPECT_EQ(apply(std::string("NOTE\tstays\n") + c.text + "NOTE\tnever\n"), -1) << c.text;
    EXPECT_EQ(fberror, c.code) << c.text;
    EXPECT_EQ(fbfldcount(buf_), 1) << c.text;
  }
}

TEST_F(Streams, KeepsTheErrorCodeUntilAnAssignmentSetsIt) {
  fberror = FBELIMIT;
  EXPECT_EQ(apply(""), 1);
  EXPECT_EQ(apply("# nothing\nNOTE\n"), 1);
  EXPECT_EQ(fberror, FBELIMIT);
  EXPECT_EQ(apply("NOTE\tx"), 1);
  EXPECT_EQ(fberror, 0);
}

TEST_F(Streams, LongLinesAndLongSources) {
  void* large = fballoc(3000, 20000);
  std::swap(buf_, large);
  // 8099 characters are one piece; the rest of the line is a piece of its own.
  EXPECT_EQ(apply("NOTE\t" + std::string(8094, 'x') + "NOTE\ty\n"), 1);
  EXPECT_EQ(text_of(kString, 0).size(), 8094u);
  EXPECT_EQ(text_of(kString, 1), "y");

  const std::string source(8100, 's');  // with its terminator one byte too long
  fbupdate(buf_, kString, 0, source.c_str(), 0);
  for (int policy : {0, 1, 3}) {
    _vesk_flen_flag = policy;
    EXPECT_EQ(apply("=469762056\tNOTE\n"), -1);
    EXPECT_EQ(fberror, FBENOSPACE);
  }
  _vesk_flen_flag = 2;
  EXPECT_EQ(apply("=469762056\tNOTE\n"), 1);
  EXPECT_EQ(text_of(469762056, 0), source.substr(1));
  _vesk_flen_flag = 0;
  fbput(buf_, kCarray, source.data(), 8100);
  EXPECT_EQ(apply("=NOTE\tBLOB\n"), 1) << "8100 bytes fit, and are read as text within them";
  EXPECT_EQ(text_of(kString, 0), source);
  std::swap(buf_, large);
  fbfree(large);
}

TEST_F(Streams, RefuseNullAndTrace) {
  const vxa::FilePtr stream = holding("NOTE\tx\n-NONE\tx\n");
  host::Tracing tracing;
  fbwrite(nullptr, stream.get());
  fbread(buf_, nullptr);
  fbfprint(buf_, nullptr);
  fbprint(nullptr);
  fbextread(buf_, nullptr);
  const std::vector<TraceEvent> events = host::take_trace();
  ASSERT_EQ(events.size(), 10u);
  const char* const names[] = {"fbwrite", "fbread", "fbfprint", "fbprint", "fbextread"};
  for (std::size_t call = 0; call < 5; ++call)
    EXPECT_EQ(events[2 * call + 1],
              (TraceEvent{names[call], 4, std::string(names[call]) + " = -1 [4 : FBEINVAL (invalid argument)]"}));
  EXPECT_EQ(events[6], (TraceEvent{"fbprint", 1, "fbprint(0)"}));

  fbextread(buf_, stream.get());
  testing::internal::CaptureStdout();
  fbprint(buf_);
  std::fflush(stdout);
  testing::internal::GetCapturedStdout();
  const std::vector<TraceEvent> two_calls = host::take_trace();
  ASSERT_EQ(two_calls.size(), 4u) << "nothing of the work inside";
  EXPECT_EQ(two_calls[1].text, "fbextread = -1 [6 : FBENOENT (not found)]");
  EXPECT_EQ(two_calls[3].text, "fbprint = 1");
}

}  // namespace
