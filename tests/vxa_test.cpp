// The XA switch: open strings, flag masks, request images, results, asynchronous requests.
#include "xa/vxa.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <chrono>
#include <sstream>

#include "tests/support/link_test.h"
#include "xa/openstr.h"

namespace {

using Verb = int (*)(XID*, int, long);

XID branch() {
  XID xid{};
  xid.formatID = 1;
  xid.gtrid_length = 4;
  xid.bqual_length = 2;
  std::memcpy(xid.data, "G001B1 and what lies behind", 27);
  return xid;
}

TEST(Switch, IsLaidOutAsTheStandardHasIt) {
  void* const entries[10] = {reinterpret_cast<void*>(vesk_xa_open),     reinterpret_cast<void*>(vesk_xa_close),
                             reinterpret_cast<void*>(vesk_xa_start),    reinterpret_cast<void*>(vesk_xa_end),
                             reinterpret_cast<void*>(vesk_xa_rollback), reinterpret_cast<void*>(vesk_xa_prepare),
                             reinterpret_cast<void*>(vesk_xa_commit),   reinterpret_cast<void*>(vesk_xa_recover),
                             reinterpret_cast<void*>(vesk_xa_forget),   reinterpret_cast<void*>(vesk_xa_complete)};
  // Name, flags 0, version 40.
  const std::string image = "VeskXA" + std::string(26, '\0') + bytes("0000000000000000 2800000000000000") +
                            std::string(reinterpret_cast<const char*>(entries), sizeof entries);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&veskxaosw), sizeof veskxaosw), image);
}

TEST(OpenString, IsReadOptionByOption) {
  const std::string name255(255, 'h');
  const std::string digits255 = std::string(254, '0') + "9";
  const std::string x1015(1015, 'x');
  const std::string before = "before:1 2 3";
  struct Case {
    std::string info;
    std::string after;  // host:port, debug level and timeout
    int result = 1;
    std::string printed = "";  // behind "[VeskXA] "
  } cases[] = {
      {"host=10.0.0.7:900+timeout=30+dbglvl=2", "10.0.0.7:900 2 30"},
      {"timeout=-4+dbglvl=0x9+host=gw:12ab", "gw:12 0 -4"},
      {"host=gw:99999999999", "gw:1215752191 2 3"},  // its low 32 bits
      {"host=a:b:c", "a:0 2 3"},
      {"timeout=5", before, -1},
      {"hos+t=a:1", before, -1},
      {"host", before, -1, "invalid value[host]"},
      {"host=:9", before, -1, "invalid host[:9]"},
      {"host=+timeout=9", before, -1, "invalid host[]"},
      {"host=gw", before, -1, "invalid port[]"},
      {"host=gw:+timeout=9", before, -1, "invalid port[:]"},
      {"host=" + name255 + ":1", name255 + ":1 2 3"},
      {"host=" + name255 + "h:1", before, -1, "invalid host[" + name255 + "h:1]"},
      {"host=timeout.example:900+timeout=5", "timeout.example:900 2 3", 1, "invalid value[timeout.example:900]"},
      {"host=g:1+timeout=abc", "g:1 2 0"},
      {"host=g:1+timeout=+dbglvl=", "g:1 2 3"},
      {"host=g:1+dbglvl+timeout=8", "g:1 2 8", 1, "invalid value[dbglvl]"},
      {"host=g:1+timeout=" + digits255 + "+dbglvl=0" + digits255, "g:1 2 9"},
      {"host=g: +5", "g:0 2 3"},  // a segment ends at the separator, also for the number in it
      // Of a segment of 1024 characters all count, of a longer one the first 1023.
      {"host=g:1+timeout" + x1015 + "=7", "g:1 2 7"},
      {"host=g:1+timeout" + x1015 + "=77", "g:1 2 3"},
      {"host=g:1+timeout" + x1015 + "x=7", "g:1 2 3", 1, "invalid value[timeout" + x1015 + "x]"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.info);
    std::strcpy(vesk_hostaddr, "before");
    vesk_hostport = 1;
    _dbg_lvl = 2;
    _timeout = 3;
    Console console;
    EXPECT_EQ(parse_xainfo(c.info.c_str()), c.result);
    EXPECT_EQ(console.text(), c.printed.empty() ? "" : "[VeskXA] " + c.printed + "\n");
    std::ostringstream after;
    after << vesk_hostaddr << ":" << vesk_hostport << " " << _dbg_lvl << " " << _timeout;
    EXPECT_EQ(after.str(), c.after);
  }
  EXPECT_EQ(parse_xainfo(nullptr), -1);
  _timeout = 0;
}

