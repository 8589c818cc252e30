// Process and node channels: the bytes that travel, what a reader makes of a peer that stops or lies, recover data.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "tests/support/host.h"
#include "vxa/vxa_host.h"

namespace {

using host::bytes;
using host::LogRecord;

struct Free {
  void operator()(void* block) const { std::free(block); }
};
using Message = std::unique_ptr<vesk_msg_header, Free>;

// Two connected descriptors, of a pipe or of a socket pair.
class Link {
 public:
  explicit Link(bool socket) {
    int fds[2];
    EXPECT_EQ(socket ? socketpair(AF_UNIX, SOCK_STREAM, 0, fds) : pipe(fds), 0);
    in = fds[0];
    out = fds[1];
  }
  ~Link() {
    close(in);
    end();
  }

  void put(const std::string& text) { EXPECT_EQ(write(out, text.data(), text.size()), ssize_t(text.size())); }
  void end() {
    if (out >= 0) close(out);
    out = -1;
  }
  // All that was written, which ends the link.
  std::string sent() {
    end();
    std::string all(100000, '\0');
    all.resize(static_cast<std::size_t>(pipe_readn(in, all.data(), 100000)));
    return all;
  }

  int in;
  int out;
};

// A header of words in network order; the texts are at 52 and 68, the words behind them at 100.
std::string node_header(const char* type, const char* size, const char* msgtype, const char* result,
                        const char* datalen, const char* flags, const char* cd) {
  return bytes("90352082 00000000") + bytes(type) + bytes(size) + bytes(msgtype) + bytes(result) +
         std::string(76, '\0') + bytes(datalen) + bytes(flags) + bytes(cd) + std::string(24, '\0');
}

TEST(Channel, BuildersWriteTheHeaderInTheChannelsOrder) {
  _my_tproc = 7;
  _my_nodeno = 0x0a0b;
  const char svcname[33] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345";
  for (const bool socket : {false, true}) {
    Link data(socket);
    EXPECT_EQ(_send_procmsg_data_3(data.out, 0x0102, -3, 4, 5, 6, 3, "abc"), 1);
    EXPECT_EQ(data.sent(), bytes("82203590 00000000 07000000 03000000 02010000 fdffffff 00000000 05000000") +
                               std::string(68, '\0') + bytes("03000000 06000000 04000000") + std::string(24, '\0') +
                               "abc");
    Link plain(socket);
    EXPECT_EQ(_send_procmsg_nodata_svcname2(plain.out, 9, svcname, "1234567890123456789012345678901", 1, 2, 3), 1);
    EXPECT_EQ(plain.sent(), bytes("82203590 00000000 07000000 00000000 09000000 01000000 00000000 00000000 00000000") +
                                "1234567890123456789012345678901" + '\0' + svcname +
                                bytes("00000000 03000000 02000000") + std::string(24, '\0'));
    Link node(socket);
    EXPECT_EQ(_send_nodemsg_data(node.out, 0x0102, -3, 4, 6, 2, "xy"), 1);
    EXPECT_EQ(_send_nodemsg_nodata(node.out, 1, 2, 3, 4), 1);
    EXPECT_EQ(node.sent(),
              node_header("00000a0b", "00000002", "00000102", "fffffffd", "00000002", "00000006", "00000004") + "xy" +
                  node_header("00000a0b", "00000000", "00000001", "00000002", "00000000", "00000004", "00000003"));
  }
}

TEST(Channel, EveryBuilderArrives) {
  _my_tproc = 3;
  const char svcname[32] = "SERVICE";
  Link link(false);
  EXPECT_EQ(_send_procmsg_nodata(link.out, 1, 2, 3, 4), 1);
  EXPECT_EQ(_send_procmsg_nodata_3(link.out, 1, 2, 3, 9, 4), 1);
  EXPECT_EQ(_send_procmsg_nodata_svcname(link.out, 1, svcname, 2, 3, 4), 1);
  EXPECT_EQ(_send_procmsg_data(link.out, 1, 2, 3, 4, 0, nullptr), 1);
  for (const int aux : {0, 9, 0, 0}) {
    const Message message{_read_procmsg_sync(link.in)};
    ASSERT_TRUE(message);
    EXPECT_EQ(_procio_errno, 0);
    EXPECT_EQ(message->type, 3);
    EXPECT_EQ(message->msgtype, 1);
    EXPECT_EQ(message->result, 2);
    EXPECT_EQ(message->cd, 3);
    EXPECT_EQ(message->flags, 4u);
    EXPECT_EQ(message->aux, aux);
  }
}

TEST(Channel, BuildersRefuseWhatCannotTravel) {
  const char svcname[32] = "SERVICE";
  Link link(true);
  EXPECT_EQ(_send_procmsg_nodata_svcname2(link.out, 9, svcname, "12345678901234567890123456789012", 1, 2, 3), -1);
  EXPECT_EQ(_send_procmsg_nodata_svcname2(link.out, 9, svcname, nullptr, 1, 2, 3), -1);
  EXPECT_EQ(_send_procmsg_nodata_svcname(link.out, 9, nullptr, 1, 2, 3), -1);
  EXPECT_EQ(_send_procmsg_data(link.out, 1, 2, 3, 4, -1, "x"), -1);
  EXPECT_EQ(_send_nodemsg_data(link.out, 1, 2, 3, 4, INT_MIN, "x"), -1);
  EXPECT_EQ(_send_nodemsg_data(link.out, 1, 2, 3, 4, 1, nullptr), -1);
  vesk_msg_header message;
  _init_header(&message);
  for (const int datalen : {-1, INT_MAX}) {
    message.datalen = datalen;
    EXPECT_EQ(_write_procmsg_sync(link.out, &message), -1);
    EXPECT_EQ(_write_nodemsg_sync(link.out, &message), -1);
    EXPECT_EQ(message.magic, 0x90352082u) << "a refused message is not converted";
  }
  EXPECT_EQ(link.sent(), "");
}

TEST(Channel, NodeMessagesComeBackWordForWord) {
  struct {
    vesk_msg_header header;
    char payload[2000];
  } message;
  auto* words = reinterpret_cast<char*>(&message.header);
  for (int i = 0; i < 136; ++i) words[i] = static_cast<char>(i + 1);
  message.header.magic = 0x90352082;
  message.header.datalen = 2000;
  std::memset(message.payload, 'p', sizeof message.payload);
  const auto before = message;

  Link link(true);
  EXPECT_EQ(_write_nodemsg_sync(link.out, &message.header), 1);
  EXPECT_EQ(std::string(words, 4), bytes("90352082")) << "the caller's header stays in network order";
  const Message got{_read_nodemsg_sync(link.in)};
  ASSERT_TRUE(got);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(got.get()), 2136),
            std::string(reinterpret_cast<const char*>(&before), 2136));
  EXPECT_GE(malloc_usable_size(got.get()), 2136u);

  EXPECT_EQ(_send_procmsg_nodata(link.out, 1, 2, 3, 4), 1);
  const Message plain{_read_procmsg_sync(link.in)};
  EXPECT_GE(malloc_usable_size(plain.get()), 1000u);
}

