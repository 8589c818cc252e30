// The gateway link: what is read and believed, what is written, counters, and the queue of XA replies.
#include "xa/vxaio.h"

#include <unistd.h>

#include "base/descriptor.h"
#include "tests/support/link_test.h"
#include "tests/support/structs.h"
#include "xa/console.h"
#include "xa/recvq.h"

namespace {

using peer::word;
using vxa::Message;
using vxa::payload_of;

constexpr int kDescriptor = 100;

// What the library makes of some bytes and the end of the stream after them.
struct Read {
  explicit Read(const std::string& bytes) {
    Stream stream;
    const peer::End near{dup2(stream.near.fd(), kDescriptor)};
    stream.far.send(bytes);
    stream.far.hang_up();
    printed = ::printed([this] { message.reset(_read_from_xagw(kDescriptor)); });
  }
  explicit Read(const Wire& wire) : Read(wire.bytes()) {}

  std::string payload(std::size_t n) const { return message ? std::string(payload_of(message.get()), n) : "none"; }

  Message message;
  std::string printed;
};

std::string short_read(std::size_t got, std::int64_t wanted) {
  return "[VeskXA] read from xagw error! [100:" + std::to_string(got) + ":" + std::to_string(wanted) + "]\n";
}

TEST(ReadMessage, FailsWhereverTheStreamEnds) {
  const std::string whole = Wire{.type = 3, .size = 1024, .msgtype = 1003, .payload = "ten bytes."}.bytes();
  for (std::size_t n = 0; n < whole.size(); ++n) {
    const Read cut{whole.substr(0, n)};
    EXPECT_EQ(cut.message, nullptr) << n;
    EXPECT_EQ(cut.printed, n < 136 ? short_read(n, 136) : short_read(n - 136, 10));
  }
  EXPECT_EQ(printed([] { EXPECT_EQ(_read_from_xagw(-1), nullptr); }), "[VeskXA] read from xagw fail! [-1:-1:136]\n");
}

// The block must hold the capacity that the header claims, and the reserve for trailers behind it.
TEST(ReadMessage, BelievesNoLength) {
  struct Case {
    std::uint32_t size;
    std::uint32_t datalen;
    std::size_t sent;
    std::string printed = "";
  } cases[] = {{1024, 0, 0},
               {0, 100, 100},
               {1864, 1864, 1864},
               {1865, 1864, 1864},
               {1864, 1865, 1865},
               {8000, 1, 1},
               {1, 60000, 60000},
               {0x7ffffff, 5, 5},
               {0xffffffff, 5, 5, short_read(0, 5)},
               {0x80000000, 5, 5, short_read(0, 5)},
               {1024, 0xffffffff, 5, short_read(0, -1)},
               {1024, 0x80000000, 5, short_read(0, -2147483648)},
               {1024, 6, 5, short_read(5, 6)},
               {1024, 0x7ffffff, 5, short_read(5, 0x7ffffff)}};
  for (const Case& c : cases) {
    const std::string sent(c.sent, 'x');
    const Read lying{Wire{.type = 4, .size = c.size, .datalen = c.datalen, .payload = sent}};
    EXPECT_EQ(lying.printed, c.printed);
    ASSERT_EQ(lying.message != nullptr, c.printed.empty()) << c.size << " " << c.datalen;
    if (!lying.message) continue;
    EXPECT_EQ(lying.message->size, static_cast<std::int32_t>(c.size));
    EXPECT_EQ(lying.payload(c.sent + 1), sent + '\0') << "what follows a payload is a zero byte";
    std::memset(payload_of(lying.message.get()), 'y', std::max<std::size_t>(c.size, c.datalen) + 64);
  }
}

// Damage itself is the codec's affair; here it ends the read, whatever type leads to the field decoder.
TEST(ReadMessage, DecodesFieldsOrFails) {
  const std::string record = word(8 << 24 | 5) + bytes("01 02 __ __");
  const Read fields{Wire{.type = 2, .size = 1032, .msgtype = 1003, .payload = word(8888) + word(16) + record}};
  EXPECT_EQ(fields.payload(16), bytes("b8 22 00 00  10 00 00 00  05 00 00 08  02 01 __ __"));
  EXPECT_EQ(fields.message->datalen, 16);
  EXPECT_EQ(fields.message->size, 1032);
  for (const std::uint32_t type : {2u, 11u, 12u}) {
    const Read damaged{Wire{.type = type, .msgtype = 1003, .payload = word(8888) + word(17) + record}};
    EXPECT_EQ(damaged.message, nullptr);
    EXPECT_EQ(damaged.printed, "[VeskXA] data ntoh fail[1003:" + std::to_string(type) + "]\n");
  }
}

TEST(ReadMessage, DecodesStructsOrFails) {
  const host::Structs structs{{host::struct_row("sixteen_letters_", 4, 6, 0, -1, host::reverse_four)}, {}};
  const Read read{Wire{.type = 1, .size = 3000, .subtype = "sixteen_letters_and", .payload = "dcba--hgfe--xx"}};
  EXPECT_EQ(read.payload(8), "abcdefgh");
  EXPECT_EQ(read.message->datalen, 8) << "what makes no whole struct does not count";
  const Read unknown{Wire{.type = 1, .subtype = "unknown", .payload = "dcba"}};
  EXPECT_EQ(unknown.message, nullptr);
  EXPECT_EQ(unknown.printed, "[VeskXA] get network size fail[unknown]\n");
}

TEST_F(LinkTest, WritesWithoutChangingTheMessage) {
  vesk_msg_header* header = _header_msg_make(3, 1);
  EXPECT_EQ(_send_to_xagw2(header), 1);
  EXPECT_EQ(gateway.message(), (Wire{.msgtype = 3, .result = 1}).bytes());
  EXPECT_EQ(header->magic, 0x90352082);
  header->datalen = -1;
  EXPECT_EQ(_write_to_xagw(_gwfd, header), -1);
  EXPECT_EQ(_send_to_xagw(_gwfd, 150, -1, TMSUCCESS, 7, nullptr, 0), 1) << "a request may have no payload";
  EXPECT_EQ(
      gateway.message(),
      (Wire{.type = 4, .size = 136, .msgtype = 150, .flags = TMSUCCESS, .handle = 0xffffffff, .rmid = 7}).bytes());
  std::free(header);

  // A field buffer with short field 5 = 0x0102 travels encoded; a damaged one does not travel.
  auto* buf = static_cast<char*>(fballoc(1, 8));
  const std::string host_form = bytes("b8 22 00 00  10 00 00 00  05 00 00 08  02 01 __ __");
  std::memcpy(buf, host_form.data(), host_form.size());
  header = reinterpret_cast<vesk_msg_header*>(buf - 136);
  header->msgtype = 3;
  header->datalen = 16;
  EXPECT_EQ(_send_to_xagw2(header), 1);
  EXPECT_EQ(gateway.message(), (Wire{.type = 2,
                                     .size = 1032,
                                     .msgtype = 3,
                                     .reqctl = 0x02000000,
                                     .payload = bytes("00 00 22 b8  00 00 00 10  08 00 00 05  01 02 __ __")})
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
  const auto dequeue = [](int cd) {
    const Message message{_dequeue_recv_q(cd)};
    return message ? message->msgtype : 0;
  };
  EXPECT_EQ(dequeue(1), 0);
  for (const auto& [cd, mark] : {std::pair{1, 11}, {2, 21}, {1, 12}, {3, 31}}) {
    vesk_msg_header* message = _header_msg_make(mark, 0);
    message->cd = cd;
    EXPECT_EQ(_enqueue_recv_q(message), 1);
  }
  // One that is not there, the last, the first, one in the middle, the only one, and none.
  for (const auto& [cd, mark] : {std::pair{4, 0}, {3, 31}, {1, 11}, {1, 12}, {2, 21}, {2, 0}})
    EXPECT_EQ(dequeue(cd), mark);
}

TEST(Waits, FailAtWhatIsNoOpenDescriptor) {
  Console console;
  const int closed = vxa::Descriptor{dup(0)}.get();
  for (const int fd : {-1, closed}) EXPECT_EQ(_io_timer(fd, 0), -1);
  EXPECT_EQ(console.text(), "[VeskXA] io timer fail[9]\n");
}

}  // namespace