TEST(Open, GivesUpAfterTenAttempts) {
  std::string info;
  {
    const peer::Gateway gone;
    info = gone.open_string();
  }
  Console console;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(vesk_xa_open(info.data(), kRmid, 0), -1);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
  EXPECT_EQ(console.text(), "[VeskXA] connect to server fail[127.0.0.1][" + info.substr(15) + "]\n");
  EXPECT_EQ(_xa_opensw, 0);
  EXPECT_EQ(_rmid, -1);
}

TEST_F(LinkTest, OpensOnceAndClosesSilently) {
  const int fd = _gwfd;
  int at_once = 0;
  socklen_t length = sizeof at_once;
  EXPECT_EQ(getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &at_once, &length), 0);
  EXPECT_EQ(at_once, 1) << "requests do not wait for each other";
  char elsewhere[] = "host=";
  EXPECT_EQ(vesk_xa_open(elsewhere, kRmid, 1), XA_OK);
  EXPECT_EQ(vesk_xa_open(elsewhere, kRmid + 1, 0), XAER_INVAL);
  EXPECT_EQ(_gwfd, fd);
  EXPECT_EQ(vesk_xa_close(nullptr, 99, TMSUCCESS | TMMIGRATE), XA_OK);
  EXPECT_EQ(_gwfd, -1);
  EXPECT_EQ(_xa_opensw, 0);
  EXPECT_EQ(_rmid, -1);
  EXPECT_EQ(_acall_size, 16);
  EXPECT_EQ(vesk_xa_close(nullptr, 0, 1), XA_OK) << "a closed link looks at no flags";
  EXPECT_EQ(gateway.received(1), "") << "a close sends nothing";
  XID xid = branch();
  EXPECT_EQ(vesk_xa_start(&xid, kRmid, 0), XAER_INVAL);
  EXPECT_EQ(vesk_xa_recover(&xid, 1, 0, -1), 0);
  EXPECT_EQ(vesk_xa_forget(&xid, 0, -1), XA_OK);
  open("");
  EXPECT_EQ(_timeout, 5) << "a reopen that names no timeout keeps it";
  EXPECT_EQ(console.text(), "");
}

TEST_F(LinkTest, RefusesFlagsOutsideTheMasks) {
  const std::tuple<Verb, const char*, long> cases[] = {{vesk_xa_start, "xa_start", 0x98200000},
                                                       {vesk_xa_end, "xa_end", 0x86100000},
                                                       {vesk_xa_rollback, "xa_rollback", 0x80000000},
                                                       {vesk_xa_prepare, "xa_prepare", 0x80000000},
                                                       {vesk_xa_commit, "xa_commit", 0xD0000000}};
  std::ostringstream printed;
  printed << std::hex;
  for (const auto& [verb, name, mask] : cases)
    for (int bit = 0; bit < 64; ++bit) {
      const bool accepted = mask >> bit & 1;  // then it comes as far as the missing XID
      EXPECT_EQ(verb(nullptr, kRmid, static_cast<long>(1UL << bit)), accepted ? XAER_INVAL : XAER_PROTO) << bit;
      if (accepted) continue;
      printed << "[VeskXA] " << name << " invalid flag[" << (bit < 32 ? "0x" : "") << (1UL << bit & 0xffffffff)
              << "]\n";
    }
  EXPECT_EQ(vesk_xa_close(nullptr, 0, TMFAIL), XAER_PROTO);
  vesk_xa_close(nullptr, 0, TMASYNC);
  EXPECT_EQ(vesk_xa_open(nullptr, kRmid, TMNOWAIT), XAER_PROTO);
  printed << "[VeskXA] xa_cloase invalid flag[0x20000000]\n[VeskXA] xa_open invalid flag[0x10000000]\n";
  EXPECT_EQ(console.text(), printed.str());
}

