// Service calls: request images, input checks, replies of every kind, descriptors, parking and waiting.
#include "xa/tpapi.h"

#include "tests/support/link_test.h"
#include "tests/support/structs.h"
#include "xa/etc.h"
#include "xa/match.h"

namespace {

// What a call returned, and tperrno behind it.
using Outcome = std::pair<int, int>;
Outcome outcome(int result) { return {result, tperrno}; }

struct Buffer {
  explicit Buffer(const char* type = "STRING", const char* text = "") : data(tpalloc(type, nullptr, 0)) {
    std::strcpy(data, text);
  }
  Buffer(const Buffer&) = delete;
  ~Buffer() { tpfree(data); }
  vesk_msg_header* header() const { return reinterpret_cast<vesk_msg_header*>(data - 136); }
  std::string type() const {
    char name[8];
    return tptypes(data, name, nullptr) < 0 ? "" : name;
  }
  // Type and contents, as far as a call said that they go.
  std::string shown() const {
    return type() + (length < 0 ? " -" : " " + std::string(data, static_cast<std::size_t>(length)));
  }
  char* data;
  long length = -1;
};

struct ServiceTest : LinkTest {
  Outcome call(Buffer& out, char* input = nullptr, long flags = 0) {
    return outcome(tpcall("SVC", input, 0, &out.data, &out.length, flags));
  }
  Outcome request(long flags = 0, char* input = nullptr) { return outcome(tpacall("SVC", input, 0, flags)); }
  // The descriptor and what came for it, or tperrno.
  std::string collect(int wanted, Buffer& out, long flags = 0) {
    int cd = wanted;
    if (tpgetrply(&cd, &out.data, &out.length, flags) == 1) return std::to_string(cd) + " " + out.shown();
    EXPECT_EQ(cd, wanted);
    return failed(tperrno);
  }
  static std::string failed(int error) { return "error " + std::to_string(error); }
  static Wire answer(std::uint32_t cd, const std::string& text) {
    return {.type = 3, .size = 1024, .msgtype = 1004, .cd = cd, .payload = text};
  }
};

TEST_F(ServiceTest, CallSendsTheBufferAndDeliversTheReply) {
  txid[0] = 0x0a0b0c0d;
  txid[1] = txid[2] = 1;
  Buffer in{"STRING", "abc"};
  in.header()->reqctl = 0x02000000;
  Buffer out{"CARRAY"};
  gateway.send(Wire{.type = 3, .size = 1024, .msgtype = 1003, .result = 0xfffffffe, .payload = "reply"});
  EXPECT_EQ(tpcall("A_SERVICE_WITH_32_CHARACTERS_...", in.data, 0, &out.data, &out.length, TPNOTRAN), 1);
  EXPECT_EQ(gateway.message(), (Wire{.seqno = 1,
                                     .type = 3,
                                     .size = 1024,
                                     .msgtype = 3,
                                     .txid = {0x0a0b0c0d, 1, 1},
                                     .svcname = "A_SERVICE_WITH_32_CHARACTERS_..",
                                     .flags = 0x0a000008,
                                     .reqctl = 0x10000000,
                                     .payload = {"abc\0", 4}})
                                   .bytes());
  EXPECT_TRUE(gateway.quiet());
  EXPECT_STREQ(in.data, "abc");
  EXPECT_EQ(out.shown(), "STRING reply");
  EXPECT_EQ(tpurcode, -2);
  EXPECT_EQ(tperrno, 0);
  EXPECT_EQ(_seqno, 2) << "a call takes two numbers";
}

TEST_F(ServiceTest, RequestsCarryTheirDescriptor) {
  txid[0] = txid[1] = txid[2] = 0;
  Wire expected{.seqno = 1,
                .type = 3,
                .size = 1024,
                .msgtype = 4,
                .svcname = "SVC",
                .flags = 0x0A000420,
                .cd = 1,
                .reqctl = 0x10000000,
                .payload = {"abc\0", 4}};
  Buffer in{"STRING", "abc"};
  in.header()->reserved32 = 9;
  EXPECT_EQ(request(TPNOTIME | 0x400, in.data), Outcome(1, 0));
  EXPECT_EQ(gateway.message(), expected.bytes());
  expected.seqno = 3;
  expected.flags = 0x0A000004;
  expected.cd = 0;
  EXPECT_EQ(request(TPNOREPLY, in.data), Outcome(0, 0));
  EXPECT_EQ(gateway.message(), expected.bytes());
  EXPECT_EQ(_active_tpacall_count, 1);

  Buffer out;
  gateway.send(Wire{.msgtype = 1003});
  EXPECT_EQ(call(out), Outcome(1, 0));
  EXPECT_EQ(gateway.message(),
            (Wire{.seqno = 5, .msgtype = 3, .svcname = "SVC", .flags = 0x0A000000, .reqctl = 0x10000000}).bytes());
  EXPECT_EQ(out.shown(), "HEADER ");
  gateway.reset();
  EXPECT_EQ(request(), Outcome(-1, 0));
  EXPECT_EQ(request(TPNOREPLY), Outcome(-1, 0));
  EXPECT_EQ(_active_tpacall_count, 1);
}

TEST_F(ServiceTest, RefusesBadArgumentsBeforeItTouchesAnything) {
  Buffer out;
  char plain[200] = {};
  char* no_buffer = plain + 136;
  char* misaligned = out.data + 1;
  char* null = nullptr;
  int cd = 1;
  tperrno = 99;  // the first checks of a call leave it alone
  EXPECT_EQ(outcome(tpcall("S", null, 0, nullptr, &out.length, 0)), Outcome(-5, 99));
  EXPECT_EQ(outcome(tpcall("S", null, 0, &null, &out.length, 0)), Outcome(-5, 99));
  EXPECT_EQ(outcome(tpcall("S", null, 0, &out.data, nullptr, 0)), Outcome(-5, 99));
  EXPECT_EQ(outcome(tpcall("S", null, 0, &no_buffer, &out.length, 0)), Outcome(-6, 99));
  EXPECT_EQ(outcome(tpcall("S", null, 0, &misaligned, &out.length, 0)), Outcome(-6, 99));
  for (const long flag : {0x4L, 0x10L, 0x40L, 0x80L, 0x200L, 0x400L, 0x100000000L})
    EXPECT_EQ(call(out, null, flag), Outcome(-5, 99)) << flag;
  vesk_xa_close(nullptr, 0, 0);
  EXPECT_EQ(call(out), Outcome(-5, 99));
  open("");
  EXPECT_EQ(outcome(tpcall(nullptr, null, 0, &out.data, &out.length, 0)), Outcome(-5, TPEINVAL));
  EXPECT_EQ(call(out, no_buffer), Outcome(-5, TPEITYPE));

  for (const long flag : {0x10L, 0x80L, 0x100L, 0x800L, 0x100000000L})
    EXPECT_EQ(request(flag), Outcome(-1, TPEINVAL)) << flag;
  for (const long flag : {0x4L, 0x8L, 0x10L, 0x200L, 0x400L, 0x100000000L})
    EXPECT_EQ(collect(cd, out, flag), failed(TPEINVAL)) << flag;
  EXPECT_EQ(outcome(tpgetrply(nullptr, &out.data, &out.length, 0)), Outcome(-1, TPEINVAL));
  EXPECT_EQ(outcome(tpgetrply(&cd, nullptr, &out.length, 0)), Outcome(-1, TPEINVAL));
  EXPECT_EQ(outcome(tpgetrply(&cd, &out.data, nullptr, 0)), Outcome(-1, TPEINVAL));
  EXPECT_EQ(collect(cd, out, TPGETANY), failed(TPEBADDESC)) << "nothing is outstanding";
  EXPECT_TRUE(gateway.quiet());
  EXPECT_EQ(request(), Outcome(1, 0));
  EXPECT_EQ(collect(2, out), failed(TPEBADDESC));
  EXPECT_EQ(outcome(tpgetrply(&cd, &no_buffer, &out.length, 0)), Outcome(-1, TPEOTYPE));
  EXPECT_EQ(_active_tpacall_count, 1);
}

TEST_F(ServiceTest, InputLengthGoesByType) {
  const host::Structs structs_known({host::struct_row("forty", 40, 40)}, {});
  const Buffer text{"STRING", "abc"};
  const Buffer start{"TPSTART"};
  const Buffer header{"HEADER"};
  const Buffer field{"FIELD"};
  const Buffer bytes{"CARRAY"};
  char* structs = tpalloc("STRUCT", "forty", 0);
  const std::tuple<const char*, long, Outcome> cases[] = {{nullptr, 100, {0, 0}},
                                                          {text.data, -9, {4, 0}},
                                                          {text.data, 4, {4, 0}},
                                                          {text.data, 1024, {1024, 0}},
                                                          {text.data, 1025, {-1, TPEINVAL}},
                                                          {text.data, 0x100000004, {-1, TPEINVAL}},
                                                          {bytes.data, 0, {0, 0}},
                                                          {bytes.data, 1024, {1024, 0}},
                                                          {bytes.data, 1025, {-1, TPEINVAL}},
                                                          {bytes.data, -1, {-1, TPEINVAL}},
                                                          {structs, -5, {40, 0}},
                                                          {structs, 79, {40, 0}},
                                                          {structs, 1039, {1000, 0}},
                                                          {structs, 1040, {-1, TPEINVAL}},
                                                          {field.data, 500, {8, 0}},
                                                          {start.data, 0, {76, 0}},
                                                          {header.data, 50, {0, 0}}};
  const auto checked = [](const char* data, long given) {
    tperrno = 0;
    return outcome(_data_itype_check(data, given, 0));
  };
  for (const auto& [data, given, sent] : cases) EXPECT_EQ(checked(data, given), sent) << given;

  std::memset(text.data, 'x', 1024);
  EXPECT_EQ(checked(text.data, 0), Outcome(-1, TPEINVAL)) << "a string without an end does not fit";
  std::memset(field.data + 4, 0xff, 4);
  EXPECT_EQ(checked(field.data, 0), Outcome(-1, TPEINVAL));
  _sdl_table[0].host_size = 0;
  EXPECT_EQ(checked(structs, 0), Outcome(-1, TPEITYPE));
  _sdl_table_size = 0;
  EXPECT_EQ(checked(structs, 0), Outcome(-1, TPEITYPE));
  bytes.header()->type = 11;
  EXPECT_EQ(checked(bytes.data, 0), Outcome(-1, TPEITYPE));
  tpfree(structs);
}

TEST_F(ServiceTest, FailuresAreDelivered) {
  using Case = std::tuple<std::uint32_t, std::uint32_t, int>;
  for (const auto& [msgtype, flags, error] : {Case{2003, TPESVCFAIL, TPESVCFAIL},
                                              {2003, 0, TPESYSTEM},
                                              {3003, 0, TPESYSTEM},
                                              {1003, 77, 77},
                                              {1150, 0, TPESYSTEM},
                                              {1004, 0, TPESYSTEM}}) {
    Buffer out;
    gateway.send(Wire{.type = 3, .msgtype = msgtype, .result = 5, .flags = flags, .payload = "why"});
    EXPECT_EQ(call(out), Outcome(-3, error)) << msgtype;
    EXPECT_EQ(tpurcode, 5);
    EXPECT_EQ(out.shown(), "STRING why");
  }
  for (const auto& [msgtype, flags, error] : {Case{2028, 0, TPESYSTEM}, {1028, 6, 6}, {1004, 0, TPESYSTEM}}) {
    gateway.send(Wire{.size = 500, .msgtype = msgtype, .flags = flags});
    EXPECT_EQ(request(TPACKWAIT), Outcome(-1, error)) << msgtype;
  }
  EXPECT_EQ(_active_tpacall_count, 0);
  gateway.send(Wire{.msgtype = 1028});
  EXPECT_EQ(request(TPACKWAIT), Outcome(4, 0));
  gateway.send(Wire{.msgtype = 2028});
  EXPECT_EQ(request(TPACKWAIT | TPNOREPLY), Outcome(-1, TPESYSTEM));
  gateway.finish();
  EXPECT_EQ(request(TPACKWAIT), Outcome(-1, 0));
  EXPECT_EQ(_active_tpacall_count, 1) << "without a descriptor there is no slot to free";
}

TEST_F(ServiceTest, OutputIsWhatArrivesOrStays) {
  Buffer both{"STRING", "ping"};
  gateway.send(Wire{.type = 3, .size = 10, .msgtype = 1003, .payload = "pong"});
  EXPECT_EQ(call(both, both.data), Outcome(1, 0)) << "the input may be the output";
  EXPECT_EQ(both.shown(), "STRING pong");
  gateway.send(Wire{.magic = 0, .type = 4, .size = 0, .msgtype = 1003, .payload = "1234"});
  EXPECT_EQ(call(both), Outcome(1, 0));
  EXPECT_EQ(both.shown(), "CARRAY 1234") << "marked as a typed buffer, or nobody could release it";

  Buffer out{"CARRAY", "mine"};
  gateway.finish();
  EXPECT_EQ(call(out), Outcome(-3, 0));
  EXPECT_EQ(out.shown(), "CARRAY -") << "the header was a wait description";
  EXPECT_STREQ(out.data, "mine");
  EXPECT_EQ(tptypes(out.data, nullptr, nullptr), 1024);
}

TEST_F(ServiceTest, DescriptorsRunOnAndSlotsWrap) {
  Buffer out;
  for (int cd = 1; cd <= 16; ++cd) {
    EXPECT_EQ(request(), Outcome(cd, 0));
    EXPECT_EQ(_get_acall_cd_ind(cd, 0), cd % 16);
  }
  EXPECT_EQ(request(), Outcome(-1, TPELIMIT));
  EXPECT_EQ(_active_tpacall_count, 16);
  EXPECT_EQ(_get_acall_cd_ind(-1, 0), -1);
  EXPECT_EQ(_get_acall_cd_ind(17, 0), -1);
  gateway.send(answer(5, "five"));
  EXPECT_EQ(collect(5, out), "5 STRING five");
  EXPECT_EQ(request(), Outcome(18, 0)) << "the refused call took a number";
  EXPECT_EQ(_get_acall_cd_ind(18, 0), 5) << "the first free slot from 18 mod 16 on";
  _make_acall_cd_invalid(2);
  _cur_acall_cd = 0x7fffffff;
  EXPECT_EQ(request(), Outcome(1, 0)) << "numbers begin again after the largest";
  EXPECT_EQ(_init_acall(0, 0, 0), -1);
  EXPECT_EQ(_acall, nullptr);
  EXPECT_EQ(_active_tpacall_count, 0);
  EXPECT_EQ(request(), Outcome(-1, TPELIMIT));
}

TEST_F(ServiceTest, TimedAcknowledgementIsMatched) {
  _bc_timeout = 1;
  // The counter's value after the request, which carries 1, is 2.
  gateway.send(Wire{.seqno = 1, .msgtype = 1028});
  gateway.send(answer(1, "early reply"));
  gateway.send(Wire{.seqno = 2, .msgtype = 1028});
  EXPECT_EQ(request(TPACKWAIT), Outcome(1, 0));
  Buffer out;
  EXPECT_EQ(collect(1, out), "1 STRING early reply");

  gateway.send(answer(2, "early reply of a call that fails"));
  EXPECT_EQ(request(TPACKWAIT), Outcome(-1, TPETIME));
  EXPECT_EQ(_active_tpacall_count, 0);
  EXPECT_EQ(_get_acall_ind_from_ready(), -1);
}

TEST_F(ServiceTest, RepliesOutOfOrderAreParked) {
  _bc_timeout = 5;
  Buffer out;
  for (int cd = 1; cd <= 5; ++cd) request();
  for (const Wire& message : {Wire{.seqno = 9, .msgtype = 3003},  // a late reply of a tpcall
                              Wire{.msgtype = 1026}, Wire{.msgtype = 2028}, answer(44, "nobody's"),
                              answer(5, "replaced"), answer(5, "five"), answer(2, "two"), answer(3, "three")})
    gateway.send(message);
  take_log();
  EXPECT_EQ(collect(3, out), "3 STRING three");
  EXPECT_TRUE(logged({{0, 2, "CSC5708", "2008 tpcall reply arrived after timeout. Msg discarded : 3003 9"}}));
  gateway.finish();  // the parked ones need no link
  EXPECT_EQ(collect(1, out, TPGETANY), "2 STRING two");
  EXPECT_EQ(collect(5, out, TPGETANY), "5 STRING five");
  EXPECT_EQ(_active_tpacall_count, 2);
}

TEST_F(ServiceTest, UntimedCollectTakesWhatComes) {
  Buffer out{"CARRAY"};
  request();
  request();
  gateway.send(answer(2, "two"));
  EXPECT_EQ(collect(1, out, TPGETANY), "2 STRING two");
  EXPECT_EQ(_get_acall_cd_ind(2, 0), -1);
  _bc_timeout = 5;
  gateway.send(Wire{.type = 4, .size = 7, .msgtype = 1003, .flags = TPESVCERR, .cd = 99, .payload = "odd"});
  EXPECT_EQ(collect(1, out, TPNOTIME | TPNOCHANGE), failed(TPESVCERR)) << "unmatched, its type is not looked at";
  EXPECT_EQ(out.type(), "CARRAY");
  EXPECT_EQ(_active_tpacall_count, 0) << "a failed reply ends the call too";
}

TEST_F(ServiceTest, TimedCollectEndsOnStrangersAndTime) {
  Buffer out;
  _bc_timeout = 1;
  request();
  take_log();
  gateway.send(Wire{.msgtype = 1150});
  EXPECT_EQ(collect(1, out), failed(TPESYSTEM));
  EXPECT_TRUE(logged({{0, 2, "CSC5713", "0209 internal error : unknown message type :1150"}}));
  EXPECT_EQ(collect(1, out), failed(TPETIME));
  gateway.finish();
  EXPECT_EQ(collect(1, out), failed(0));
  EXPECT_EQ(_active_tpacall_count, 1);
  vesk_xa_close(nullptr, 0, 0);
  EXPECT_EQ(collect(1, out), failed(TPESYSTEM)) << "no socket to wait on";
}

// A reply is copied only where both its capacity and its payload fit; the buffer keeps its capacity.
TEST_F(ServiceTest, RefillsOrReplacesTheOutputBuffer) {
  const std::tuple<std::uint32_t, std::size_t, bool> cases[] = {
      {1024, 1024, true}, {0, 1, true}, {1025, 3, false}, {4, 1025, false}, {0x100000, 5000, false}};
  _bc_timeout = 5;
  for (const auto& [size, payload, refilled] : cases) {
    Buffer out;
    out.header()->reqctl = 0;
    char* const before = out.data;
    const int cd = request().first;
    Wire reply = answer(static_cast<std::uint32_t>(cd), std::string(payload, 'r'));
    reply.magic = 1;
    reply.size = size;
    reply.reqctl = 0x02000000;
    gateway.send(reply);
    EXPECT_EQ(collect(cd, out, TPNOCHANGE), std::to_string(cd) + " STRING " + reply.payload);
    EXPECT_EQ(out.data == before, refilled) << size;
    EXPECT_EQ(out.header()->size, refilled ? 1024 : static_cast<int>(size));
    EXPECT_EQ(out.header()->reqctl, refilled ? 0 : 0x02000000) << "the sender knows of its own reserve alone";
  }
}

TEST_F(ServiceTest, NoChangeHoldsTypeAndSubtype) {
  _bc_timeout = 5;
  Buffer out;
  request();
  Wire reply = answer(1, "text");
  reply.type = 4;
  gateway.send(reply);
  EXPECT_EQ(collect(1, out, TPNOCHANGE), failed(TPEOTYPE));
  reply.type = 3;
  reply.subtype = "sub";
  gateway.send(reply);
  EXPECT_EQ(collect(1, out, TPNOCHANGE), failed(TPEOTYPE));

  // A parked reply stays parked when it is refused, and is made as large as the buffer that it replaces.
  Buffer large;
  large.data = tprealloc(large.data, 5000);
  request();
  reply.size = 2;
  reply.payload = std::string(3000, 'p');
  gateway.send(reply);
  gateway.send(answer(2, "other"));
  EXPECT_EQ(collect(2, out), "2 STRING other");
  EXPECT_EQ(collect(1, large, TPNOCHANGE), failed(TPEOTYPE));
  EXPECT_EQ(collect(1, large), "1 STRING " + reply.payload);
  EXPECT_EQ(large.header()->size, 5000);
  std::memset(large.data + 3000, 'y', 2000 + 64);
}

// A parked reply whose payload exceeds the capacity that it is given keeps its payload.
TEST_F(ServiceTest, ParkedReplyNeverShrinksBelowItsPayload) {
  vesk_msg_header* reply = _header_msg_make(1004, 0);
  reply = static_cast<vesk_msg_header*>(std::realloc(reply, 136 + 4000));
  reply->datalen = 4000;
  std::memset(reply + 1, 'p', 4000);
  vesk_msg_header description{};
  description.size = 100;
  EXPECT_EQ(_data_otype_check2(&reply, &description), 1);
  EXPECT_EQ(reply->size, 100);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(reply + 1), 4000), std::string(4000, 'p'));
  std::free(reply);
}

