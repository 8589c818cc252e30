// Field buffers on streams: byte images, listings, text assignments.
#include <cstdio>

#include "base/file.h"
#include "tests/support/field_table.h"
#include "tests/support/field_test.h"

namespace {

constexpr int kCopy = key(FB_STRING, 9);  // written as its number, 469762057

vxa::FilePtr holding(const std::string& text) {
  vxa::FilePtr stream{std::tmpfile()};
  std::fwrite(text.data(), 1, text.size(), stream.get());
  std::rewind(stream.get());
  return stream;
}

// What a call puts on a stream.
std::string output(int (*call)(const void*, std::FILE*), const Buffer& buf) {
  const vxa::FilePtr stream{std::tmpfile()};
  EXPECT_EQ(call(buf, stream.get()), 1);
  std::rewind(stream.get());
  std::string text(1 << 16, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), stream.get()));
  return text;
}
std::string written(const Buffer& buf) { return output(fbwrite, buf); }
std::string listing(const Buffer& buf) { return output(fbfprint, buf); }

int assign(const Buffer& buf, const std::string& text) { return fbextread(buf, holding(text).get()); }

std::string text_of(const Buffer& buf, int field, int nth) {
  const void* value = fbgetval(buf, field, nth, nullptr);
  return value ? static_cast<const char*>(value) : "none";
}

// With a table of names for three fields.
class Streams : public testing::Test {
 protected:
  Streams() {
    host::TableFile file{3};
    file.name(0, "NOTE", kString).name(1, "BLOB", kCarray).name(2, "COUNT_OF_ALL_THE_THINGS", kInt);
    folder_.file("table", file.key(0, kString, 0).key(1, kCarray, 1).key(2, kInt, 2).bytes());
    fbkeynm_unload();
  }
  ~Streams() override {
    fbkeynm_unload();
    _vesk_flen_flag = 0;
  }

  TempDir folder_;
  Environment fdlfile_{"FDLFILE", folder_.path("table").c_str()};
  Buffer buf_{200};
};

TEST_F(Streams, ImageIsHeaderAndCapacityAndComesBack) {
  buf_.put(kString, "hello");
  const std::string image = written(buf_);
  EXPECT_EQ(image.size(), 136u + 1616u);
  EXPECT_EQ(image.substr(136, 24), bytes("b8 22 00 00 18 00 00 00  07 00 00 1c 68 65 6c 6c  6f 00 __ __ __ __ __ __"));
  for (const int count : {200, 300}) {
    Buffer other(count);
    const long capacity = fbget_fbsize(other.put(kString, "x"));
    fbgetval(other, kString, 0, nullptr);  // the search remembers a place that the read changes
    EXPECT_EQ(fbread(other, holding(image).get()), 1);
    EXPECT_EQ(other.image(), buf_.image());
    EXPECT_EQ(text_of(other, kString, 0), "hello");
    EXPECT_EQ(fbget_fbsize(other), capacity) << "the reader's own header stays";
  }
}

TEST_F(Streams, RefusedImagesLeaveTheBufferAlone) {
  Buffer small;
  small.put(kInt, 7);
  buf_.put(kString, "stays");
  const std::string before = buf_.image(), fits = written(small), too_large = written(Buffer(201));
  std::string negative = fits;
  negative[15] = '\x80';  // of the stored capacity
  const auto read = [this](const std::string& image) { return [=, this] { fbread(buf_, holding(image).get()); }; };
  expect_refusals({{"fbread = -1", FBENOSPACE, read(too_large)}, {"fbread = -1", FBENOSPACE, read(negative)}});
  for (const std::size_t length : {0u, 1u, 135u, 136u, 143u, 1167u})
    expect_refusals({{"fbread = -1", FBEOS, read(fits.substr(0, length))}});
  EXPECT_EQ(buf_.image(), before);
  EXPECT_EQ(fbread(buf_, holding(fits).get()), 1);

  const vxa::FilePtr full{std::fopen("/dev/full", "w")};
  std::setbuf(full.get(), nullptr);
  expect_refusals({{"fbwrite = -1", FBEOS, [&] { fbwrite(buf_, full.get()); }}});
}

TEST_F(Streams, ListsEveryType) {
  buf_.put(kChar, 'c').put(kShort, -2).put(kInt, -3).put(kLong, (5L << 32) + 4).put(kFloat, 0.5F);
  buf_.put(kDouble, 1.5).put(kString, "a%d").put_value(kCarray, "a\\\x01 \n\xff", 6).put_value(kCarray, "\0", 1);
  int value = 0;
  fbget(buf_, kInt, &value, nullptr);
  EXPECT_EQ(listing(buf_),
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
  buf_.forge(bytes("01 00 00 24 __ __ __ __  07 00 00 1c 74 65 78 74  00 __ __ __ __ __ __ __"));
  EXPECT_EQ(listing(buf_), "    type error: 9 \n    fkey = 469762055, fname = NOTE, type = string, value = text \n");
  buf_.forge(bytes("fc ff ff ff __ __ __ __  07 00 00 1c") + std::string(1616 - 20, 'x'), INT32_MAX);
  EXPECT_EQ(listing(buf_), "(r) type error: -1 \n") << "no string ends within the buffer";
  buf_.forge("");
}

TEST_F(Streams, ListsWithoutATableAndNamesTheMagicOfWhatIsNoBuffer) {
  const Environment none("FDLFILE", nullptr);
  buf_.put(kChar, "c").put(kChar, "d");
  host::take_log();
  EXPECT_THAT(listing(buf_), testing::StartsWith("    fkey = 67108865, fname = , type = char"));
  EXPECT_EQ(host::take_log().size(), 4u) << "each lookup tries the table again";
  EXPECT_EQ(fberror, 0);

  const host::Tracing tracing;
  testing::internal::CaptureStdout();
  EXPECT_EQ(fbprint(buf_), 1);
  EXPECT_EQ(host::take_trace().size(), 2u) << "nothing of the work inside";
  buf_[0] = 0;
  EXPECT_EQ(fbprint(buf_), -1);
  buf_[0] = '\xb8';
  std::fflush(stdout);
  EXPECT_EQ(fberror, FBEBADFB);
  EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::EndsWith("value = d \nFDL magic error: 8704\n"));
}

