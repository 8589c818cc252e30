// Transaction branches and their states, by the state tables of the XA standard: which verb is allowed when, and what
// it answers otherwise. Knows nothing of messages; connections are numbers.
//
//   association of a connection with a branch:  none -> active <-> suspended -> none
//   branch:  active (some connection is) -> idle -> prepared -> gone;  rollback-only from active or idle
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gateway/ledger.h"
#include "gateway/xid.h"

namespace vxa::gateway {

using ConnectionId = std::uint64_t;
using TxId = std::array<std::int32_t, 3>;

struct Branch {
  struct Association {
    ConnectionId connection;
    bool suspended;
  };

  TxId txid{};
  std::shared_ptr<Changes> changes;  // what it has done to the ledger so far
  std::vector<Association> associations{};
  bool prepared = false;
  bool worked = false;    // a service was called in it
  int rollback_code = 0;  // not 0: the branch can only be rolled back, and this XA_RB code says why
};

// The verbs answer an XA code.
class Branches {
 public:
  // Takes up the prepared branches that the store holds.
  Branches(Store& store, Ledger& ledger);

  // flags: TMJOIN, TMRESUME; a success stores the identifier that calls in the branch carry.
  int start(ConnectionId connection, const Xid& xid, std::uint32_t flags, TxId& txid);

  // flags: one of TMSUCCESS, TMSUSPEND, TMFAIL, and TMMIGRATE beside TMSUSPEND.
  int end(ConnectionId connection, const Xid& xid, std::uint32_t flags);

  int prepare(const Xid& xid);
  int commit(const Xid& xid, bool one_phase);
  int rollback(const Xid& xid);

  // The branch that a call belongs to: the one of that identifier, if the connection is active in it. Valid until the
  // next verb.
  Branch* active(ConnectionId connection, const TxId& txid);

  // A service that was called in the branch has failed: it can only be rolled back, unless it is prepared or gone.
  void doom(const TxId& txid, int rollback_code);

  // A connection is gone. Branches that it had not ended are rolled back, or, where others work in them, doomed.
  void disconnected(ConnectionId connection);

  std::size_t count() const { return branches_.size(); }

 private:
  using Table = std::map<Xid, Branch>;

  bool busy(ConnectionId connection) const;
  int finish(Table::iterator branch, int code);

  Store& store_;
  Ledger& ledger_;
  Table branches_;
  TxId next_txid_;
};

}  // namespace vxa::gateway
