// Process and node channels: the bytes that travel, what a reader makes of a peer that stops or lies, recover data.
#include <malloc.h>

#include "base/heap.h"
#include "tests/support/peer.h"
#include "tests/support/test.h"

namespace {

using peer::Stream;
using Message = vxa::HeapPtr<vesk_msg_header>;

constexpr std::uint32_t kMagic = 0x90352082;

std::string word_in_memory(std::uint32_t word) { return {reinterpret_cast<const char*>(&word), sizeof word}; }

template <std::size_t kSize>
struct WithPayload {
  vesk_msg_header header;
  char payload[kSize];
};

// The two channels, how each orders the header and how it reports.
struct Kind {
  vesk_msg_header* (*read)(int fd);
  int& error;
  std::string (*word)(std::uint32_t);
  const char *header_code, *magic_code, *payload_code, *text;

  LogRecord cut(const char* code, int got, int wanted) const {
    return {1, 2, code, std::string(text) + " read error : " + std::to_string(got) + " " + std::to_string(wanted)};
  }
};
const Kind kProcess{_read_procmsg_sync, _procio_errno, word_in_memory, "COM0002", "COM0003", "COM0005", "0028"};
const Kind kNode{_read_nodemsg_sync, _nodeio_errno, peer::word, "COM0008", "COM0009", "COM0011", "0056"};

// A header as it travels: its first eight words, what follows them, and datalen, flags and cd at 100.
std::string image(const Kind& kind, std::initializer_list<std::uint32_t> words,
                  std::initializer_list<std::uint32_t> words_at_100, const std::string& behind = "") {
  std::string out;
  for (const std::uint32_t word : words) out += kind.word(word);
  out += behind;
  out.resize(100);
  for (const std::uint32_t word : words_at_100) out += kind.word(word);
  out.resize(136);
  return out;
}

TEST(Channel, BuildersWriteTheHeaderInTheChannelsOrder) {
  _my_tproc = 7;
  _my_nodeno = 0x0a0b;
  const char service[33] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345";
  const char text[32] = "1234567890123456789012345678901";
  const std::string plain = image(kProcess, {kMagic, 0, 7, 0, 1, 2, 0, 0}, {0, 4, 3});
  for (const bool socket : {false, true}) {
    Stream s(socket);
    const int fd = s.far.fd();
    std::string expected;
    const auto sends = [&](int result, const std::string& sent) {
      EXPECT_EQ(errno, 0) << "a pipe is no error";
      EXPECT_EQ(result, 1);
      expected += sent;
    };
    sends(_send_procmsg_nodata(fd, 1, 2, 3, 4), plain);
    sends(_send_procmsg_data(fd, 1, 2, 3, 4, 0, nullptr), plain);
    sends(_send_procmsg_nodata_3(fd, 1, 2, 3, 9, 4), image(kProcess, {kMagic, 0, 7, 0, 1, 2, 0, 9}, {0, 4, 3}));
    sends(_send_procmsg_data_3(fd, 0x0102, -3, 4, 5, 6, 3, "abc"),
          image(kProcess, {kMagic, 0, 7, 3, 0x0102, 0xfffffffd, 0, 5}, {3, 6, 4}) + "abc");
    sends(_send_procmsg_nodata_svcname(fd, 1, service, 2, 3, 4), plain.substr(0, 68) + service + plain.substr(100));
    sends(_send_procmsg_nodata_svcname2(fd, 9, service, text, 1, 2, 3),
          image(kProcess, {kMagic, 0, 7, 0, 9, 1, 0, 0}, {0, 3, 2}, bytes("00000000") + text + '\0' + service));
    sends(_send_nodemsg_data(fd, 0x0102, -3, 4, 6, 2, "xy"),
          image(kNode, {kMagic, 0, 0x0a0b, 2, 0x0102, 0xfffffffd, 0, 0}, {2, 6, 4}) + "xy");
    sends(_send_nodemsg_nodata(fd, 1, 2, 3, 4), image(kNode, {kMagic, 0, 0x0a0b, 0, 1, 2, 0, 0}, {0, 4, 3}));
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
  WithPayload<2000> message;
  auto* words = reinterpret_cast<char*>(&message);
  for (std::size_t i = 0; i < sizeof message; ++i) words[i] = static_cast<char>(i + 1);
  message.header.magic = kMagic;
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

std::string ten_digits(const Kind& kind, std::uint32_t magic, std::uint32_t datalen) {
  return image(kind, {magic, 0, 0, 0, 5, 0, 0, 0}, {datalen, 0, 0}) + "0123456789";
}

TEST(Channel, APeerMayStopAtEveryByte) {
  host::log_level = 0;  // these records do not ask for the level
  for (const Kind& kind : {kProcess, kNode}) {
    const std::string message = ten_digits(kind, kMagic, 10);
    for (int stop = 0; stop <= 146; ++stop) {
      Stream s(stop % 2);
      s.far.send(message.substr(0, static_cast<std::size_t>(stop)));
      s.far.hang_up();
      errno = 0;
      EXPECT_EQ(Message{kind.read(s.near.fd())} != nullptr, stop == 146);
      EXPECT_EQ(errno, 0) << "the record of a cut message tells no false cause";
      EXPECT_EQ(kind.error, stop == 0 ? -1 : stop < 136 ? -2 : stop < 146 ? -5 : 0) << stop;
      std::vector<LogRecord> cut{stop < 136 ? kind.cut(kind.header_code, stop, 136)
                                            : kind.cut(kind.payload_code, stop - 136, 10)};
      if (stop == 0 || stop == 146) cut.clear();
      EXPECT_TRUE(logged(cut));
    }
    EXPECT_EQ(kind.read(-1), nullptr);
    EXPECT_EQ(kind.error, -2);
    EXPECT_TRUE(logged({kind.cut(kind.header_code, -1, 136)}));
  }
}

TEST(Channel, LyingHeadersAreRefused) {
  for (const Kind& kind : {kProcess, kNode}) {
    Stream magic;
    magic.far.send(ten_digits(kind, 0x01010101, 10));
    EXPECT_EQ(kind.read(magic.near.fd()), nullptr);
    EXPECT_EQ(kind.error, -3);
    EXPECT_TRUE(logged({{0, 2, kind.magic_code, "0200 magic number error : 5 16843009"}}));

    for (const auto& [datalen, got] : {std::pair{-1, 0}, {0x0b00000b, 10}}) {
      Stream lie(false);
      lie.far.send(ten_digits(kind, kMagic, static_cast<std::uint32_t>(datalen)));
      lie.far.hang_up();
      EXPECT_EQ(kind.read(lie.near.fd()), nullptr);
      if (kind.error == -4 && !take_log().empty()) continue;  // no memory for so much
      EXPECT_EQ(kind.error, -5);
      EXPECT_TRUE(logged({kind.cut(kind.payload_code, got, datalen)}));
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
      WithPayload<60> message;
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