TEST_F(Streams, AssignmentsAddInsertDeleteAndCopy) {
  EXPECT_EQ(assign(buf_,
                   "# a comment\n"
                   "\n"
                   "NOTE\thello\n"
                   "+NOTE\tfirst\tignored\n"
                   "NOTE\n"        // no value column
                   " NOTE\tno\n"   // a blank before the name
                   "+ NOTE\tno\n"  //
                   "+\n"           //
                   "BLOB\tbytes\n"
                   "COUNT_OF_ALL_THE_THINGS\tABCDE\n"
                   "268435460\t1\n"
                   "=469762057\tNOTE\n"
                   "=NOTE\tBLOB\n"
                   "-BLOB\t\n"
                   "NOTE\t\n"
                   "NOTE\tlast\t"),
            1);
  EXPECT_EQ(listing(buf_),
            "    fkey = 469762055, fname = NOTE, type = string, value = bytes \n"  // copied over the inserted one
            "    fkey = 469762055, fname = NOTE, type = string, value = hello \n"
            "    fkey = 201326595, fname = COUNT_OF_ALL_THE_THINGS, type = int, value = 1145258561 \n"  // 0x44434241
            "    fkey = 268435460, fname = , type = long, value = 49 \n"  // the text's byte and zeros behind it
            "    fkey = 469762057, fname = , type = string, value = first \n"
            "    fkey = 469762055, fname = NOTE, type = string, value =  \n"
            "    fkey = 469762055, fname = NOTE, type = string, value = last \n");
}

TEST_F(Streams, AFailingAssignmentEndsTheCallAndTellsItsCode) {
  const struct {
    const char* line;
    int code;
  } kFailing[] = {{"NONE\tx\n", FBETYPE},      {"+NONE\tx\n", FBETYPE},
                  {"-NONE\tx\n", FBENOENT},    {"=NOTE\tNONE\n", FBENOENT},
                  {"=NOTE\tBLOB\n", FBENOENT}, {"=NONE\tNOTE\n", FBETYPE},
                  {"BLOB\t\n", FBEINVAL},      {"-BLOB\t\n", FBENOENT},
                  {"603979777\tx\n", FBETYPE}, {"ANAMETHATISLONGERTHANANYFIELDNAMETHATATABLECANHOLD\tx\n", FBETYPE}};
  for (const auto& [line, code] : kFailing) {
    fbinit(buf_, 0);
    const vxa::FilePtr stream = holding(std::string("NOTE\tstays\n") + line + "NOTE\tnever\n");
    expect_refusals({{"fbextread = -1", code, [&] { fbextread(buf_, stream.get()); }}});
    EXPECT_EQ(fbfldcount(buf_), 1) << line;
  }
  fberror = FBELIMIT;
  EXPECT_EQ(outcome(assign(buf_, "# nothing\nNOTE\n")), std::pair(1, FBELIMIT)) << "kept until an assignment sets it";
  EXPECT_EQ(outcome(assign(buf_, "NOTE\tx")), std::pair(1, 0));
}

TEST_F(Streams, LongLinesAndLongSources) {
  Buffer large(3000, 20000);
  // 8099 characters are one piece; the rest of the line is a piece of its own.
  EXPECT_EQ(assign(large, "NOTE\t" + std::string(8094, 'x') + "NOTE\ty\n"), 1);
  EXPECT_EQ(text_of(large, kString, 0).size(), 8094u);
  EXPECT_EQ(text_of(large, kString, 1), "y");

  const std::string source(8100, 's');  // with its terminator one byte too long
  fbupdate(large, kString, 0, source.c_str(), 0);
  for (const int policy : {0, 1, 3}) {
    _vesk_flen_flag = policy;
    EXPECT_EQ(refusal(assign(large, "=469762057\tNOTE\n")), FBENOSPACE);
  }
  _vesk_flen_flag = 2;
  EXPECT_EQ(assign(large, "=469762057\tNOTE\n"), 1);
  EXPECT_EQ(text_of(large, kCopy, 0), source.substr(1));
  _vesk_flen_flag = 0;
  large.put_value(kCarray, source.data(), 8100);
  EXPECT_EQ(assign(large, "=NOTE\tBLOB\n"), 1) << "8100 bytes fit, and are read as text within them";
  EXPECT_EQ(text_of(large, kString, 0), source);
}

TEST_F(Streams, RefuseNull) {
  expect_refusals({{"fbread = -1", FBEINVAL, [&] { fbread(buf_, nullptr); }},
                   {"fbwrite = -1", FBEINVAL, [&] { fbwrite(buf_, nullptr); }},
                   {"fbfprint = -1", FBEINVAL, [&] { fbfprint(buf_, nullptr); }},
                   {"fbprint = -1", FBEINVAL, [] { fbprint(nullptr); }},
                   {"fbextread = -1", FBEINVAL, [&] { fbextread(buf_, nullptr); }}});
}

}  // namespace
