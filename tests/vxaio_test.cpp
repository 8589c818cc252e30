// The gateway link: what is read and believed, what is written, counters, and the queue of XA replies.
#include "xa/vxaio.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "tests/support/link_test.h"
#include "tests/support/structs.h"
#include "vxa/fbuf.h"
#include "xa/console.h"
#include "xa/recvq.h"

namespace {

using peer::Console;
using peer::End;
using peer::LinkTest;
using peer::Wire;
using peer::word;
using testing::StartsWith;
using vxa::Message;
using vxa::payload_of;

// A stream of which the test holds one end and the library reads the other.
struct Stream {
  Stream() {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    far.take(fds[0]);
    near.take(fds[1]);
  }

  // What reading gives of these bytes and the end of the stream after them.
  Message read(const std::string& bytes) {
    far.send(bytes);
    far.finish();
    return Message{_read_from_xagw(near.fd())};
  }
  Message read(const Wire& message) { return read(message.bytes()); }

  End far;
  End near;
};

struct ReadMessage : Stream, testing::Test {};

std::string text(const char* format, int fd, int a, int b) {
  char line[100];
  std::snprintf(line, sizeof line, format, fd, a, b);
  return line;
}

TEST_F(ReadMessage, FailsWhereverTheStreamEnds) {
  const std::string whole = Wire{.type = 3, .size = 1024, .msgtype = 1003, .payload = "ten bytes."}.bytes();
  for (std::size_t n = 0; n < whole.size(); ++n) {
    Stream cut;
    Console console;
    EXPECT_EQ(cut.read(whole.substr(0, n)), nullptr) << n;
    const int got = static_cast<int>(n);
    EXPECT_EQ(console.text(), n < 136
                                  ? text("[VeskXA] read from xagw error! [%d:%d:%d]\n", cut.near.fd(), got, 136)
                                  : text("[VeskXA] read from xagw error! [%d:%d:%d]\n", cut.near.fd(), got - 136, 10))
        << n;
  }
  Console console;
  EXPECT_EQ(Message{_read_from_xagw(-1)}, nullptr);
  EXPECT_EQ(console.text(), "[VeskXA] read from xagw fail! [-1:-1:136]\n");
}

TEST_F(ReadMessage, ReadsPiecesBetweenSignals) {
  const std::string payload(50, 'p');
  Message message;
  {
    const peer::Dripper dripper{far, Wire{.type = 4, .msgtype = 1003, .subtype = "sub", .payload = payload}.bytes()};
    message.reset(_read_from_xagw(near.fd()));
  }
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(std::string(payload_of(message.get())), payload) << "what follows a payload is a zero byte";
  EXPECT_STREQ(message->subtype, "sub");
}

// The block must hold the capacity that the header claims, and the reserve for trailers behind it.
TEST_F(ReadMessage, BelievesNoLength) {
  struct Case {
    std::uint32_t size;
    std::uint32_t datalen;
    std::size_t sent;
    const char* printed;  // null: the message is read
  } cases[] = {{1024, 0, 0, nullptr},
               {0, 100, 100, nullptr},
               {1864, 1864, 1864, nullptr},
               {1865, 1864, 1864, nullptr},
               {1864, 1865, 1865, nullptr},
               {8000, 1, 1, nullptr},
               {1, 60000, 60000, nullptr},
               {0x7ffffff, 5, 5, nullptr},
               {0xffffffff, 5, 5, "error! [%d:%d:%d]\n"},
               {0x80000000, 5, 5, "error! [%d:%d:%d]\n"},
               {1024, 0xffffffff, 5, "error! [%d:%d:%d]\n"},
               {1024, 0x80000000, 5, "error! [%d:%d:%d]\n"},
               {1024, 6, 5, "error! [%d:%d:%d]\n"},
               {1024, 0x7ffffff, 5, "error! [%d:%d:%d]\n"}};
  for (const Case& c : cases) {
    Stream lying;
    Console console;
    const Message message =
        lying.read(Wire{.type = 4, .size = c.size, .datalen = c.datalen, .payload = std::string(c.sent, 'x')});
    const int got = static_cast<std::int32_t>(c.datalen) < 0 || static_cast<std::int32_t>(c.size) < 0 ? 0 : 5;
    EXPECT_EQ(console.text(), c.printed ? text("[VeskXA] read from xagw error! [%d:%d:%d]\n", lying.near.fd(), got,
                                               static_cast<int>(c.datalen))
                                        : "");
    ASSERT_EQ(message != nullptr, c.printed == nullptr) << c.size << " " << c.datalen;
    if (!message) continue;
    EXPECT_EQ(message->size, static_cast<std::int32_t>(c.size));
    EXPECT_EQ(std::string(payload_of(message.get()), c.sent), std::string(c.sent, 'x'));
    std::memset(payload_of(message.get()), 'y', std::max<std::size_t>(c.size, c.datalen) + 64);
  }
}

// Key words: the type in the top six bits; field 5 throughout.
constexpr std::uint32_t key(std::uint32_t type) { return type << 26 | 5; }

TEST_F(ReadMessage, DecodesFields) {
  const std::string wire =
      word(8888) + word(24) + word(key(2)) + host::bytes("01 02 __ __") + word(key(7)) + "abc" + std::string(1, '\0');
  const Message message = read(Wire{.type = 2, .size = 1032, .msgtype = 1003, .payload = wire});
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(std::string(payload_of(message.get()), 24),
            host::bytes("b8 22 00 00  18 00 00 00  05 00 00 08  02 01 __ __  05 00 00 1c  61 62 63 00"));
  EXPECT_EQ(message->datalen, 24);
  EXPECT_EQ(message->size, 1032);
}

TEST_F(ReadMessage, RefusesDamagedFields) {
  const std::string damaged[] = {word(8888),                                      // no used length
                                 word(8888) + word(7),                            // used length below the header's own
                                 word(8888) + word(0xffffffff),                   //
                                 word(8888) + word(17) + word(key(1)) + word(0),  // beyond the payload
                                 word(8888) + word(16) + word(key(9)) + word(0),  // unknown type
                                 word(8888) + word(16) + word(0x80000005) + word(0),  //
                                 word(8888) + word(12) + word(key(1)),                // a slot cut short
                                 word(8888) + word(16) + word(key(6)) + word(0),      //
                                 word(8888) + word(16) + word(key(7)) + "abcd",       // a string without its end
                                 word(8888) + word(16) + word(key(8)) + word(1),      // a carray longer than its slot
                                 word(8888) + word(16) + word(key(8)) + word(0xfffffff8)};
  for (const std::string& payload : damaged)
    for (const std::uint32_t type : {2u, 11u, 12u}) {
      Stream damaging;
      Console console;
      EXPECT_EQ(damaging.read(Wire{.type = type, .msgtype = 1003, .payload = payload}), nullptr);
      EXPECT_EQ(console.text(), "[VeskXA] data ntoh fail[1003:" + std::to_string(type) + "]\n");
    }
}

// A described struct: 4 bytes in memory, 6 on the wire, made of the first four of them in reverse.
void to_host(const void* src, void* dst) {
  for (int i = 0; i < 4; ++i) static_cast<char*>(dst)[i] = static_cast<const char*>(src)[3 - i];
}
void to_wire(const void* src, void* dst) {
  to_host(src, dst);
  std::memset(static_cast<char*>(dst) + 4, '-', 2);
}

host::Structs described(int host_size, int network_size) {
  vesk_sdl_struct row = host::struct_row("sixteen_letters_", host_size, network_size);
  row.hton = to_wire;
  row.ntoh = to_host;
  return {{row}, {}};
}

TEST_F(ReadMessage, DecodesStructsIntoABlockOfTheirOwn) {
  const host::Structs structs = described(4, 6);
  const Message message = read(
      Wire{.type = 1, .size = 3000, .msgtype = 1003, .subtype = "sixteen_letters_and", .payload = "dcba--hgfe--xx"});
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(message->datalen, 8);
  EXPECT_EQ(message->size, 3000) << "the sender's capacity stays";
  EXPECT_EQ(std::string(payload_of(message.get()), 8), "abcdefgh");
  std::memset(payload_of(message.get()), 'y', 3000 + 64);
}

TEST_F(ReadMessage, DecodesStructsOfEqualSizesWhereTheyLie) {
  const host::Structs structs = described(4, 4);
  const Message message = read(Wire{.type = 1, .size = 2, .subtype = "sixteen_letters_", .payload = "dcbahgfexx"});
  ASSERT_NE(message, nullptr);
  EXPECT_EQ(message->datalen, 8) << "what makes no whole struct does not count";
  EXPECT_EQ(std::string(payload_of(message.get()), 8), "abcdefgh");
}

TEST_F(ReadMessage, RefusesStructsThatCannotTravel) {
  Console console;
  const std::string wire = Wire{.type = 1, .subtype = "sixteen_letters_", .payload = "dcba"}.bytes();
  for (const auto& [host_size, network_size] : {std::pair{0, 4}, {4, 0}, {-4, 4}, {4, -4}}) {
    const host::Structs structs = described(host_size, network_size);
    far.send(wire);
    EXPECT_EQ(_read_from_xagw(near.fd()), nullptr);
  }
  EXPECT_EQ(read(wire), nullptr) << "not described";
  std::string printed;
  for (int i = 0; i < 5; ++i) printed += "[VeskXA] get network size fail[sixteen_letters_]\n";
  EXPECT_EQ(console.text(), printed);
}

TEST_F(LinkTest, WritesWithoutChangingTheMessage) {
  vesk_msg_header* header = _header_msg_make(3, 1);
  EXPECT_EQ(_send_to_xagw2(header), 1);
  EXPECT_EQ(gateway.message(), (Wire{.msgtype = 3, .result = 1}).bytes());
  EXPECT_EQ(header->magic, 0x90352082);
  header->datalen = -1;
  EXPECT_EQ(_write_to_xagw(_gwfd, header), -1);
  std::free(header);

  // A field buffer with short field 5 = 0x0102 travels encoded; a damaged one does not travel.
  auto* buf = static_cast<char*>(fballoc(1, 8));
  const std::string host_form = host::bytes("b8 22 00 00  10 00 00 00  05 00 00 08  02 01 __ __");
  std::memcpy(buf, host_form.data(), host_form.size());
  header = reinterpret_cast<vesk_msg_header*>(buf - 136);
  header->msgtype = 3;
  header->datalen = 16;
  EXPECT_EQ(_send_to_xagw2(header), 1);
  EXPECT_EQ(gateway.message(), (Wire{.type = 2,
                                     .size = 1032,
                                     .msgtype = 3,
                                     .reqctl = 0x02000000,
                                     .payload = host::bytes("00 00 22 b8  00 00 00 10  08 00 00 05  01 02 __ __")})
                                   .bytes());
  EXPECT_EQ(std::string(buf, 16), host_form);
  EXPECT_EQ(header->datalen, 16);
  buf[11] = 0x28;  // type 10
  EXPECT_EQ(_send_to_xagw2(header), -1);
  EXPECT_TRUE(gateway.quiet());
  fbfree(buf);
  const std::string fd = std::to_string(_gwfd);
  EXPECT_EQ(console.text(), "[VeskXA] write to xagw fail! [" + fd +
                                ":3:-1:135]\n"
                                "[VeskXA] data hton fail[3:2]\n[VeskXA] _write_to_xagw fail[3][-1]\n");
}

TEST(Counters, WrapAtTheirLimits) {
  _seqno = 268435454;
  EXPECT_EQ(_get_seqno(), 268435454);
  EXPECT_EQ(_get_seqno(), 0);
  EXPECT_EQ(_get_seqno(), 1);
  EXPECT_EQ(_get_next_handle(TMNOWAIT | TMJOIN), -1);
  const int handle = _get_next_handle(TMASYNC);
  EXPECT_EQ(_get_next_handle(0x80000001), handle + 1);
}

TEST(Queue, KeepsOrderWhicheverEntryLeaves) {
  const auto enqueue = [](int cd, int mark) {
    vesk_msg_header* message = _header_msg_make(mark, 0);
    message->cd = cd;
    EXPECT_EQ(_enqueue_recv_q(message), 1);
  };
  const auto dequeue = [](int cd) {
    const Message message{_dequeue_recv_q(cd)};
    return message ? message->msgtype : 0;
  };
  EXPECT_EQ(dequeue(1), 0);
  for (const auto& [cd, mark] : {std::pair{1, 11}, {2, 21}, {1, 12}, {3, 31}}) enqueue(cd, mark);
  EXPECT_EQ(dequeue(4), 0);
  EXPECT_EQ(dequeue(3), 31);  // the last
  enqueue(2, 22);
  EXPECT_EQ(dequeue(1), 11);  // the first
  EXPECT_EQ(dequeue(1), 12);  // one in the middle
  EXPECT_EQ(dequeue(2), 21);
  EXPECT_EQ(dequeue(2), 22);
  EXPECT_EQ(dequeue(2), 0);
  enqueue(5, 51);
  EXPECT_EQ(dequeue(5), 51);
}

TEST_F(ReadMessage, WaitsOnDescriptorsBeyondTheSystemsSet) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_max < 3000) GTEST_SKIP() << "no descriptor 2999 here";
  limit.rlim_cur = 3000;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  const End high{dup2(near.fd(), 2999)};
  ASSERT_EQ(high.fd(), 2999);
  EXPECT_EQ(_io_timer(2999, 0), 0);
  far.send("x");
  EXPECT_EQ(_io_timer(2999, 0), 1);
  Console console;
  EXPECT_EQ(_io_timer(-1, 0), -1);
  EXPECT_EQ(_io_timer(2998, 0), -1);
  EXPECT_EQ(console.text(), "[VeskXA] io timer fail[9]\n");
}

}  // namespace
