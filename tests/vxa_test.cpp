// The XA switch: open strings, flag masks, request images, results, asynchronous requests.
#include "xa/vxa.h"

#include <chrono>
#include <cstring>

#include "tests/support/link_test.h"
#include "xa/openstr.h"

namespace {

using peer::Console;
using peer::kRmid;
using peer::LinkTest;
using peer::Wire;

XID branch() {
  XID xid{};
  xid.formatID = 1;
  xid.gtrid_length = 4;
  xid.bqual_length = 2;
  std::memcpy(xid.data, "G001B1 and what lies behind", 27);
  return xid;
}

TEST(Switch, IsLaidOutAsTheStandardHasIt) {
  EXPECT_EQ(std::string(veskxaosw.name, 32), std::string("VeskXA") + std::string(26, '\0'));
  EXPECT_EQ(veskxaosw.flags, 0);
  EXPECT_EQ(veskxaosw.version, 40);
  void* const entries[10] = {reinterpret_cast<void*>(vesk_xa_open),     reinterpret_cast<void*>(vesk_xa_close),
                             reinterpret_cast<void*>(vesk_xa_start),    reinterpret_cast<void*>(vesk_xa_end),
                             reinterpret_cast<void*>(vesk_xa_rollback), reinterpret_cast<void*>(vesk_xa_prepare),
                             reinterpret_cast<void*>(vesk_xa_commit),   reinterpret_cast<void*>(vesk_xa_recover),
                             reinterpret_cast<void*>(vesk_xa_forget),   reinterpret_cast<void*>(vesk_xa_complete)};
  ASSERT_EQ(sizeof veskxaosw, 48 + sizeof entries);
  EXPECT_EQ(std::memcmp(reinterpret_cast<char*>(&veskxaosw) + 48, entries, sizeof entries), 0);
}

TEST(OpenString, IsReadOptionByOption) {
  const std::string name255(255, 'h');
  const std::string digits255 = std::string(254, '0') + "9";
  struct Case {
    std::string info;
    int result;
    std::string printed;
    std::string host;  // what the four variables hold afterwards; "before", 1, 2 and 3 at first
    int port;
    int level;
    int timeout;
  } cases[] = {
      {"host=10.0.0.7:900+timeout=30+dbglvl=2", 1, "", "10.0.0.7", 900, 2, 30},
      {"timeout=-4+dbglvl=0x9+host=gw:12ab", 1, "", "gw", 12, 0, -4},
      {"host=gw:99999999999", 1, "", "gw", static_cast<int>(99999999999 & 0xffffffff), 2, 3},
      {"host=a:b:c", 1, "", "a", 0, 2, 3},
      {"timeout=5", -1, "", "before", 1, 2, 3},
      {"", -1, "", "before", 1, 2, 3},
      {"hos+t=a:1", -1, "", "before", 1, 2, 3},
      {"host", -1, "[VeskXA] invalid value[host]\n", "before", 1, 2, 3},
      {"host=:9", -1, "[VeskXA] invalid host[:9]\n", "before", 1, 2, 3},
      {"host=+timeout=9", -1, "[VeskXA] invalid host[]\n", "before", 1, 2, 3},
      {"host=gw", -1, "[VeskXA] invalid port[]\n", "before", 1, 2, 3},
      {"host=gw:+timeout=9", -1, "[VeskXA] invalid port[:]\n", "before", 1, 2, 3},
      {"host=" + name255 + ":1", 1, "", name255, 1, 2, 3},
      {"host=" + name255 + "h:1", -1, "[VeskXA] invalid host[" + name255 + "h:1]\n", "before", 1, 2, 3},
      {"host=timeout.example:900+timeout=5", 1, "[VeskXA] invalid value[timeout.example:900]\n", "timeout.example", 900,
       2, 3},
      {"host=g:1+timeout=abc", 1, "", "g", 1, 2, 0},
      {"host=g:1+timeout=+dbglvl=", 1, "", "g", 1, 2, 3},
      {"host=g:1+dbglvl+timeout=8", 1, "[VeskXA] invalid value[dbglvl]\n", "g", 1, 2, 8},
      {"host=g:1+timeout=" + digits255 + "+dbglvl=0" + digits255, 1, "", "g", 1, 2, 9},
      {"host=g: +5", 1, "", "g", 0, 2, 3},  // a segment ends at the separator, also for the number in it
      // Of a segment of 1024 characters all count, of a longer one the first 1023.
      {"host=g:1+timeout" + std::string(1015, 'x') + "=7", 1, "", "g", 1, 2, 7},
      {"host=g:1+timeout" + std::string(1015, 'x') + "=77", 1, "", "g", 1, 2, 3},
      {"host=g:1+timeout" + std::string(1016, 'x') + "=7", 1,
       "[VeskXA] invalid value[timeout" + std::string(1016, 'x') + "]\n", "g", 1, 2, 3},
  };
  for (const Case& c : cases) {
    std::strcpy(vesk_hostaddr, "before");
    vesk_hostport = 1;
    _dbg_lvl = 2;
    _timeout = 3;
    Console console;
    EXPECT_EQ(parse_xainfo(c.info.c_str()), c.result) << c.info;
    EXPECT_EQ(console.text(), c.printed) << c.info;
    EXPECT_EQ(vesk_hostaddr, c.host) << c.info;
    EXPECT_EQ(vesk_hostport, c.port) << c.info;
    EXPECT_EQ(_dbg_lvl, c.level) << c.info;
    EXPECT_EQ(_timeout, c.timeout) << c.info;
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
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(vesk_xa_open(info.data(), kRmid, 0), -1);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(1000));
  EXPECT_EQ(console.text(), "[VeskXA] connect to server fail[127.0.0.1][" + info.substr(15) + "]\n");
  EXPECT_EQ(_xa_opensw, 0);
  EXPECT_EQ(_rmid, -1);
}

TEST_F(LinkTest, OpensOnceAndClosesSilently) {
  EXPECT_EQ(_xa_opensw, 1);
  EXPECT_EQ(_rmid, kRmid);
  EXPECT_EQ(_acall_size, 16);
  const int fd = _gwfd;
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
  struct Case {
    int (*verb)(XID*, int, long);
    const char* name;
    long accepted;
  } cases[] = {{vesk_xa_start, "xa_start", 0x98200000},
               {vesk_xa_end, "xa_end", 0x86100000},
               {vesk_xa_rollback, "xa_rollback", 0x80000000},
               {vesk_xa_prepare, "xa_prepare", 0x80000000},
               {vesk_xa_commit, "xa_commit", 0xD0000000}};
  std::string printed;
  for (const Case& c : cases)
    for (int bit = 0; bit < 64; ++bit) {
      const long flag = static_cast<long>(1UL << bit);
      // Accepted flags come as far as the missing XID.
      EXPECT_EQ(c.verb(nullptr, kRmid, flag), c.accepted & flag ? XAER_INVAL : XAER_PROTO) << c.name << " " << bit;
      if (c.accepted & flag) continue;
      char line[80];
      std::snprintf(line, sizeof line, "[VeskXA] %s invalid flag[%#x]\n", c.name, static_cast<unsigned>(flag));
      printed += line;
    }
  EXPECT_EQ(vesk_xa_close(nullptr, 0, TMFAIL), XAER_PROTO);
  printed += "[VeskXA] xa_cloase invalid flag[0x20000000]\n";
  vesk_xa_close(nullptr, 0, TMASYNC);
  EXPECT_EQ(vesk_xa_open(nullptr, kRmid, TMNOWAIT), XAER_PROTO);
  printed += "[VeskXA] xa_open invalid flag[0x10000000]\n";
  EXPECT_EQ(console.text(), printed);
}

TEST_F(LinkTest, StartSendsTheBranchAndTakesTheTransaction) {
  gateway.send(Wire{.size = 136, .msgtype = 1149, .txid = {0x01020304, 5, 0x80000001}, .handle = 0xffffffff});
  XID xid = branch();
  EXPECT_EQ(vesk_xa_start(&xid, kRmid, TMJOIN), XA_OK);
  EXPECT_EQ(txid[0], 0x01020304);
  EXPECT_EQ(txid[1], 5);
  EXPECT_EQ(txid[2], static_cast<std::int32_t>(0x80000001));
  EXPECT_EQ(gateway.message(),
            host::bytes("90 35 20 82  00 00 00 00  00 00 00 04  00 00 00 a6"  // magic, seqno, type, size
                        "00 00 00 95  00 00 00 00  00 00 00 00  00 00 00 00"  // msgtype 149
                        "00 00 00 00  00 00 00 00") +
                std::string(12 + 16 + 32, '\0') +                                 // txid, texts
                host::bytes("00 00 00 1e  00 20 00 00  00 00 00 00  00 00 00 00"  // datalen, flags
                            "00 00 00 00  00 00 00 00  ff ff ff ff  00 00 00 07"  // handle, rmid
                            "00 00 00 00"
                            "01 00 00 00 00 00 00 00  04 00 00 00 00 00 00 00"
                            "02 00 00 00 00 00 00 00  47 30 30 31 42 31"));
  EXPECT_TRUE(gateway.quiet());
}

TEST_F(LinkTest, EachVerbHasItsCodeAndGivesBackTheResult) {
  struct Case {
    int (*verb)(XID*, int, long);
    long flags;
    std::uint32_t code;
  } cases[] = {{vesk_xa_end, TMSUCCESS, 150},     {vesk_xa_prepare, 0, 112},       {vesk_xa_commit, 0, 113},
               {vesk_xa_commit, TMONEPHASE, 116}, {vesk_xa_commit, TMNOWAIT, 113}, {vesk_xa_rollback, 0, 114}};
  XID xid = branch();
  std::string printed;
  std::uint32_t seqno = 0;
  const std::string payload(reinterpret_cast<const char*>(&xid), 30);
  txid[0] = 77;
  for (const Case& c : cases) {
    for (const std::uint32_t kind : {1000u, 2000u}) {
      gateway.send(Wire{.msgtype = c.code + kind, .result = 0xfffffffc, .txid = {1, 2, 3}});
      EXPECT_EQ(c.verb(&xid, kRmid, c.flags), XAER_NOTA);
      EXPECT_EQ(gateway.message(), (Wire{.seqno = seqno++,
                                         .type = 4,
                                         .size = 166,
                                         .msgtype = c.code,
                                         .flags = static_cast<std::uint32_t>(c.flags),
                                         .handle = 0xffffffff,
                                         .rmid = 7,
                                         .payload = payload})
                                       .bytes());
    }
    printed += "[VeskXA] do_request fail[-4][" + std::to_string(c.code + 2000) + "]\n";
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
  const int fd = _gwfd;
  const std::string at = std::string("[") + std::to_string(fd) + ":";
  open("+timeout=1");
  gateway.reset();
  EXPECT_EQ(vesk_xa_rollback(&xid, kRmid, 0), XAER_RMFAIL);
  EXPECT_EQ(console.text(),
            "[VeskXA] recv timeout[0]\n[VeskXA] recv msg fail[113]\n"
            "[VeskXA] recv timeout[1]\n[VeskXA] recv msg fail[112]\n"
            "[VeskXA] read from xagw error! " +
                at +
                "0:136]\n[VeskXA] recv fail\n"
                "[VeskXA] recv msg fail[150]\n"
                "[VeskXA] write to xagw fail! " +
                at +
                "114:-1:166]\n"
                "[VeskXA] send to xagw fail! [114][-1]\n[VeskXA] send msg fail[114]\n");
  EXPECT_EQ(_xa_opensw, 1) << "a failed verb leaves the link open";
}

// Strays in front of the reply: bad magic, another type with and without a handle.
TEST_F(LinkTest, SynchronousWaitSortsOutWhatArrives) {
  gateway.send(Wire{.magic = 0x90352083, .msgtype = 1149});
  gateway.send(Wire{.msgtype = 1150, .cd = 41, .handle = 41});
  gateway.send(Wire{.msgtype = 1150, .handle = 0xffffffff});
  gateway.send(Wire{.msgtype = 3149, .handle = 0xffffffff});
  gateway.send(Wire{.msgtype = 1149, .result = 3});
  XID xid = branch();
  EXPECT_EQ(vesk_xa_start(&xid, kRmid, 0), XA_RDONLY);
  EXPECT_EQ(console.text(),
            "[VeskXA] invalid magic[-1875566461]\n[VeskXA] invalid msgtype[1150]\n"
            "[VeskXA] invalid msgtype[1150]\n[VeskXA] invalid msgtype[3149]\n");
  int handle = 41;
  int result = 9;
  EXPECT_EQ(vesk_xa_complete(&handle, &result, kRmid, TMNOWAIT), XA_OK) << "the one with a handle was kept";
  EXPECT_EQ(result, 0);
  EXPECT_EQ(vesk_xa_complete(&handle, &result, kRmid, TMNOWAIT), XA_RETRY);
}

TEST_F(LinkTest, AsynchronousRequestsAreCompletedByHandle) {
  XID xid = branch();
  txid[0] = 77;
  const int first = vesk_xa_start(&xid, kRmid, TMASYNC);
  const int second = vesk_xa_end(&xid, kRmid, TMASYNC);
  EXPECT_EQ(second, first + 1);
  const auto at = static_cast<std::uint32_t>(first);
  EXPECT_EQ(gateway.message(), (Wire{.seqno = 0,
                                     .type = 4,
                                     .size = 166,
                                     .msgtype = 149,
                                     .flags = 0x80000000,
                                     .handle = at,
                                     .rmid = 7,
                                     .payload = std::string(reinterpret_cast<const char*>(&xid), 30)})
                                   .bytes());
  int handle = second;
  int result = 99;
  EXPECT_EQ(vesk_xa_complete(&handle, &result, kRmid, TMNOWAIT), XA_RETRY);
  EXPECT_EQ(vesk_xa_complete(&handle, &result, kRmid + 1, 0), XAER_INVAL);
  EXPECT_EQ(result, 99);

  // Out of order: the wait for the second keeps the first, and a failure is a result like any other.
  gateway.send(Wire{.msgtype = 1149, .result = 0, .txid = {1, 2, 3}, .cd = at, .handle = at});
  gateway.send(Wire{.msgtype = 2150, .result = 0xfffffffa, .cd = at + 1, .handle = at + 1});
  EXPECT_EQ(vesk_xa_complete(&handle, &result, kRmid, 0), XA_OK);
  EXPECT_EQ(result, XAER_PROTO);
  handle = first;
  EXPECT_EQ(vesk_xa_complete(&handle, &result, kRmid, 0), XA_OK);
  EXPECT_EQ(result, XA_OK);
  EXPECT_EQ(txid[0], 77) << "an asynchronous start names no transaction";
  gateway.finish();
  EXPECT_EQ(vesk_xa_complete(&handle, &result, kRmid, 0), XAER_RMERR);
  EXPECT_THAT(console.text(), testing::EndsWith("[VeskXA] recv fail\n[VeskXA] xa_complete recv msg fail\n"));
}

}  // namespace