TEST(Channel, APeerMayStopAtEveryByte) {
  host::log_level = 0;  // these records do not ask for the level
  const std::string message =
      node_header("00000001", "0000000a", "00000005", "00000000", "0000000a", "00000000", "00000000") + "0123456789";
  for (std::size_t stop = 0; stop <= message.size(); ++stop) {
    Link link(stop % 2);
    link.put(message.substr(0, stop));
    link.end();
    const Message got{_read_nodemsg_sync(link.in)};
    const std::string count = std::to_string(stop < 136 ? stop : stop - 136);
    if (stop == 146) {
      ASSERT_TRUE(got);
      EXPECT_EQ(_nodeio_errno, 0);
      EXPECT_THAT(host::take_log(), testing::IsEmpty());
      continue;
    }
    EXPECT_FALSE(got);
    EXPECT_EQ(_nodeio_errno, stop == 0 ? -1 : stop < 136 ? -2 : -5) << stop;
    if (stop == 0)
      EXPECT_THAT(host::take_log(), testing::IsEmpty());
    else if (stop < 136)
      EXPECT_THAT(host::take_log(),
                  testing::ElementsAre(LogRecord{1, 2, "COM0008", "0056 read error : " + count + " 136"}));
    else
      EXPECT_THAT(host::take_log(),
                  testing::ElementsAre(LogRecord{1, 2, "COM0011", "0056 read error : " + count + " 10"}));
  }
}

