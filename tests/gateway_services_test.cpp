// The gateway and the library together: transactions over the ledger that outlive a kill, and commands as services.
#include <chrono>
#include <csignal>

#include "gateway/assignment_text.h"
#include "gateway/ledger.h"
#include "gateway/ledger_fields.h"
#include "tests/support/gateway_process.h"
#include "tests/support/test.h"

namespace vxa::gateway {
namespace {

namespace field = ledger_field;

XID branch_named(const char* name) {
  XID xid{};
  xid.formatID = 1;
  xid.gtrid_length = static_cast<long>(std::strlen(name));
  std::strcpy(xid.data, name);
  return xid;
}

// The library's link to a gateway, for as long as the object lives.
class OpenLink {
 public:
  explicit OpenLink(const GatewayProcess& gateway) {
    std::string info = "timeout=5+host=127.0.0.1:" + std::to_string(gateway.port());
    EXPECT_EQ(vesk_xa_open(info.data(), 1, 0), XA_OK);
  }
  ~OpenLink() { vesk_xa_close(nullptr, 1, 0); }
};

struct Answer {
  int result;  // of tpcall
  int error;
  long code;
  Buffer data;
};

Answer call(const char* service, Buffer request, long flags = 0) {
  const long sent = header_of(request).datalen;
  char* buffer = request.release();
  long received = 0;
  const int result = tpcall(service, buffer, sent, &buffer, &received, flags);
  return {result, tperrno, tpurcode, Buffer{buffer}};
}

Buffer record(const char* account, long amount = 0, const char* to = nullptr) {
  Buffer buffer = make_buffer("FIELD", 1024);
  fbput(buffer.get(), field::kAccount, account, 0);
  if (amount) fbput(buffer.get(), field::kAmount, &amount, 0);
  if (to) fbput(buffer.get(), field::kToAccount, to, 0);
  set_field_length(buffer);
  return buffer;
}

int balance_in(const Answer& answer) { return fbgetvali(answer.data.get(), field::kBalance, 0); }
std::string message_in(const Answer& answer) { return fbgetvals(answer.data.get(), field::kMessage, 0); }

TEST(GatewayLedger, MoneyMovesWithItsBranchOverAKill) {
  const TempDir folder;
  Options options;
  options.database = folder.path("ledger.db");
  XID opening = branch_named("opening");
  XID paying = branch_named("paying");
  {
    GatewayProcess gateway(options);
    const OpenLink link(gateway);
    ASSERT_EQ(vesk_xa_start(&opening, 1, 0), XA_OK);
    for (const char* account : {"alice", "bob"}) ASSERT_EQ(call("OPEN", record(account)).result, 1);
    const Answer deposited = call("DEPOSIT", record("alice", 300));
    ASSERT_EQ(deposited.result, 1);
    EXPECT_EQ(balance_in(deposited), 300);
    ASSERT_EQ(vesk_xa_end(&opening, 1, TMSUCCESS), XA_OK);
    EXPECT_EQ(call("BALANCE", record("alice")).code, Refusal::kNoAccount) << "not committed";
    ASSERT_EQ(vesk_xa_commit(&opening, 1, TMONEPHASE), XA_OK);
    EXPECT_EQ(balance_in(call("BALANCE", record("alice"))), 300) << "outside of any transaction";
    EXPECT_EQ(call("DEPOSIT", record("alice", 1)).code, Refusal::kNoTransaction);

    ASSERT_EQ(vesk_xa_start(&paying, 1, 0), XA_OK);
    EXPECT_EQ(balance_in(call("TRANSFER", record("alice", 120, "bob"))), 180);
    // A request that still holds the answer to the one before.
    Answer again = call("TRANSFER", record("alice", 30, "bob"));
    set_field_length(again.data);
    EXPECT_EQ(balance_in(call("TRANSFER", std::move(again.data))), 120);
    ASSERT_EQ(vesk_xa_end(&paying, 1, TMSUCCESS), XA_OK);
    ASSERT_EQ(vesk_xa_prepare(&paying, 1, 0), XA_OK);
    gateway.end(SIGKILL);
    EXPECT_EQ(vesk_xa_commit(&paying, 1, 0), XAER_RMERR);
  }
  GatewayProcess gateway(options);
  const OpenLink link(gateway);
  EXPECT_EQ(balance_in(call("BALANCE", record("alice"))), 300);
  ASSERT_EQ(vesk_xa_commit(&paying, 1, 0), XA_OK);
  EXPECT_EQ(balance_in(call("BALANCE", record("alice"))), 120);
  EXPECT_EQ(balance_in(call("BALANCE", record("bob"))), 180);
  EXPECT_EQ(vesk_xa_commit(&paying, 1, 0), XAER_NOTA);
}

TEST(GatewayLedger, ARefusalSaysWhyAndDoomsTheBranch) {
  GatewayProcess gateway;
  const OpenLink link(gateway);
  XID branch = branch_named("refused");
  ASSERT_EQ(vesk_xa_start(&branch, 1, 0), XA_OK);
  ASSERT_EQ(call("OPEN", record("alice")).result, 1);
  EXPECT_EQ(call("FAIL", make_string("x"), TPNOTRAN).error, TPESVCFAIL);
  EXPECT_EQ(vesk_xa_end(&branch, 1, TMSUSPEND), XA_OK) << "what is called outside of the branch dooms nothing";
  EXPECT_EQ(vesk_xa_start(&branch, 1, TMRESUME), XA_OK);
  const Answer missing = call("TRANSFER", record("alice", 5));
  EXPECT_EQ(missing.error, TPESVCFAIL);
  EXPECT_EQ(missing.code, Refusal::kBadRequest);
  EXPECT_EQ(message_in(missing), "the field TO_ACCOUNT is missing");
  EXPECT_EQ(message_in(call("DEPOSIT", record("alice", -5))), "the amount must be above 0");
  EXPECT_EQ(call("DEPOSIT", make_string("no fields")).error, TPEITYPE);
  EXPECT_EQ(vesk_xa_end(&branch, 1, TMSUCCESS), XA_RBROLLBACK);
  EXPECT_EQ(vesk_xa_rollback(&branch, 1, 0), XA_OK);
  EXPECT_EQ(call("BALANCE", record("alice")).code, Refusal::kNoAccount);
}

class GatewayCommands : public testing::Test {
 protected:
  static Options commands() {
    Options options;
    options.command_limit = std::chrono::seconds{1};
    options.commands = {{"REVERSE", "rev"},
                        {"SIX", "cat > /dev/null; echo six times: no; exit 6"},
                        {"HANG", "sleep 100 & sleep 100"},
                        {"DEAF", "echo heard nothing"},
                        {"CRASH", "kill -SEGV $$"},
                        {"LEDGER", "sed -n 's/^#268436459\t/#268436460\t1/p'"},  // AMOUNT to BALANCE, a 1 in front
                        {"GARBAGE", "echo garbage"},
                        {"BINARY", "cat"},
                        {"FILES", "ls /proc/self/fd | wc -l"}};
    return options;
  }

