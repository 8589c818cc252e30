// The gateway from outside, in bytes: what it answers to requests, whole and damaged, and what its faults look like.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>

#include "base/bytes.h"
#include "tests/support/gateway_process.h"
#include "tests/support/host.h"

namespace {

using host::bytes;
using testing::EndsWith;
using testing::SizeIs;
using testing::StartsWith;
using vxa::gateway::Fault;
using vxa::gateway::Options;

// Header words by their place.
enum At : std::size_t {
  kMagic = 0,
  kSeqno = 4,
  kType = 8,
  kMsgtype = 16,
  kResult = 20,
  kTxid = 40,
  kFlags = 104,
  kCd = 108,
  kHandle = 124
};

std::uint32_t word(const std::string& message, At at) {
  return message.size() < at + 4 ? 0xDEAD : vxa::load_be<std::uint32_t>(message.data() + at);
}
void set_word(std::string& message, At at, std::uint32_t value) { vxa::store_be(message.data() + at, value); }

// tpcall (3) of ECHO with the STRING "abc", sequence number 7.
const std::string kEchoCall = bytes(
    "90352082 00000007 00000003 00000400"  // magic, seqno, type STRING, size
    "00000003 00000000 00000000 00000000"  // msgtype, result, -, aux
    "00000000 00000000"                    // -
    "00000000 00000000 00000000"           // txid
    "00000000 00000000 00000000 00000000"  // subtype
    "4543484f 00000000 00000000 00000000"  // service name "ECHO"
    "00000000 00000000 00000000 00000000"
    "00000004 0a000000 00000000 00000000"  // datalen, flags, cd, -
    "10000000 00000000 00000000 00000000"  // reqctl, -, handle, rmid
    "00000000"
    "61626300");

const std::string kEchoReply = bytes(
    "90352082 00000007 00000003 00000400"
    "000003eb 00000000 00000000 00000000"  // 1003
    "00000000 00000000"
    "00000000 00000000 00000000"
    "00000000 00000000 00000000 00000000"
    "4543484f 00000000 00000000 00000000"
    "00000000 00000000 00000000 00000000"
    "00000004 00000000 00000000 00000000"  // flags: no error
    "00000000 00000000 00000000 00000000"
    "00000000"
    "61626300");

// xa_start (149), synchronous, for rmid 5, of the branch with format 1, global part "g" and branch part "b".
const std::string kStart = bytes(
    "90352082 00000001 00000004 000000a2"  // magic, seqno, type, size 136 + 26
    "00000095 00000000 00000000 00000000"
    "00000000 00000000"
    "00000000 00000000 00000000"
    "00000000 00000000 00000000 00000000"
    "00000000 00000000 00000000 00000000"
    "00000000 00000000 00000000 00000000"
    "0000001a 00000000 00000000 00000000"  // datalen 26
    "00000000 00000000 ffffffff 00000005"  // handle -1, rmid
    "00000000"
    "0100000000000000 0100000000000000 0100000000000000 67 62");

std::string call(const char* service, std::uint32_t seqno = 7) {
  std::string message = kEchoCall;
  message.replace(68, 32, std::string(service) + std::string(32 - std::strlen(service), '\0'));
  set_word(message, kSeqno, seqno);
  return message;
}

std::string verb(std::uint32_t msgtype, std::uint32_t flags = 0) {
  std::string message = kStart;
  set_word(message, kMsgtype, msgtype);
  set_word(message, kFlags, flags);
  return message;
}

constexpr std::uint32_t kTmSuccess = 0x04000000;

Options with_fault(const char* fault) {
  Options options;
  options.faults.push_back(Fault::parse(fault));
  return options;
}

TEST(Gateway, AnswersACallByteForByte) {
  GatewayProcess gateway;
  RawClient client(gateway.port());
  client.send(kEchoCall);
  EXPECT_EQ(client.receive_message(), kEchoReply);

  for (const char byte : call("TOUPPER")) client.send(std::string(1, byte));
  const std::string upper = client.receive_message();
  EXPECT_THAT(upper, EndsWith(std::string("ABC\0", 4)));
  EXPECT_EQ(word(upper, kMsgtype), 1003u);
}

TEST(Gateway, FailuresOfCalls) {
  GatewayProcess gateway;
  RawClient client(gateway.port());
  client.send(call("NOWHERE"));
  std::string reply = client.receive_message();
  EXPECT_EQ(word(reply, kMsgtype), 2003u);
  EXPECT_EQ(word(reply, kFlags), 6u) << "TPENOENT";

  client.send(call("FAIL"));
  reply = client.receive_message();
  EXPECT_EQ(word(reply, kMsgtype), 2003u);
  EXPECT_EQ(word(reply, kFlags), 11u) << "TPESVCFAIL";
  EXPECT_EQ(word(reply, kResult), 1u);
  EXPECT_THAT(reply, EndsWith(std::string("abc\0", 4))) << "a failed service answers with data too";

  std::string damaged = call("ECHO");
  set_word(damaged, kType, 2);
  client.send(damaged);
  reply = client.receive_message();
  EXPECT_EQ(word(reply, kMsgtype), 2003u);
  EXPECT_EQ(word(reply, kFlags), 17u) << "TPEITYPE: no field buffer";
}

TEST(Gateway, ABranchFromStartToCommit) {
  GatewayProcess gateway;
  RawClient client(gateway.port());
  client.send(kStart);
  std::string reply = client.receive_message();
  ASSERT_EQ(word(reply, kMsgtype), 1149u);
  EXPECT_EQ(word(reply, kResult), 0u);
  EXPECT_EQ(word(reply, kHandle), 0xFFFFFFFFu);
  EXPECT_EQ(word(reply, kCd), 0xFFFFFFFFu);
  const std::string txid = reply.substr(kTxid, 12);
  EXPECT_NE(txid, std::string(12, '\0'));

  std::string in_branch = kEchoCall;
  in_branch.replace(kTxid, 12, txid);
  client.send(in_branch);
  EXPECT_EQ(client.receive_message().substr(kTxid, 12), txid);

  for (const std::uint32_t msgtype : {150u, 112u, 113u}) {
    std::string request = verb(msgtype, msgtype == 150 ? kTmSuccess : 0);
    set_word(request, kHandle, 9);  // asynchronous
    client.send(request);
    reply = client.receive_message();
    EXPECT_EQ(word(reply, kMsgtype), msgtype + 1000);
    EXPECT_EQ(word(reply, kHandle), 9u);
    EXPECT_EQ(word(reply, kCd), 9u) << "where a queue of early replies looks for it";
  }
  client.send(verb(113));
  reply = client.receive_message();
  EXPECT_EQ(word(reply, kMsgtype), 2113u);
  EXPECT_EQ(word(reply, kResult), 0xFFFFFFFCu) << "XAER_NOTA";
}

TEST(Gateway, AFailedServiceDoomsItsBranch) {
  GatewayProcess gateway;
  RawClient client(gateway.port());
  client.send(kStart);
  const std::string txid = client.receive_message().substr(kTxid, 12);

  std::string outside = call("FAIL");
  outside.replace(kTxid, 12, txid);
  set_word(outside, kFlags, 0x0a000008);  // TPNOTRAN
  client.send(outside);
  client.receive_message();
  client.send(verb(149, 0x08000000));  // a resume that is out of order: the branch lives
  EXPECT_EQ(word(client.receive_message(), kResult), 0xFFFFFFFAu) << "XAER_PROTO";

  set_word(outside, kFlags, 0x0a000000);
  client.send(outside);
  client.receive_message();
  client.send(verb(150, kTmSuccess));
  const std::string ended = client.receive_message();
  EXPECT_EQ(word(ended, kMsgtype), 2150u);
  EXPECT_EQ(word(ended, kResult), 100u) << "XA_RBROLLBACK";
  client.send(verb(114));
  EXPECT_EQ(word(client.receive_message(), kMsgtype), 1114u);
}

TEST(Gateway, AsynchronousCalls) {
  GatewayProcess gateway;
  RawClient client(gateway.port());
  std::string late = call("LATE", 20);
  set_word(late, kMsgtype, 4);
  set_word(late, kCd, 1);
  std::string acknowledged = call("ECHO", 30);
  set_word(acknowledged, kMsgtype, 4);
  set_word(acknowledged, kCd, 2);
  set_word(acknowledged, kFlags, 0x0a000200);
  std::string without_reply = call("ECHO", 40);
  set_word(without_reply, kMsgtype, 4);
  set_word(without_reply, kFlags, 0x0a000004);
  client.send(late + without_reply + acknowledged);

  const std::string acknowledgement = client.receive_message();
  EXPECT_EQ(word(acknowledgement, kMsgtype), 1028u);
  EXPECT_EQ(word(acknowledgement, kSeqno), 31u) << "what the client waits for: one past the request's";
  // LATE is answered behind the next message, whatever that is.
  EXPECT_EQ(word(client.receive_message(), kCd), 1u);
  const std::string reply = client.receive_message();
  EXPECT_EQ(word(reply, kMsgtype), 1004u);
  EXPECT_EQ(word(reply, kCd), 2u);
  EXPECT_TRUE(client.silent_for(50)) << "no reply where none was asked for";
}

TEST(Gateway, DropsWhoDoesNotSpeakTheProtocol) {
  GatewayProcess gateway;
  struct Case {
    const char* what;
    At at;
    std::uint32_t value;
  };
  constexpr At kSize{12};
  constexpr At kDatalen{100};
  for (const Case& each : {Case{"wrong magic", kMagic, 1}, Case{"negative payload", kDatalen, 0xFFFFFFFF},
                           Case{"huge payload", kDatalen, 0x7FFFFFFF}, Case{"negative size", kSize, 0x80000000}}) {
    RawClient client(gateway.port());
    std::string message = kEchoCall;
    set_word(message, each.at, each.value);
    client.send(message);
    EXPECT_THAT(client.receive(1), SizeIs(0)) << each.what;
  }
  // Cut off anywhere, and payloads that claim to be what they are not: the gateway lives on.
  for (std::size_t length = 0; length < kEchoCall.size(); length += 9)
    RawClient(gateway.port()).send(kEchoCall.substr(0, length));
  RawClient client(gateway.port());
  client.send(verb(149).replace(136, 26, std::string(26, '\xff')));
  EXPECT_EQ(word(client.receive_message(), kResult), 0xFFFFFFFBu) << "XAER_INVAL";
  client.send(kEchoCall);
  EXPECT_EQ(client.receive_message(), kEchoReply);
}

TEST(Gateway, EndsOnSignals) {
  for (const int signal : {SIGINT, SIGTERM}) {
    GatewayProcess gateway;
    RawClient client(gateway.port());
    client.send(call("SLEEP"));
    client.send(kEchoCall);
    client.receive_message();
    EXPECT_EQ(gateway.end(signal), 0);
    EXPECT_THAT(client.receive(1), SizeIs(0));
  }
}

struct FaultCase {
  const char* fault;
  std::size_t changed_at;  // the word of the echo's reply that is different, and its value
  const char* bytes;
};

class GatewayHeaderFaults : public testing::TestWithParam<FaultCase> {};

TEST_P(GatewayHeaderFaults, WriteTheWord) {
  GatewayProcess gateway(with_fault(GetParam().fault));
  RawClient client(gateway.port());
  client.send(kEchoCall);
  std::string expected = kEchoReply;
  expected.replace(GetParam().changed_at, 4, bytes(GetParam().bytes));
  EXPECT_EQ(client.receive(kEchoReply.size()), expected);
}

INSTANTIATE_TEST_SUITE_P(All, GatewayHeaderFaults,
                         testing::Values(FaultCase{"magic=1", 0, "00000001"}, FaultCase{"size=-1", 12, "ffffffff"},
                                         FaultCase{"datalen=2147483647@1", 100, "7fffffff"},
                                         FaultCase{"type=2", 8, "00000002"}, FaultCase{"msgtype=1004", 16, "000003ec"},
                                         FaultCase{"magic=1@2", 0, "90352082"}));

TEST(GatewayFaults, CloseInTheMiddle) {
  GatewayProcess gateway(with_fault("close=139"));
  RawClient client(gateway.port());
  client.send(kEchoCall);
  EXPECT_EQ(client.receive(1000), kEchoReply.substr(0, 139));
}

TEST(GatewayFaults, DieInTheMiddle) {
  GatewayProcess gateway(with_fault("die"));
  RawClient client(gateway.port());
  client.send(kEchoCall);
  EXPECT_EQ(client.receive(1000), kEchoReply.substr(0, 70));
  EXPECT_TRUE(WIFEXITED(gateway.end(SIGTERM)));
}

TEST(GatewayFaults, StrayLateAndSlow) {
  Options options = with_fault("stray=1150");
  options.faults.push_back(Fault::parse("trickle"));
  options.faults.push_back(Fault::parse("late@1"));
  options.faults.push_back(Fault::parse("delay=20@2"));
  GatewayProcess gateway(options);
  RawClient client(gateway.port());
  client.send(call("ECHO", 1) + call("ECHO", 2));
  EXPECT_EQ(word(client.receive_message(), kMsgtype), 1150u);
  EXPECT_EQ(word(client.receive_message(), kSeqno), 2u);
  EXPECT_EQ(word(client.receive_message(), kHandle), 0xFFFFFFFFu);
  EXPECT_EQ(word(client.receive_message(), kSeqno), 1u);
}

TEST(GatewayFaults, TextsThatNameNoFault) {
  for (const char* text : {"", "nothing", "close=x", "close=-1", "size", "delay", "late@", "late@x", "magic=1@-1",
                           "stray=9999999999999999999"})
    EXPECT_THROW(Fault::parse(text), std::invalid_argument) << text;
}

}  // namespace
