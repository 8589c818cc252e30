// The states of transaction branches as the gateway keeps them, and the ledger that they change: verbs in and out of
// order, what a lost connection and a new life leave, what two open branches may not do to each other's money.
#include <functional>

#include "gateway/branches.h"
#include "gateway/ledger.h"
#include "gateway/store.h"
#include "tests/support/test.h"

namespace vxa::gateway {
namespace {

// As they stand in a request.
constexpr std::uint32_t kSuccess = TMSUCCESS, kSuspend = TMSUSPEND, kFail = TMFAIL, kMigrate = TMMIGRATE;
constexpr std::uint32_t kJoin = TMJOIN, kResume = TMRESUME;

Xid branch_named(const std::string& name) {
  XID xid{};
  xid.formatID = 1;
  xid.gtrid_length = static_cast<long>(name.size());
  name.copy(xid.data, name.size());
  return Xid::from_payload(reinterpret_cast<const char*>(&xid), 24 + name.size()).value();
}

class GatewayBranches : public testing::Test {
 protected:
  const Xid one = branch_named("one");
  const Xid two = branch_named("two");

  Store store{":memory:"};
  Ledger ledger{store};
  Branches branches{store, ledger};
  TxId txid{};

  int start(ConnectionId connection, const Xid& xid, std::uint32_t flags = 0) {
    return branches.start(connection, xid, flags, txid);
  }
  void give(const std::string& account, std::int64_t amount) {
    store.commit(branch_named("gift"), {{account, {.opens = true, .amount = amount}}});
  }
  int refusal(const std::function<void()>& operation) {
    try {
      operation();
    } catch (const Refusal& refusal) {
      return refusal.code();
    }
    return 0;
  }
};

TEST_F(GatewayBranches, VerbsInAndOutOfOrder) {
  EXPECT_EQ(branches.end(1, one, kSuccess), XAER_NOTA);
  EXPECT_EQ(branches.prepare(one), XAER_NOTA);
  for (const std::uint32_t flags : {kJoin, kResume}) EXPECT_EQ(start(1, one, flags), XAER_NOTA);

  ASSERT_EQ(start(1, one), XA_OK);
  EXPECT_EQ(start(1, one), XAER_DUPID);
  EXPECT_EQ(start(1, two), XAER_PROTO) << "the connection works in another branch";
  EXPECT_EQ(start(1, one, kJoin | kResume), XAER_INVAL);
  EXPECT_EQ(start(1, one, kResume), XAER_PROTO) << "nothing is suspended";
  EXPECT_EQ(branches.prepare(one), XAER_PROTO) << "still active";
  EXPECT_EQ(branches.commit(one, true), XAER_PROTO);
  EXPECT_EQ(branches.rollback(one), XAER_PROTO);
  EXPECT_EQ(branches.end(2, one, kSuccess), XAER_PROTO) << "not this connection's";
  for (const std::uint32_t flags : {0u, kSuccess | kSuspend, kSuccess | kMigrate})
    EXPECT_EQ(branches.end(1, one, flags), XAER_INVAL);

  branches.active(1, txid)->worked = true;
  ASSERT_EQ(branches.end(1, one, kSuccess), XA_OK);
  EXPECT_EQ(branches.end(1, one, kSuccess), XAER_PROTO);
  EXPECT_EQ(branches.commit(one, false), XAER_PROTO) << "two phases need a prepare";

  ASSERT_EQ(branches.prepare(one), XA_OK);
  EXPECT_EQ(branches.prepare(one), XAER_PROTO);
  EXPECT_EQ(branches.commit(one, true), XAER_PROTO) << "one phase is for what is not prepared";
  EXPECT_EQ(start(2, one, kJoin), XAER_PROTO);
  EXPECT_EQ(branches.commit(one, false), XA_OK);
  EXPECT_EQ(branches.commit(one, false), XAER_NOTA);
}

TEST_F(GatewayBranches, SuspendResumeAndJoin) {
  ASSERT_EQ(start(1, one), XA_OK);
  const TxId first = txid;
  ASSERT_EQ(start(2, one, kJoin), XA_OK);
  EXPECT_EQ(txid, first) << "who joins a branch works under its identifier";
  ASSERT_EQ(branches.end(1, one, kSuspend | kMigrate), XA_NOMIGRATE);
  EXPECT_EQ(branches.active(1, first), nullptr);
  EXPECT_NE(branches.active(2, first), nullptr);
  EXPECT_EQ(start(3, one, kResume), XAER_PROTO) << "suspended by another connection";
  ASSERT_EQ(start(1, two), XA_OK) << "another branch can be worked on meanwhile";
  ASSERT_EQ(branches.end(1, two, kSuccess), XA_OK);
  ASSERT_EQ(start(1, one, kResume), XA_OK);
  ASSERT_EQ(branches.end(1, one, kSuspend), XA_OK);
  ASSERT_EQ(branches.end(2, one, kSuccess), XA_OK);
  EXPECT_EQ(branches.prepare(one), XAER_PROTO) << "a suspended association is not ended";
  EXPECT_EQ(branches.end(1, one, kSuccess), XA_OK);
  EXPECT_EQ(branches.prepare(one), XA_RDONLY) << "nothing was done in it";
  EXPECT_EQ(branches.rollback(one), XAER_NOTA) << "a read-only branch is finished by its prepare";
}

TEST_F(GatewayBranches, RollbackOnly) {
  ASSERT_EQ(start(1, one), XA_OK);
  branches.doom(txid, XA_RBROLLBACK);
  EXPECT_EQ(start(2, one, kJoin), XA_RBROLLBACK);
  EXPECT_EQ(branches.end(1, one, kSuccess), XA_RBROLLBACK);
  EXPECT_EQ(branches.commit(one, true), XA_RBROLLBACK);

  ASSERT_EQ(start(1, one), XA_OK);
  ASSERT_EQ(branches.end(1, one, kFail), XA_RBROLLBACK);
  EXPECT_EQ(branches.prepare(one), XA_RBROLLBACK);
  EXPECT_EQ(branches.prepare(one), XAER_NOTA);
}

TEST_F(GatewayBranches, LostConnection) {
  ASSERT_EQ(start(1, one), XA_OK);
  ASSERT_EQ(branches.end(1, one, kSuccess), XA_OK);
  ASSERT_EQ(start(1, two), XA_OK);
  const Xid shared = branch_named("shared");
  ASSERT_EQ(start(2, shared), XA_OK);
  ASSERT_EQ(start(3, shared, kJoin), XA_OK);
  branches.disconnected(1);
  branches.disconnected(3);
  EXPECT_EQ(branches.rollback(one), XA_OK) << "ended before the connection was lost";
  EXPECT_EQ(branches.rollback(two), XAER_NOTA) << "nobody is left to end it";
  EXPECT_EQ(branches.end(2, shared, kSuccess), XA_RBCOMMFAIL);
}

TEST_F(GatewayBranches, OpenBranchesCannotSpendTheSameMoney) {
  give("alice", 100);
  give("bob", 1);
  const auto mine = ledger.begin(), yours = ledger.begin();
  EXPECT_EQ(ledger.transfer(*mine, "alice", "bob", 60), 40);
  EXPECT_EQ(ledger.balance(&*yours, "alice"), 100) << "not committed";
  EXPECT_EQ(refusal([&] { ledger.transfer(*yours, "alice", "bob", 60); }), Refusal::kNotCovered);
  EXPECT_EQ(refusal([&] { ledger.transfer(*yours, "bob", "alice", 2); }), Refusal::kNotCovered)
      << "what another branch has staged may yet be rolled back";
  EXPECT_EQ(ledger.transfer(*mine, "bob", "alice", 61), 0) << "a branch can spend what it has got itself";
  EXPECT_EQ(refusal([&] { ledger.transfer(*yours, "bob", "alice", 1); }), Refusal::kNotCovered)
      << "bob's only coin is spoken for";
  EXPECT_EQ(ledger.transfer(*yours, "alice", "bob", 100), 0) << "of alice's nothing is, in the end";
}

TEST_F(GatewayBranches, LedgerRefusals) {
  give("alice", kLargestBalance - 10);
  const auto changes = ledger.begin(), other = ledger.begin();
  ledger.open(*changes, "new");
  ledger.deposit(*changes, "alice", 10);
  EXPECT_EQ(refusal([&] { ledger.open(*other, "alice"); }), Refusal::kAccountExists);
  EXPECT_EQ(refusal([&] { ledger.open(*other, "new"); }), Refusal::kAccountExists);
  EXPECT_EQ(refusal([&] { ledger.deposit(*other, "new", 1); }), Refusal::kNoAccount);
  EXPECT_EQ(refusal([&] { ledger.deposit(*other, "alice", 1); }), Refusal::kTooMuch);
  EXPECT_EQ(refusal([&] { ledger.transfer(*other, "alice", "alice", 1); }), Refusal::kBadRequest);
  EXPECT_TRUE(other->empty()) << "refused operations stage nothing";
}

// Three lives of a gateway on one file.
TEST(GatewayStore, PreparedBranchesOutliveTheGateway) {
  const TempDir folder;
  const std::string file = folder.path("ledger.db");
  const Xid kept = branch_named("kept");
  const Xid dropped = branch_named("dropped");
  {
    Store store(file);
    EXPECT_THROW(Store{file}, StoreError) << "one gateway at a time";
    store.prepare(kept, {{"alice", {.opens = true, .amount = 500}}});
    store.prepare(dropped, {{"bob", {.opens = true, .amount = 1}}});
    EXPECT_FALSE(store.balance("alice")) << "prepared is not committed";
  }
  {
    Store store(file);
    Ledger ledger(store);
    Branches branches(store, ledger);
    EXPECT_EQ(branches.commit(kept, false), XA_OK);
    EXPECT_EQ(branches.rollback(dropped), XA_OK);
  }
  Store store(file);
  EXPECT_TRUE(store.prepared().empty());
  EXPECT_EQ(store.balance("alice"), 500);
  EXPECT_FALSE(store.balance("bob"));
}

}  // namespace
}  // namespace vxa::gateway