  GatewayProcess gateway{commands()};
  OpenLink link{gateway};
};

TEST_F(GatewayCommands, GetTheRequestAndGiveTheAnswer) {
  EXPECT_STREQ(call("DEAF", make_string(std::string(300'000, 'x'))).data.get(), "heard nothing\n")
      << "a command need not read its input";
  EXPECT_STREQ(call("FILES", make_string("")).data.get(), "4\n") << "its three and the one that lists them";
  EXPECT_EQ(balance_in(call("LEDGER", record("alice", 25))), 125) << "fields travel as assignment text";

  std::string bytes(200'000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7);
  Buffer request = make_buffer("CARRAY", static_cast<std::int64_t>(bytes.size()));
  bytes.copy(request.get(), bytes.size());
  header_of(request).datalen = static_cast<std::int32_t>(bytes.size());
  const Answer answer = call("BINARY", std::move(request));
  ASSERT_EQ(header_of(answer.data).datalen, static_cast<std::int32_t>(bytes.size()));
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), answer.data.get()));
}

TEST_F(GatewayCommands, FailuresAndTheTimeLimit) {
  const Answer six = call("SIX", make_string("x"));
  EXPECT_EQ(six.error, TPESVCFAIL);
  EXPECT_EQ(six.code, 6);
  EXPECT_STREQ(six.data.get(), "six times: no\n");
  EXPECT_EQ(call("GARBAGE", record("alice")).error, TPESVCERR);
  EXPECT_EQ(call("CRASH", make_string("x")).error, TPESVCERR);

  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(call("HANG", make_string("x")).error, TPESVCERR);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds{5});
  EXPECT_STREQ(call("REVERSE", make_string("still here")).data.get(), "ereh llits");
}

}  // namespace
}  // namespace vxa::gateway
