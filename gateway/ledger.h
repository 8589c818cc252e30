// The rules of the ledger: accounts with a balance in cents, changed by branches that may yet be rolled back.
//
// Whatever a branch was allowed to stage can be committed later, in any order with what the others have staged: no
// balance ever falls below 0 or rises above kLargestBalance, whichever of the open branches come to nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "gateway/store.h"

namespace vxa::gateway {

// A field of type long holds 32 bits.
inline constexpr std::int64_t kLargestBalance = 2147483647;

// The ledger does not do that; code() is the application return code of the service that asked.
class Refusal : public std::runtime_error {
 public:
  enum Code : int { kNotCovered = 1, kNoAccount, kAccountExists, kBadRequest, kTooMuch, kNoTransaction };

  Refusal(Code code, const std::string& why) : std::runtime_error(why), code_(code) {}
  Code code() const { return code_; }

 private:
  Code code_;
};

class Ledger {
 public:
  explicit Ledger(Store& store) : store_(store) {}

  // The changes of a new branch, empty, or those of one that was prepared in an earlier life. They count as staged as
  // long as the branch keeps them.
  std::shared_ptr<Changes> begin(Changes changes = {});

  // Stage one change each into the changes of a branch and give the balance that it then sees; throw Refusal, and leave
  // the changes as they were, when the rules forbid it.
  std::int64_t open(Changes& branch, const std::string& account);
  std::int64_t deposit(Changes& branch, const std::string& account, std::int64_t amount);
  std::int64_t transfer(Changes& branch, const std::string& from, const std::string& to, std::int64_t amount);

  // As the branch sees it; outside of any branch (null) what is committed.
  std::int64_t balance(const Changes* branch, const std::string& account);

 private:
  void check(const Changes& branch, const std::string& account, std::int64_t amount);
  std::vector<std::shared_ptr<const Changes>> others(const Changes& branch);

  Store& store_;
  std::vector<std::weak_ptr<const Changes>> open_branches_;
};

}  // namespace vxa::gateway