TEST_F(LinkTest, StartSendsTheBranchAndTakesTheTransaction) {
  gateway.send(Wire{.size = 136, .msgtype = 1149, .txid = {0x01020304, 5, 0x80000001}, .handle = 0xffffffff});
  XID xid = branch();
  EXPECT_EQ(vesk_xa_start(&xid, kRmid, TMJOIN), XA_OK);
  EXPECT_EQ(txid[0], 0x01020304);
  EXPECT_EQ(txid[1], 5);
  EXPECT_EQ(txid[2], static_cast<std::int32_t>(0x80000001));
  EXPECT_EQ(gateway.message(),
            bytes("90 35 20 82  00 00 00 00  00 00 00 04  00 00 00 a6"      // magic, seqno, type, size
                  "00 00 00 95") +                                          // msgtype 149
                std::string(80, '\0') +                                     // result, txid, texts
                bytes("00 00 00 1e  00 20 00 00  00 00 00 00  00 00 00 00"  // datalen, flags
                      "00 00 00 00  00 00 00 00  ff ff ff ff  00 00 00 07"  // handle, rmid
                      "00 00 00 00"
                      "01 00 00 00 00 00 00 00  04 00 00 00 00 00 00 00"
                      "02 00 00 00 00 00 00 00  47 30 30 31 42 31"));
  EXPECT_TRUE(gateway.quiet());
}

// A request for branch() with the header words that differ.
Wire request(std::uint32_t seqno, std::uint32_t code, long flags, std::uint32_t handle = 0xffffffff) {
  const XID xid = branch();
  return {.seqno = seqno,
          .type = 4,
          .size = 166,
          .msgtype = code,
          .flags = static_cast<std::uint32_t>(flags),
          .handle = handle,
          .rmid = kRmid,
          .payload = {reinterpret_cast<const char*>(&xid), 30}};
}

TEST_F(LinkTest, EachVerbHasItsCodeAndGivesBackTheResult) {
  const std::tuple<Verb, long, std::uint32_t> cases[] = {
      {vesk_xa_end, TMSUCCESS, 150},     {vesk_xa_prepare, 0, 112},       {vesk_xa_commit, 0, 113},
      {vesk_xa_commit, TMONEPHASE, 116}, {vesk_xa_commit, TMNOWAIT, 113}, {vesk_xa_rollback, 0, 114}};
  XID xid = branch();
  std::string printed;
  std::uint32_t seqno = 0;
  txid[0] = 77;
  for (const auto& [verb, flags, code] : cases) {
    for (const std::uint32_t kind : {1000u, 2000u}) {
      gateway.send(Wire{.msgtype = code + kind, .result = 0xfffffffc, .txid = {1, 2, 3}});
      EXPECT_EQ(verb(&xid, kRmid, flags), XAER_NOTA);
      EXPECT_EQ(gateway.message(), request(seqno++, code, flags).bytes());
    }
    printed += "[VeskXA] do_request fail[-4][" + std::to_string(code + 2000) + "]\n";
  }
  EXPECT_EQ(txid[0], 77) << "only a start names a transaction";
  EXPECT_EQ(console.text(), printed);
}

TEST_F(LinkTest, XidLengthsAreJudgedBeforeAnythingIsSent) {
  XID xid = branch();
  EXPECT_EQ(_get_xid_size(&xid), 30);
  EXPECT_EQ(vesk_xa_start(nullptr, kRmid, 0), XAER_INVAL);
  EXPECT_EQ(vesk_xa_start(&xid, kRmid + 1, 0), XAER_INVAL);
  const std::pair<long, long> bad[] = {{-1, 2}, {2, -1}, {65, 64}, {0x7fffffff, 0x7fffffff}, {0x80000000, 0}};
  for (const auto& [gtrid, bqual] : bad) {
    xid.gtrid_length = gtrid;
    xid.bqual_length = bqual;
    EXPECT_EQ(vesk_xa_start(&xid, kRmid, 0), XAER_INVAL) << gtrid << " " << bqual;
  }
  EXPECT_TRUE(gateway.quiet());
  xid.gtrid_length = 0x100000080;  // the low 32 bits count: 128
  xid.bqual_length = 0;
  gateway.send(Wire{.msgtype = 1150});
  EXPECT_EQ(vesk_xa_end(&xid, kRmid, 0), XA_OK);
  EXPECT_EQ(gateway.message().size(), 136u + 152);
  EXPECT_EQ(console.text(), "");
}

