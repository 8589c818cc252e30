// Process and node channels: the bytes that travel, what a reader makes of a peer that stops or lies, recover data.
#include <malloc.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "base/heap.h"
#include "tests/support/peer.h"
#include "tests/support/test.h"

namespace {

using peer::Stream;
using Message = vxa::HeapPtr<vesk_msg_header>;

// A header as it travels: its first eight words, what lies between, and datalen, flags and cd at 100.
std::string image(const char* words, const char* words_at_100, const std::string& between = std::string(68, '\0')) {
  return bytes(words) + between + bytes(words_at_100) + std::string(24, '\0');
}

TEST(Channel, BuildersWriteTheHeaderInTheChannelsOrder) {
  _my_tproc = 7;
  _my_nodeno = 0x0a0b;
  const char service[33] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345";
  const std::string plain =
      image("82203590 00000000 07000000 00000000 01000000 02000000 00000000 00000000", "00000000 04000000 03000000");
  for (const bool socket : {false, true}) {
    Stream s(socket);
    std::string expected;
    const auto sends = [&](int result, const std::string& sent) {
      EXPECT_EQ(errno, 0) << "a pipe is no error";
      EXPECT_EQ(result, 1);
      expected += sent;
    };
    sends(_send_procmsg_nodata(s.far.fd(), 1, 2, 3, 4), plain);
    sends(_send_procmsg_data(s.far.fd(), 1, 2, 3, 4, 0, nullptr), plain);
    sends(
        _send_procmsg_nodata_3(s.far.fd(), 1, 2, 3, 9, 4),
        image("82203590 00000000 07000000 00000000 01000000 02000000 00000000 09000000", "00000000 04000000 03000000"));
    sends(
        _send_procmsg_data_3(s.far.fd(), 0x0102, -3, 4, 5, 6, 3, "abc"),
        image("82203590 00000000 07000000 03000000 02010000 fdffffff 00000000 05000000", "03000000 06000000 04000000") +
            "abc");
    sends(_send_procmsg_nodata_svcname(s.far.fd(), 1, service, 2, 3, 4),
          image("82203590 00000000 07000000 00000000 01000000 02000000 00000000 00000000", "00000000 04000000 03000000",
                std::string(36, '\0') + service));
    sends(_send_procmsg_nodata_svcname2(s.far.fd(), 9, service, "1234567890123456789012345678901", 1, 2, 3),
          image("82203590 00000000 07000000 00000000 09000000 01000000 00000000 00000000", "00000000 03000000 02000000",
                bytes("00000000") + "1234567890123456789012345678901" + '\0' + service));
    sends(
        _send_nodemsg_data(s.far.fd(), 0x0102, -3, 4, 6, 2, "xy"),
        image("90352082 00000000 00000a0b 00000002 00000102 fffffffd 00000000 00000000", "00000002 00000006 00000004") +
            "xy");
    sends(
        _send_nodemsg_nodata(s.far.fd(), 1, 2, 3, 4),
        image("90352082 00000000 00000a0b 00000000 00000001 00000002 00000000 00000000", "00000000 00000004 00000003"));
    s.far.hang_up();
    EXPECT_EQ(s.near.received(10000), expected);
  }
}

TEST(Channel, BuildersRefuseWhatCannotTravel) {
  const char service[32] = "SERVICE";
  Stream s;
  EXPECT_EQ(_send_procmsg_nodata_svcname2(s.far.fd(), 9, service, "12345678901234567890123456789012", 1, 2, 3), -1);
  EXPECT_EQ(_send_procmsg_nodata_svcname2(s.far.fd(), 9, service, nullptr, 1, 2, 3), -1);
  EXPECT_EQ(_send_procmsg_nodata_svcname(s.far.fd(), 9, nullptr, 1, 2, 3), -1);
  EXPECT_EQ(_send_procmsg_data(s.far.fd(), 1, 2, 3, 4, -1, "x"), -1);
  EXPECT_EQ(_send_nodemsg_data(s.far.fd(), 1, 2, 3, 4, INT_MIN, "x"), -1);
  EXPECT_EQ(_send_nodemsg_data(s.far.fd(), 1, 2, 3, 4, 1, nullptr), -1);
  vesk_msg_header message;
  _init_header(&message);
  for (const int datalen : {-1, INT_MAX}) {
    message.datalen = datalen;
    EXPECT_EQ(_write_procmsg_sync(s.far.fd(), &message), -1);
    EXPECT_EQ(_write_nodemsg_sync(s.far.fd(), &message), -1);
    EXPECT_EQ(message.magic, 0x90352082u) << "a refused message is not converted";
  }
  EXPECT_TRUE(s.near.quiet());
  for (const bool socket : {false, true}) {
    Stream gone(socket);
    gone.near.hang_up();
    EXPECT_EQ(_send_procmsg_nodata(gone.far.fd(), 1, 2, 3, 4), -1);
    EXPECT_EQ(_send_nodemsg_data(gone.far.fd(), 1, 2, 3, 4, 1, "x"), -1);
  }
}

TEST(Channel, NodeMessagesComeBackWordForWord) {
  struct {
    vesk_msg_header header;
    char payload[2000];
  } message;
  auto* words = reinterpret_cast<char*>(&message);
  for (std::size_t i = 0; i < sizeof message; ++i) words[i] = static_cast<char>(i + 1);
  message.header.magic = 0x90352082;
  message.header.datalen = 2000;
  const std::string before(words, sizeof message);
  Stream s;
  EXPECT_EQ(_write_nodemsg_sync(s.far.fd(), &message.header), 1);
  EXPECT_EQ(std::string(words, 4), bytes("90352082")) << "the caller's header stays in network order";
  const Message got{_read_nodemsg_sync(s.near.fd())};
  ASSERT_TRUE(got);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(got.get()), sizeof message), before);

  EXPECT_EQ(_send_procmsg_nodata(s.far.fd(), 1, 2, 3, 4), 1);
  const Message plain{_read_procmsg_sync(s.near.fd())};
  EXPECT_GE(malloc_usable_size(plain.get()), 1000u);
}

