// Argument vectors, dumps, descriptor questions, service names and system queue keys.
#include "base/descriptor.h"
#include "base/heap.h"
#include "tests/support/peer.h"
#include "tests/support/test.h"

namespace {

using vxa::HeapPtr;

// Takes the vector over.
std::vector<std::string> words_of(char** vector) {
  const HeapPtr<char*> owned(vector);
  return {vector, vector + _get_argc_from_argv(vector)};
}

TEST(ArgumentVector, SplitsAtWhiteSpaceAlone) {
  int count = -1;
  EXPECT_THAT(words_of(_vesk_build_argv_argc("  one   \"two\t\n", &count)), ElementsAre("one", "\"two"));
  EXPECT_EQ(count, 2);
  EXPECT_THAT(words_of(_vesk_build_argv_argc(" \t ", &count)), IsEmpty());
  EXPECT_EQ(count, 0);
  EXPECT_THAT(words_of(_vesk_build_argv_argc("a b c d e f g h", nullptr)), testing::SizeIs(8));
  EXPECT_THAT(words_of(_vesk_build_argv("run it", "-x y")), ElementsAre("run", "it", "-x", "y"));
  EXPECT_THAT(words_of(_vesk_build_argv("run", nullptr)), ElementsAre("run"));
}

TEST(ArgumentVector, JoinsWithABlankBehindEach) {
  char a[] = "a", b[] = "b c";
  char* const vector[] = {a, b, nullptr};
  const auto joined = [&](int count) { return std::string(HeapPtr<char>(_vesk_mkstr_from_argv(count, vector)).get()); };
  EXPECT_EQ(joined(2), "a b c ");
  EXPECT_EQ(joined(0), "");
  EXPECT_EQ(joined(-1), "");
  EXPECT_EQ(joined(5), "a b c ") << "the vector ends first";
  EXPECT_STREQ(HeapPtr<char>(_vesk_mkstr_from_argv(2, nullptr)).get(), "");
}

TEST(Texts, BlankTextsAndServiceNames) {
  for (const char* blank : {"", " \t\r\n\v\f"}) EXPECT_EQ(is_null_data(blank), 1);
  EXPECT_EQ(is_null_data(" x"), 0);
  char name[32];
  EXPECT_EQ(_make_svcname_from_prodno_funcname(12, "abc", name), 1);
  EXPECT_STREQ(name, "p0012_abc");
  EXPECT_EQ(_make_svcname_from_prodno_funcname(12, nullptr, name), -1);
}

TEST(Dump, SixteenBytesALine) {
  EXPECT_EQ(printed([] { _vesk_dump2("0123456789abcdef\x7f\x80~ ", 0x1fff0, 20); }),
            "1FFF0: 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66 0123456789abcdef\n"
            "20000: 7F 80 7E 20                                     ..~             \n");
}

TEST(Dump, LongDataAreShownAsHeadAndTail) {
  const std::vector<char> data(2000);
  const auto dumped = [&](int length) { return printed([&] { _vesk_dump(data.data(), length); }); };
  const auto lines = [&](int from, int to) {
    return printed([&] { _vesk_dump2(data.data(), from, to - from); }).append("\n");
  };
  EXPECT_EQ(printed([] { _vesk_dump(nullptr, 2000); }), "\n");
  EXPECT_EQ(dumped(1024).append("\n"), std::string("\n") + lines(0, 1024));
  EXPECT_EQ(dumped(1025).append("\n"), std::string("\n") + lines(0, 512) + lines(0x210, 1025));
  EXPECT_EQ(dumped(2000).append("\n"), std::string("\n") + lines(0, 512) + lines(1504, 2000));
}

TEST(Descriptors, OpenAndConnected) {
  const peer::Gateway gateway;
  const vxa::Descriptor client(_network_connect("127.0.0.1", 0, gateway.port()));
  EXPECT_STREQ(_vesk_peerip(client.get()), "127.0.0.1");
  EXPECT_EQ(_valid_fd(client.get()), 1);
  EXPECT_STREQ(_vesk_peerip(-1), "Unknown");
  for (const int closed : {-1, 9999}) EXPECT_EQ(_valid_fd(closed), 0);
}

TEST(SystemQueueKey, EndsWithItsNode) {
  const std::tuple<const char*, int, int> cases[] = {{"$SQIDxxxxxxxx01A", 16, 26},   {"$SQIDxxxxxxxxffF", 16, 4095},
                                                     {"$SQIxxxxxxxxx01A", 16, -1},   {"$SQIDxxxxxxxx01A", 15, -1},
                                                     {"$SQIDxxxxxxxx01Axx", 17, -1}, {nullptr, 16, -1}};
  for (const auto& [key, length, node] : cases) {
    EXPECT_EQ(_vesk_sq_issyskey(key, length), node != -1);
    EXPECT_EQ(_vesk_sq_getnodeno_from_syskey(key, length), node);
  }
  EXPECT_EQ(_vesk_sq_getnodeno_from_syskey("$SQIDxxxxxxxx 1A", 16), -1) << "three digits";
}

}  // namespace