TEST_F(LinkTest, FailsWithoutAnAnswer) {
  XID xid = branch();
  EXPECT_EQ(vesk_xa_commit(&xid, kRmid, TMNOWAIT), XAER_RMERR);
  open("+timeout=1");
  EXPECT_EQ(vesk_xa_prepare(&xid, kRmid, 0), XAER_RMERR);
  gateway.finish();
  EXPECT_EQ(vesk_xa_end(&xid, kRmid, 0), XAER_RMERR);
  const std::string fd = std::to_string(_gwfd);
  open("+timeout=1");
  gateway.reset();
  EXPECT_EQ(vesk_xa_rollback(&xid, kRmid, 0), XAER_RMFAIL);
  EXPECT_EQ(console.text(),
            "[VeskXA] recv timeout[0]\n[VeskXA] recv msg fail[113]\n"
            "[VeskXA] recv timeout[1]\n[VeskXA] recv msg fail[112]\n"
            "[VeskXA] read from xagw error! [" +
                fd +
                ":0:136]\n[VeskXA] recv fail\n[VeskXA] recv msg fail[150]\n"
                "[VeskXA] write to xagw fail! [" +
                fd +
                ":114:-1:166]\n"
                "[VeskXA] send to xagw fail! [114][-1]\n[VeskXA] send msg fail[114]\n");
  EXPECT_EQ(_xa_opensw, 1) << "a failed verb leaves the link open";
}

// The code and the result of a complete.
std::pair<int, int> completed(int handle, long flags, int rmid = kRmid) {
  int result = 99;
  const int code = vesk_xa_complete(&handle, &result, rmid, flags);
  return {code, result};
}

TEST_F(LinkTest, SynchronousWaitSortsOutWhatArrives) {
  for (const Wire& message : {Wire{.magic = 0x90352083, .msgtype = 1149}, Wire{.msgtype = 1150, .cd = 41, .handle = 41},
                              Wire{.msgtype = 1150, .handle = 0xffffffff}, Wire{.msgtype = 3149, .handle = 0xffffffff},
                              Wire{.msgtype = 1149, .result = 3}})
    gateway.send(message);
  XID xid = branch();
  EXPECT_EQ(vesk_xa_start(&xid, kRmid, 0), XA_RDONLY);
  EXPECT_EQ(console.text(),
            "[VeskXA] invalid magic[-1875566461]\n[VeskXA] invalid msgtype[1150]\n"
            "[VeskXA] invalid msgtype[1150]\n[VeskXA] invalid msgtype[3149]\n");
  EXPECT_EQ(completed(41, TMNOWAIT), std::pair(XA_OK, 0)) << "the one with a handle was kept";
  EXPECT_EQ(completed(41, TMNOWAIT), std::pair(XA_RETRY, 99));
}

TEST_F(LinkTest, AsynchronousRequestsAreCompletedByHandle) {
  XID xid = branch();
  txid[0] = 77;
  const int first = vesk_xa_start(&xid, kRmid, TMASYNC);
  const int second = vesk_xa_end(&xid, kRmid, TMASYNC);
  EXPECT_EQ(second, first + 1);
  const auto at = static_cast<std::uint32_t>(first);
  EXPECT_EQ(gateway.message(), request(0, 149, TMASYNC, at).bytes());
  EXPECT_EQ(completed(second, TMNOWAIT), std::pair(XA_RETRY, 99));
  EXPECT_EQ(completed(second, 0, kRmid + 1), std::pair(XAER_INVAL, 99));

  // Out of order: the wait for the second keeps the first, and a failure is a result like any other.
  gateway.send(Wire{.msgtype = 1149, .result = 0, .txid = {1, 2, 3}, .cd = at, .handle = at});
  gateway.send(Wire{.msgtype = 2150, .result = 0xfffffffa, .cd = at + 1, .handle = at + 1});
  EXPECT_EQ(completed(second, 0), std::pair(XA_OK, XAER_PROTO));
  EXPECT_EQ(completed(first, 0), std::pair(XA_OK, XA_OK));
  EXPECT_EQ(txid[0], 77) << "an asynchronous start names no transaction";
  gateway.finish();
  EXPECT_EQ(completed(first, 0), std::pair(XAER_RMERR, 99));
  EXPECT_THAT(console.text(), testing::EndsWith("[VeskXA] recv fail\n[VeskXA] xa_complete recv msg fail\n"));
}

}  // namespace