// The two channels, and how each reports.
struct Kind {
  vesk_msg_header* (*read)(int fd);
  int& error;
  const char *magic, *type_5, *length_10;  // words in the channel's order
  const char *header_code, *magic_code, *payload_code, *text;
};
const Kind kKinds[] = {
    {_read_procmsg_sync, _procio_errno, "82203590", "05000000", "0a000000", "COM0002", "COM0003", "COM0005", "0028"},
    {_read_nodemsg_sync, _nodeio_errno, "90352082", "00000005", "0000000a", "COM0008", "COM0009", "COM0011", "0056"}};

std::string message_of(const Kind& kind, const std::string& magic, const std::string& datalen) {
  return image((magic + "000000000000000000000000" + kind.type_5 + "000000000000000000000000").c_str(),
               (datalen + "0000000000000000").c_str()) +
         "0123456789";
}

TEST(Channel, APeerMayStopAtEveryByte) {
  host::log_level = 0;  // these records do not ask for the level
  for (const Kind& kind : kKinds) {
    const std::string message = message_of(kind, kind.magic, kind.length_10);
    const std::string text = kind.text + std::string(" read error : ");
    for (std::size_t stop = 0; stop <= message.size(); ++stop) {
      Stream s(stop % 2);
      s.far.send(message.substr(0, stop));
      s.far.hang_up();
      errno = 0;
      EXPECT_EQ(Message{kind.read(s.near.fd())} != nullptr, stop == 146);
      EXPECT_EQ(errno, 0) << "the record of a cut message tells no false cause";
      EXPECT_EQ(kind.error, stop == 0 ? -1 : stop < 136 ? -2 : stop < 146 ? -5 : 0) << stop;
      if (stop == 0 || stop == 146)
        EXPECT_THAT(host::take_log(), IsEmpty());
      else if (stop < 136)
        EXPECT_THAT(host::take_log(),
                    ElementsAre(LogRecord{1, 2, kind.header_code, text + std::to_string(stop) + " 136"}));
      else
        EXPECT_THAT(host::take_log(),
                    ElementsAre(LogRecord{1, 2, kind.payload_code, text + std::to_string(stop - 136) + " 10"}));
    }
    EXPECT_EQ(kind.read(-1), nullptr);
    EXPECT_EQ(kind.error, -2);
    EXPECT_THAT(host::take_log(), ElementsAre(LogRecord{1, 2, kind.header_code, text + "-1 136"}));
  }
}

TEST(Channel, LyingHeadersAreRefused) {
  for (const Kind& kind : kKinds) {
    Stream magic;
    magic.far.send(message_of(kind, "01010101", kind.length_10));
    EXPECT_EQ(kind.read(magic.near.fd()), nullptr);
    EXPECT_EQ(kind.error, -3);
    EXPECT_THAT(host::take_log(),
                ElementsAre(LogRecord{0, 2, kind.magic_code, "0200 magic number error : 5 16843009"}));

    for (const auto& [datalen, printed] : {std::pair{"ffffffff", "0 -1"}, {"0b00000b", "10 184549387"}}) {
      Stream lie(false);
      lie.far.send(message_of(kind, kind.magic, datalen));
      lie.far.hang_up();
      EXPECT_EQ(kind.read(lie.near.fd()), nullptr);
      const auto log = host::take_log();
      if (kind.error == -4) continue;  // no memory for so much
      EXPECT_EQ(kind.error, -5);
      EXPECT_THAT(log,
                  ElementsAre(LogRecord{1, 2, kind.payload_code, kind.text + std::string(" read error : ") + printed}));
    }
  }
}

TEST(RecoverData, SwapsFourWordsOfFive) {
  const std::string record = bytes("01020304 05060708 090a0b0c 0d0e0f10 11121314");
  const std::string swapped = bytes("04030201 08070605 0c0b0a09 100f0e0d 11121314");
  const std::string untouched = record + record + record;
  struct Case {
    int endian, code, count, datalen, result;
    std::string payload;
  } cases[] = {{0, 173, 2, 60, 1, swapped + swapped + record},
               {0, 1173, 3, 0, 1, swapped + swapped + swapped},
               {0, 173, INT_MAX, 39, 1, swapped + record + record},
               {0, 173, -1, 60, 1, untouched},
               {0, 173, 3, -60, 1, untouched},
               {0, 174, 2, 60, -1, untouched},
               {1, 173, 2, 60, 1, untouched},
               {1, 174, 2, 60, -1, untouched},
               {2, 173, 1, 60, 1, swapped + record + record}};
  for (const Case& c : cases)
    for (const auto convert : {_hton_recover_data, _ntoh_recover_data}) {
      struct {
        vesk_msg_header header;
        char payload[60];
      } message;
      _init_header(&message.header);
      message.header.msgtype = c.code;
      message.header.result = c.count;
      message.header.datalen = c.datalen;
      std::memcpy(message.payload, untouched.data(), sizeof message.payload);
      _endian = c.endian;
      EXPECT_EQ(convert(&message.header), c.result);
      EXPECT_EQ(std::string(message.payload, 60), c.payload) << c.endian << " " << c.code << " " << c.count;
    }
  for (const char* name : _tproc_name) EXPECT_THAT(name, testing::StartsWith("proc"));
}

}  // namespace