TEST_F(ServiceTest, MatchingFollowsTheKindOfRequest) {
  struct Case {
    int request;
    unsigned flags;
    int reply, cd, seqno, matched;
  } cases[] = {{3, 0, 1003, 9, 7, 1},        {3, 0, 2003, 9, 7, 1},    {3, 0, 3003, 9, 7, 1},    {3, 0, 1003, 9, 8, 0},
               {3, 0, 4003, 9, 7, 0},        {28, 0, 1028, 9, 7, 1},   {28, 0, 1028, 9, 8, 0},   {4, 0, 1004, 1, 8, 1},
               {4, 0, 1004, 2, 7, 0},        {4, 0x80, 1004, 1, 8, 1}, {4, 0x80, 1004, 2, 8, 0}, {5, 0, 1005, 9, 9, 1},
               {0x7fffffff, 0, 999, 0, 7, 0}};
  request();
  for (const Case& c : cases) {
    vesk_msg_header description{};
    description.msgtype = c.request;
    description.flags = c.flags;
    description.seqno = 7;
    description.cd = c.flags ? 2 : 1;
    vesk_msg_header message{};
    message.msgtype = c.reply;
    message.cd = c.cd;
    message.seqno = c.seqno;
    EXPECT_EQ(_is_msgtype_matched(&description, &message), c.matched) << c.request << " " << c.reply << " " << c.cd;
  }
  gateway.send(Wire{.msgtype = 77});
  const vxa::Message any{_recv_from_xagw2(nullptr, 0, 0x200)};
  EXPECT_TRUE(any && any->msgtype == 77) << "without a description anything will do";
  EXPECT_EQ(_recv_from_xagw2(nullptr, -5, 0x200), nullptr) << "a time below 0 polls once";
}

}  // namespace
