// The gateway from outside, in bytes: what it answers to requests, whole and damaged, and what its faults look like.
#include <csignal>

#include "base/bytes.h"
#include "tests/support/gateway_process.h"
#include "tests/support/test.h"

namespace {

using peer::Wire;
using vxa::gateway::Fault;
using vxa::gateway::Options;

// Header words by their place.
enum At : std::size_t { kSeqno = 4, kMsgtype = 16, kResult = 20, kTxid = 40, kFlags = 104, kCd = 108, kHandle = 124 };

std::uint32_t word(const std::string& message, At at) {
  return message.size() < at + 4 ? 0xDEAD : vxa::load_be<std::uint32_t>(message.data() + at);
}

// A tpcall (3) of the service with the STRING "abc".
Wire call(const char* service, std::uint32_t seqno = 7) {
  return {.seqno = seqno,
          .type = 3,
          .size = 1024,
          .msgtype = 3,
          .svcname = service,
          .flags = 0x0a000000,
          .reqctl = 0x10000000,
          .payload = std::string("abc", 4)};
}

const std::string kEchoCall = call("ECHO").bytes();
const std::string kEchoReply =
    Wire{.seqno = 7, .type = 3, .size = 1024, .msgtype = 1003, .svcname = "ECHO", .payload = std::string("abc", 4)}
        .bytes();

enum Verb : std::uint32_t { kStart = 149, kEnd = 150, kPrepare = 112, kCommit = 113 };
constexpr std::uint32_t kTmSuccess = 0x04000000;

// For rmid 5, of the branch with format 1, global part "g" and branch part "b"; synchronous without a handle.
std::string verb(Verb verb, std::uint32_t flags = 0, std::uint32_t handle = 0xFFFFFFFF) {
  return Wire{.seqno = 1,
              .type = 4,
              .size = 162,
              .msgtype = verb,
              .flags = flags,
              .handle = handle,
              .rmid = 5,
              .payload = bytes("0100000000000000 0100000000000000 0100000000000000 67 62")}
      .bytes();
}

class Gateway : public testing::Test {
 protected:
  GatewayProcess gateway;
  RawClient client{gateway};
};

TEST_F(Gateway, AnswersCalls) {
  EXPECT_EQ(client.answer(kEchoCall), kEchoReply);
  for (const char byte : kEchoCall) client.send(std::string(1, byte));
  EXPECT_EQ(client.message(), kEchoReply);

  Wire damaged = call("ECHO");
  damaged.type = 2;
  const std::tuple<Wire, std::uint32_t, std::uint32_t, std::uint32_t, std::string> cases[] = {
      {call("TOUPPER"), 1003, 0, 0, std::string("ABC", 4)},
      {call("NOWHERE"), 2003, 6, 0, ""},                   // TPENOENT
      {call("FAIL"), 2003, 11, 1, std::string("abc", 4)},  // TPESVCFAIL, with data
      {damaged, 2003, 17, 0, ""}};                         // TPEITYPE: no field buffer
  for (const auto& [request, msgtype, error, code, payload] : cases) {
    const std::string reply = client.answer(request.bytes());
    EXPECT_EQ(word(reply, kMsgtype), msgtype);
    EXPECT_EQ(word(reply, kFlags), error);
    EXPECT_EQ(word(reply, kResult), code);
    EXPECT_EQ(reply.substr(136), payload);
  }
}

TEST_F(Gateway, ABranchFromStartToCommit) {
  const std::string started = client.answer(verb(kStart));
  EXPECT_EQ(word(started, kMsgtype), 1149u);
  const std::string txid = started.substr(kTxid, 12);
  EXPECT_NE(txid, std::string(12, '\0'));
  EXPECT_EQ(client.answer(std::string(kEchoCall).replace(kTxid, 12, txid)).substr(kTxid, 12), txid);

  constexpr std::uint32_t kHandleSent = 9;
  for (const Verb each : {kEnd, kPrepare, kCommit}) {
    const std::string reply = client.answer(verb(each, each == kEnd ? kTmSuccess : 0, kHandleSent));
    EXPECT_EQ(word(reply, kMsgtype), each + 1000u);
    EXPECT_EQ(word(reply, kHandle), kHandleSent);
    EXPECT_EQ(word(reply, kCd), kHandleSent) << "where a queue of early replies looks for it";
  }
  const std::string again = client.answer(verb(kCommit));
  EXPECT_EQ(word(again, kMsgtype), 2113u);
  EXPECT_EQ(word(again, kResult), 0xFFFFFFFCu) << "XAER_NOTA";
}

TEST_F(Gateway, AsynchronousCalls) {
  Wire late = call("LATE", 20), acknowledged = call("ECHO", 30), without_reply = call("ECHO", 40);
  late.msgtype = acknowledged.msgtype = without_reply.msgtype = 4;
  late.cd = 1;
  acknowledged.cd = 2;
  acknowledged.flags |= 0x200;
  without_reply.flags |= 4;
  const std::string acknowledgement = client.answer(late.bytes() + without_reply.bytes() + acknowledged.bytes());
  EXPECT_EQ(word(acknowledgement, kMsgtype), 1028u);
  EXPECT_EQ(word(acknowledgement, kSeqno), 31u) << "what the client waits for: one past the request's";
  EXPECT_EQ(word(client.message(), kCd), 1u) << "LATE is answered behind the next message, whatever that is";
  const std::string reply = client.message();
  EXPECT_EQ(word(reply, kMsgtype), 1004u);
  EXPECT_EQ(word(reply, kCd), 2u);
  EXPECT_TRUE(client.quiet()) << "no reply where none was asked for";
}

TEST_F(Gateway, DropsWhoDoesNotSpeakTheProtocol) {
  for (const Wire& message :
       {Wire{.magic = 1}, Wire{.datalen = 0xFFFFFFFF}, Wire{.datalen = 0x7FFFFFFF}, Wire{.size = 0x80000000}})
    EXPECT_EQ(RawClient(gateway).answer(message.bytes()), "");
  for (std::size_t length = 0; length < kEchoCall.size(); length += 9)
    RawClient(gateway).send(kEchoCall.substr(0, length));
  EXPECT_EQ(word(client.answer(verb(kStart).replace(136, 26, std::string(26, '\xff'))), kResult), 0xFFFFFFFBu)
      << "XAER_INVAL";
  EXPECT_EQ(client.answer(kEchoCall), kEchoReply) << "it lives on";
}

TEST_F(Gateway, EndsOnASignal) {
  client.send(call("SLEEP"));
  client.answer(kEchoCall);
  EXPECT_EQ(gateway.end(SIGTERM), 0);
  EXPECT_EQ(client.received(1), "");
}

Options with_faults(std::initializer_list<const char*> faults) {
  Options options;
  for (const char* fault : faults) options.faults.push_back(Fault::parse(fault));
  return options;
}

TEST(GatewayFaults, DamageTheReply) {
  const auto changed = [](std::size_t at, const char* hex) {
    return std::string(kEchoReply).replace(at, 4, bytes(hex));
  };
  const std::pair<const char*, std::string> cases[] = {{"magic=1", changed(0, "00000001")},
                                                       {"size=-1", changed(12, "ffffffff")},
                                                       {"datalen=2147483647@1", changed(100, "7fffffff")},
                                                       {"type=2", changed(8, "00000002")},
                                                       {"msgtype=1004", changed(16, "000003ec")},
                                                       {"magic=1@2", kEchoReply},
                                                       {"close=139", kEchoReply.substr(0, 139)},
                                                       {"die", kEchoReply.substr(0, 70)}};
  for (const auto& [fault, reply] : cases) {
    const GatewayProcess gateway(with_faults({fault}));
    RawClient client(gateway);
    client.send(kEchoCall);
    EXPECT_EQ(client.received(kEchoReply.size()), reply) << fault;
  }
}

TEST(GatewayFaults, StrayLateAndSlow) {
  const GatewayProcess gateway(with_faults({"stray=1150", "trickle", "late@1", "delay=20@2"}));
  RawClient client(gateway);
  EXPECT_EQ(word(client.answer(call("ECHO", 1).bytes() + call("ECHO", 2).bytes()), kMsgtype), 1150u);
  EXPECT_EQ(word(client.message(), kSeqno), 2u);
  EXPECT_EQ(word(client.message(), kHandle), 0xFFFFFFFFu);
  EXPECT_EQ(word(client.message(), kSeqno), 1u);
}

TEST(GatewayFaults, TextsThatNameNoFault) {
  for (const char* text : {"", "nothing", "close=x", "close=-1", "size", "delay", "late@", "late@x", "magic=1@-1",
                           "stray=9999999999999999999"})
    EXPECT_THROW(Fault::parse(text), std::invalid_argument) << text;
}

}  // namespace
