// Argument vectors, dumps, descriptor questions, service names and system queue keys.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "base/descriptor.h"
#include "base/heap.h"
#include "tests/support/host.h"
#include "vxa/vxa_host.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vxa::Descriptor;
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
  EXPECT_THAT(words_of(_vesk_build_argv_argc("a b c d e f g h", nullptr)), testing::SizeIs(8));
  for (const char* empty : {"", " \t "}) {
    EXPECT_THAT(words_of(_vesk_build_argv_argc(empty, &count)), IsEmpty());
    EXPECT_EQ(count, 0);
  }
  EXPECT_THAT(words_of(_vesk_build_argv("run it", "-x y")), ElementsAre("run", "it", "-x", "y"));
  EXPECT_THAT(words_of(_vesk_build_argv("run", nullptr)), ElementsAre("run"));
  EXPECT_EQ(_get_argc_from_argv(nullptr), 0);
}

TEST(ArgumentVector, JoinsWithABlankBehindEach) {
  char a[] = "a", b[] = "b c";
  char* const vector[] = {a, b, nullptr};
  const auto joined = [&](int count) { return std::string(HeapPtr<char>(_vesk_mkstr_from_argv(count, vector)).get()); };
  EXPECT_EQ(joined(2), "a b c ");
  EXPECT_EQ(joined(1), "a ");
  EXPECT_EQ(joined(0), "");
  EXPECT_EQ(joined(-1), "");
}

TEST(Texts, BlankTextsAndServiceNames) {
  for (const char* blank : {"", " \t\r\n\v\f"}) EXPECT_EQ(is_null_data(blank), 1);
  EXPECT_EQ(is_null_data(" x"), 0);
  char name[32];
  EXPECT_EQ(_make_svcname_from_prodno_funcname(12, "abc", name), 1);
  EXPECT_STREQ(name, "p0012_abc");
  _make_svcname_from_prodno_funcname(12345, "", name);
  EXPECT_STREQ(name, "p12345_");
}

template <class Print>
std::string printed(Print print) {
  testing::internal::CaptureStdout();
  print();
  return testing::internal::GetCapturedStdout();
}

TEST(Dump, SixteenBytesALine) {
  const char data[] = "0123456789abcdef\x7f\x80~ ";
  EXPECT_EQ(printed([&] { _vesk_dump2(data, 0x1fff0, 20); }),
            "1FFF0: 30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66 0123456789abcdef\n"
            "20000: 7F 80 7E 20 "
            "                                    "
            "..~             \n");
  EXPECT_EQ(printed([&] { _vesk_dump(data, 1); }),
            "\n0000: 30 " + std::string(45, ' ') + "0" + std::string(15, ' ') + "\n");
  EXPECT_EQ(printed([&] { _vesk_dump(data, 0); }), "\n");
}

TEST(Dump, LongDataAreShownAsHeadAndTail) {
  const std::vector<char> data(2000);
  const auto offsets = [&](int length) {
    std::string all;
    std::string text = printed([&] { _vesk_dump(data.data(), length); });
    for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1)
      all += text[at] == '\n' ? "|" : text.substr(at, 4) + " ";
    return all;
  };
  std::string head = "|";
  for (int at = 0; at < 512; at += 16) {
    char offset[8];
    std::snprintf(offset, sizeof offset, "%04X ", static_cast<unsigned>(at));
    head += offset;
  }
  EXPECT_THAT(offsets(2000), testing::StartsWith(head + "|05E0 05F0 "));
  EXPECT_THAT(offsets(2000), testing::EndsWith(" 07C0 "));
  EXPECT_THAT(offsets(1025), testing::StartsWith(head + "|0210 "));
  EXPECT_THAT(offsets(1024), testing::EndsWith("01F0 0200 0210 0220 0230 0240 0250 0260 0270 0280 0290 02A0 02B0 02C0 "
                                               "02D0 02E0 02F0 0300 0310 0320 0330 0340 0350 0360 0370 0380 0390 03A0 "
                                               "03B0 03C0 03D0 03E0 03F0 "));
}

TEST(Descriptors, OpenAndConnected) {
  const Descriptor server(socket(AF_INET, SOCK_STREAM, 0)), client(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(server.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(listen(server.get(), 1), 0);
  ASSERT_EQ(getsockname(server.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
  EXPECT_STREQ(_vesk_peerip(client.get()), "Unknown") << "not yet connected";
  ASSERT_EQ(connect(client.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
  EXPECT_STREQ(_vesk_peerip(client.get()), "127.0.0.1");
  EXPECT_STREQ(_vesk_peerip(-1), "Unknown");
  EXPECT_EQ(_valid_fd(client.get()), 1);
  EXPECT_EQ(_valid_fd(-1), 0);
  EXPECT_EQ(_valid_fd(9999), 0);
}

TEST(SystemQueueKey, EndsWithItsNode) {
  const std::string key = "$SQIDxxxxxxxx01A";
  EXPECT_EQ(_vesk_sq_issyskey(key.data(), 16), 1);
  EXPECT_EQ(_vesk_sq_getnodeno_from_syskey(key.data(), 16), 26);
  EXPECT_EQ(_vesk_sq_getnodeno_from_syskey("$SQIDxxxxxxxxffF", 16), 4095);
  EXPECT_EQ(_vesk_sq_getnodeno_from_syskey("$SQIDxxxxxxxx 1A", 16), -1) << "three digits";
  for (const int length : {15, 17, 0, -1}) EXPECT_EQ(_vesk_sq_issyskey(key.data(), length), 0);
  EXPECT_EQ(_vesk_sq_issyskey("$SQIxxxxxxxxx01A", 16), 0);
  EXPECT_EQ(_vesk_sq_getnodeno_from_syskey("$SQIxxxxxxxxx01A", 16), -1);
  EXPECT_EQ(_vesk_sq_getnodeno_from_syskey(nullptr, 16), -1);
}

}  // namespace
