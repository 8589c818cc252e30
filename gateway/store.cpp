#include "gateway/store.h"

#include <sqlite3.h>

namespace vxa::gateway {

namespace {

constexpr const char* kSchema = R"(
  PRAGMA locking_mode = EXCLUSIVE;
  PRAGMA journal_mode = WAL;
  PRAGMA synchronous = FULL;
  CREATE TABLE IF NOT EXISTS account (
    name TEXT PRIMARY KEY,
    balance INTEGER NOT NULL CHECK (balance >= 0)
  ) WITHOUT ROWID;
  CREATE TABLE IF NOT EXISTS prepared (
    xid BLOB PRIMARY KEY
  ) WITHOUT ROWID;
  CREATE TABLE IF NOT EXISTS change (
    xid BLOB NOT NULL,
    account TEXT NOT NULL,
    opens INTEGER NOT NULL,
    amount INTEGER NOT NULL,
    PRIMARY KEY (xid, account)
  ) WITHOUT ROWID;
)";

[[noreturn]] void fail(sqlite3* database) { throw StoreError(std::string("database: ") + sqlite3_errmsg(database)); }

// A prepared SQL statement whose parameters are bound in order.
class Statement {
 public:
  Statement(sqlite3* database, const char* sql) : database_(database) {
    if (sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr) != SQLITE_OK) fail(database);
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement() { sqlite3_finalize(statement_); }

  Statement& with(const Xid& xid) {
    const std::string& bytes = xid.bytes();
    return checked(
        sqlite3_bind_blob(statement_, ++bound_, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT));
  }
  Statement& with(const std::string& text) {
    return checked(
        sqlite3_bind_text(statement_, ++bound_, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
  }
  Statement& with(std::int64_t number) { return checked(sqlite3_bind_int64(statement_, ++bound_, number)); }

  // Whether there is a (further) row.
  bool step() {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) fail(database_);
    return result == SQLITE_ROW;
  }

  std::int64_t number(int column) { return sqlite3_column_int64(statement_, column); }
  std::string text(int column) {
    const void* bytes = sqlite3_column_blob(statement_, column);
    const auto length = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
    return bytes ? std::string(static_cast<const char*>(bytes), length) : std::string();
  }

 private:
  Statement& checked(int result) {
    if (result != SQLITE_OK) fail(database_);
    return *this;
  }

  sqlite3* database_;
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
};

// Rolls back unless it was committed.
class Transaction {
 public:
  explicit Transaction(sqlite3* database) : database_(database) { Statement(database, "BEGIN IMMEDIATE").step(); }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction() {
    if (!committed_) sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
  }
  void commit() {
    Statement(database_, "COMMIT").step();
    committed_ = true;
  }

 private:
  sqlite3* database_;
  bool committed_ = false;
};

void forget_prepared(sqlite3* database, const Xid& xid) {
  Statement(database, "DELETE FROM change WHERE xid = ?").with(xid).step();
  Statement(database, "DELETE FROM prepared WHERE xid = ?").with(xid).step();
}

void apply(sqlite3* database, const std::string& account, const Change& change) {
  if (change.opens) Statement(database, "INSERT INTO account VALUES (?, 0)").with(account).step();
  Statement(database, "UPDATE account SET balance = balance + ? WHERE name = ?")
      .with(change.amount)
      .with(account)
      .step();
  if (sqlite3_changes(database) != 1) throw StoreError("database: the account " + account + " is gone");
}

}  // namespace

void Store::Close::operator()(sqlite3* database) const { sqlite3_close(database); }

Store::Store(const std::string& file) {
  sqlite3* opened = nullptr;
  const int result = sqlite3_open(file.c_str(), &opened);
  database_.reset(opened);
  if (!opened) throw StoreError("database: no memory");
  if (result != SQLITE_OK) throw StoreError(file + ": " + sqlite3_errmsg(opened));
  try {
    run(kSchema);
    Transaction(opened).commit();  // takes the lock, which is then kept
  } catch (const StoreError& error) {
    throw StoreError(file + ": " + error.what());
  }
}

std::optional<std::int64_t> Store::balance(const std::string& account) {
  Statement query(database_.get(), "SELECT balance FROM account WHERE name = ?");
  if (!query.with(account).step()) return {};
  return query.number(0);
}

std::vector<std::pair<Xid, Changes>> Store::prepared() {
  std::vector<std::pair<Xid, Changes>> all;
  Statement branches(database_.get(), "SELECT xid FROM prepared");
  while (branches.step()) {
    const Xid xid{branches.text(0)};
    Changes changes;
    Statement rows(database_.get(), "SELECT account, opens, amount FROM change WHERE xid = ?");
    rows.with(xid);
    while (rows.step()) changes[rows.text(0)] = Change{rows.number(1) != 0, rows.number(2)};
    all.emplace_back(xid, std::move(changes));
  }
  return all;
}

void Store::prepare(const Xid& xid, const Changes& changes) {
  Transaction transaction(database_.get());
  Statement(database_.get(), "INSERT INTO prepared VALUES (?)").with(xid).step();
  for (const auto& [account, change] : changes)
    Statement(database_.get(), "INSERT INTO change VALUES (?, ?, ?, ?)")
        .with(xid)
        .with(account)
        .with(std::int64_t{change.opens})
        .with(change.amount)
        .step();
  transaction.commit();
}

void Store::commit(const Xid& xid, const Changes& changes) {
  Transaction transaction(database_.get());
  for (const auto& [account, change] : changes) apply(database_.get(), account, change);
  forget_prepared(database_.get(), xid);
  transaction.commit();
}

void Store::forget(const Xid& xid) {
  Transaction transaction(database_.get());
  forget_prepared(database_.get(), xid);
  transaction.commit();
}

void Store::run(const char* sql) {
  if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(database_.get());
}

}  // namespace vxa::gateway
