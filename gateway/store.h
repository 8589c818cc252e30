// What outlives the gateway, in SQLite: the accounts of the ledger, and the branches that are prepared, with what each
// is going to change. Every operation is one database transaction: after a kill at any instant it has happened or not.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "gateway/xid.h"

struct sqlite3;

namespace vxa::gateway {

// What a branch does to one account: whether it opens it, and by how much it changes the balance.
struct Change {
  bool opens = false;
  std::int64_t amount = 0;
};
using Changes = std::map<std::string, Change>;  // by account

struct StoreError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Every operation throws StoreError when the database refuses, and has then changed nothing.
class Store {
 public:
  // file: of the database, made when it is not there; ":memory:" for one that ends with the process. A file serves one
  // gateway at a time.
  explicit Store(const std::string& file);

  // Nothing when there is no such account.
  std::optional<std::int64_t> balance(const std::string& account);

  std::vector<std::pair<Xid, Changes>> prepared();

  void prepare(const Xid& xid, const Changes& changes);
  void commit(const Xid& xid, const Changes& changes);  // prepared before or not
  void forget(const Xid& xid);

 private:
  struct Close {
    void operator()(sqlite3* database) const;
  };

  void run(const char* sql);

  std::unique_ptr<sqlite3, Close> database_;
};

}  // namespace vxa::gateway