TEST(Channel, LyingHeadersAndBadDescriptors) {
  Link link(false);
  EXPECT_EQ(_read_procmsg_sync(-1), nullptr);
  EXPECT_EQ(_procio_errno, -2);
  link.put(std::string(50, 'x'));
  link.end();
  EXPECT_EQ(_read_procmsg_sync(link.in), nullptr);
  EXPECT_EQ(_procio_errno, -2);
  EXPECT_THAT(host::take_log(), testing::ElementsAre(LogRecord{1, 2, "COM0002", "0028 read error : -1 136"},
                                                     LogRecord{1, 2, "COM0002", "0028 read error : 50 136"}));

  vesk_msg_header header;
  _init_header(&header);
  header.magic = 258;
  header.msgtype = 5;
  Link magic(true);
  EXPECT_EQ(_write_procmsg_sync(magic.out, &header), 1);
  EXPECT_EQ(_write_nodemsg_sync(magic.out, &header), 1);
  EXPECT_EQ(_read_procmsg_sync(magic.in), nullptr);
  EXPECT_EQ(_procio_errno, -3);
  EXPECT_EQ(_read_nodemsg_sync(magic.in), nullptr);
  EXPECT_EQ(_nodeio_errno, -3);
  EXPECT_THAT(host::take_log(), testing::ElementsAre(LogRecord{0, 2, "COM0003", "0200 magic number error : 5 258"},
                                                     LogRecord{0, 2, "COM0009", "0200 magic number error : 5 258"}));

  _init_header(&header);
  for (const int datalen : {-1, INT_MIN, 2001, INT_MAX}) {
    header.datalen = datalen;
    Link lie(false);
    lie.put(std::string(reinterpret_cast<char*>(&header), 136) + std::string(2000, 'p'));
    lie.end();
    EXPECT_EQ(_read_procmsg_sync(lie.in), nullptr);
    EXPECT_TRUE(_procio_errno == -5 || (datalen == INT_MAX && _procio_errno == -4)) << datalen;
    const auto log = host::take_log();
    ASSERT_EQ(log.size(), 1u);
    if (datalen < INT_MAX) {
      const std::string count = datalen < 0 ? "0 " : "2000 ";
      EXPECT_EQ(log[0], (LogRecord{1, 2, "COM0005", "0028 read error : " + count + std::to_string(datalen)}));
    }
  }
}

TEST(Channel, AGonePeerFailsTheWrite) {
  std::signal(SIGPIPE, SIG_IGN);
  for (const bool socket : {false, true}) {
    Link link(socket);
    close(link.in);
    link.in = dup(0);
    EXPECT_EQ(_send_procmsg_nodata(link.out, 1, 2, 3, 4), -1);
    EXPECT_EQ(_send_nodemsg_data(link.out, 1, 2, 3, 4, 1, "x"), -1);
  }
}

TEST(RecoverData, SwapsFourWordsOfFive) {
  struct {
    vesk_msg_header header;
    char payload[60];
  } message;
  const std::string record = bytes("01020304 05060708 090a0b0c 0d0e0f10 11121314");
  const std::string swapped = bytes("04030201 08070605 0c0b0a09 100f0e0d 11121314");
  const std::string untouched = record + record + record;
  const auto converted = [&](int code, int count, int datalen, int (*convert)(vesk_msg_header*)) {
    _init_header(&message.header);
    message.header.msgtype = code;
    message.header.result = count;
    message.header.datalen = datalen;
    std::memcpy(message.payload, untouched.data(), sizeof message.payload);
    EXPECT_EQ(convert(&message.header), code % 1000 == 173 ? 1 : -1);
    return std::string(message.payload, 60);
  };
  _endian = 0;
  EXPECT_EQ(converted(173, 2, 60, _hton_recover_data), swapped + swapped + record);
  EXPECT_EQ(converted(1173, 3, 0, _ntoh_recover_data), swapped + swapped + swapped);
  EXPECT_EQ(converted(173, INT_MAX, 39, _ntoh_recover_data), swapped + record + record);
  EXPECT_EQ(converted(173, -1, 60, _ntoh_recover_data), untouched);
  EXPECT_EQ(converted(173, 3, -60, _ntoh_recover_data), untouched);
  EXPECT_EQ(converted(174, 2, 60, _hton_recover_data), untouched);
  _endian = 1;
  EXPECT_EQ(converted(173, 2, 60, _hton_recover_data), untouched);
  _endian = 2;
  EXPECT_EQ(converted(173, 1, 60, _hton_recover_data), swapped + record + record);
}

TEST(RecoverData, ProcessTypesHaveNames) {
  for (const char* name : _tproc_name) EXPECT_THAT(name, testing::StartsWith("proc"));
}

}  // namespace
