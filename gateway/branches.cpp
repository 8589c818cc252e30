#include "gateway/branches.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <utility>

#include "vxa/xa.h"

namespace vxa::gateway {

namespace {

using Association = Branch::Association;

auto association_of(Branch& branch, ConnectionId connection) {
  return std::find_if(branch.associations.begin(), branch.associations.end(),
                      [connection](const Association& each) { return each.connection == connection; });
}

bool set(std::uint32_t flags, long flag) { return flags & static_cast<std::uint32_t>(flag); }

}  // namespace

// Identifiers differ from those of the gateway's earlier lives, so that no client's late call hits a wrong branch.
Branches::Branches(Store& store, Ledger& ledger)
    : store_(store), ledger_(ledger), next_txid_{static_cast<std::int32_t>(std::time(nullptr)), 0, ::getpid()} {
  for (auto& [xid, changes] : store_.prepared())
    branches_.emplace(xid, Branch{.changes = ledger_.begin(std::move(changes)), .prepared = true, .worked = true});
}

int Branches::start(ConnectionId connection, const Xid& xid, std::uint32_t flags, TxId& txid) {
  const bool join = set(flags, TMJOIN);
  const bool resume = set(flags, TMRESUME);
  if (join && resume) return XAER_INVAL;

  const bool first = !join && !resume;
  const auto found = branches_.find(xid);
  if (first != (found == branches_.end())) return first ? XAER_DUPID : XAER_NOTA;
  if (busy(connection)) return XAER_PROTO;
  if (first) {
    ++next_txid_[1];
    txid = next_txid_;
    branches_.emplace(xid, Branch{.txid = txid, .changes = ledger_.begin(), .associations = {{connection, false}}});
    return XA_OK;
  }

  Branch& branch = found->second;
  if (branch.prepared) return XAER_PROTO;
  const auto association = association_of(branch, connection);
  const bool suspended = association != branch.associations.end();
  if (resume != suspended) return XAER_PROTO;
  if (branch.rollback_code) {
    if (resume) branch.associations.erase(association);
    return branch.rollback_code;
  }
  if (resume)
    association->suspended = false;
  else
    branch.associations.push_back({connection, false});
  txid = branch.txid;
  return XA_OK;
}

int Branches::end(ConnectionId connection, const Xid& xid, std::uint32_t flags) {
  const bool suspend = set(flags, TMSUSPEND);
  const bool fail = set(flags, TMFAIL);
  const bool migrate = set(flags, TMMIGRATE);
  if (int{suspend} + int{fail} + int{set(flags, TMSUCCESS)} != 1 || (migrate && !suspend)) return XAER_INVAL;

  const auto found = branches_.find(xid);
  if (found == branches_.end()) return XAER_NOTA;
  Branch& branch = found->second;
  const auto association = association_of(branch, connection);
  if (association == branch.associations.end()) return XAER_PROTO;
  if (suspend && association->suspended) return XAER_PROTO;

  if (fail && !branch.rollback_code) branch.rollback_code = XA_RBROLLBACK;
  if (suspend && !branch.rollback_code) {
    association->suspended = true;
    return migrate ? XA_NOMIGRATE : XA_OK;
  }
  branch.associations.erase(association);
  return branch.rollback_code;  // 0 is XA_OK
}

int Branches::prepare(const Xid& xid) {
  const auto found = branches_.find(xid);
  if (found == branches_.end()) return XAER_NOTA;
  Branch& branch = found->second;
  if (branch.prepared || !branch.associations.empty()) return XAER_PROTO;
  if (branch.rollback_code) return finish(found, branch.rollback_code);
  if (!branch.worked) return finish(found, XA_RDONLY);
  try {
    store_.prepare(xid, *branch.changes);
  } catch (const StoreError&) {
    return finish(found, XA_RBOTHER);
  }
  branch.prepared = true;
  return XA_OK;
}

int Branches::commit(const Xid& xid, bool one_phase) {
  const auto found = branches_.find(xid);
  if (found == branches_.end()) return XAER_NOTA;
  Branch& branch = found->second;
  if (branch.prepared == one_phase || !branch.associations.empty()) return XAER_PROTO;
  if (branch.rollback_code) return finish(found, branch.rollback_code);
  try {
    store_.commit(xid, *branch.changes);
  } catch (const StoreError&) {
    return one_phase ? finish(found, XA_RBOTHER) : XA_RETRY;
  }
  return finish(found, XA_OK);
}

int Branches::rollback(const Xid& xid) {
  const auto found = branches_.find(xid);
  if (found == branches_.end()) return XAER_NOTA;
  Branch& branch = found->second;
  if (!branch.associations.empty()) return XAER_PROTO;
  try {
    if (branch.prepared) store_.forget(xid);
  } catch (const StoreError&) {
    return XAER_RMFAIL;
  }
  return finish(found, XA_OK);
}

Branch* Branches::active(ConnectionId connection, const TxId& txid) {
  for (auto& [xid, branch] : branches_) {
    if (branch.prepared || branch.txid != txid) continue;
    const auto association = association_of(branch, connection);
    return association != branch.associations.end() && !association->suspended ? &branch : nullptr;
  }
  return nullptr;
}

void Branches::doom(const TxId& txid, int rollback_code) {
  for (auto& [xid, branch] : branches_)
    if (!branch.prepared && branch.txid == txid && !branch.rollback_code) branch.rollback_code = rollback_code;
}

void Branches::disconnected(ConnectionId connection) {
  for (auto at = branches_.begin(); at != branches_.end();) {
    Branch& branch = at->second;
    const auto association = association_of(branch, connection);
    if (association == branch.associations.end()) {
      ++at;
      continue;
    }
    branch.associations.erase(association);
    if (!branch.rollback_code) branch.rollback_code = XA_RBCOMMFAIL;
    at = branch.associations.empty() ? branches_.erase(at) : std::next(at);
  }
}

// Whether the connection works in some branch: it can start or join no other before it has ended or suspended that one.
bool Branches::busy(ConnectionId connection) const {
  for (const auto& [xid, branch] : branches_)
    for (const Association& each : branch.associations)
      if (each.connection == connection && !each.suspended) return true;
  return false;
}

int Branches::finish(Table::iterator branch, int code) {
  branches_.erase(branch);
  return code;
}

}  // namespace vxa::gateway
