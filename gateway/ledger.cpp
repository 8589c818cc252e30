#include "gateway/ledger.h"

#include <algorithm>
#include <utility>

namespace vxa::gateway {

namespace {

constexpr std::size_t kLongestName = 64;

const Change* find(const Changes& branch, const std::string& account) {
  const auto at = branch.find(account);
  return at == branch.end() ? nullptr : &at->second;
}

void require_amount(std::int64_t amount) {
  if (amount <= 0) throw Refusal(Refusal::kBadRequest, "the amount must be above 0");
}

}  // namespace

std::shared_ptr<Changes> Ledger::begin(Changes changes) {
  std::erase_if(open_branches_, [](const auto& branch) { return branch.expired(); });
  auto begun = std::make_shared<Changes>(std::move(changes));
  open_branches_.push_back(begun);
  return begun;
}

std::int64_t Ledger::open(Changes& branch, const std::string& account) {
  if (account.empty() || account.size() > kLongestName)
    throw Refusal(Refusal::kBadRequest, "an account name has 1 to 64 characters");
  bool exists = find(branch, account) || store_.balance(account);
  for (const auto& other : others(branch)) exists = exists || find(*other, account);
  if (exists) throw Refusal(Refusal::kAccountExists, "account " + account + " exists already");
  branch[account].opens = true;
  return 0;
}

std::int64_t Ledger::deposit(Changes& branch, const std::string& account, std::int64_t amount) {
  require_amount(amount);
  check(branch, account, amount);
  branch[account].amount += amount;
  return balance(&branch, account);
}

std::int64_t Ledger::transfer(Changes& branch, const std::string& from, const std::string& to, std::int64_t amount) {
  require_amount(amount);
  if (from == to) throw Refusal(Refusal::kBadRequest, "the two accounts are the same");
  check(branch, from, -amount);
  check(branch, to, amount);
  branch[from].amount -= amount;
  branch[to].amount += amount;
  return balance(&branch, from);
}

std::int64_t Ledger::balance(const Changes* branch, const std::string& account) {
  const std::optional<std::int64_t> committed = store_.balance(account);
  const Change* own = branch ? find(*branch, account) : nullptr;
  if (!committed && !(own && own->opens)) throw Refusal(Refusal::kNoAccount, "there is no account " + account);
  return committed.value_or(0) + (own ? own->amount : 0);
}

// Of the other branches, those count that would make it worse.
void Ledger::check(const Changes& branch, const std::string& account, std::int64_t amount) {
  const std::int64_t after = balance(&branch, account) + amount;
  std::int64_t lowest = after;
  std::int64_t highest = after;
  for (const auto& other : others(branch)) {
    const Change* change = find(*other, account);
    if (!change) continue;
    lowest += std::min<std::int64_t>(change->amount, 0);
    highest += std::max<std::int64_t>(change->amount, 0);
  }
  if (amount < 0 && lowest < 0)
    throw Refusal(Refusal::kNotCovered, "account " + account + " does not cover the amount");
  if (amount > 0 && highest > kLargestBalance)
    throw Refusal(Refusal::kTooMuch, "account " + account + " cannot hold so much");
}

std::vector<std::shared_ptr<const Changes>> Ledger::others(const Changes& branch) {
  std::vector<std::shared_ptr<const Changes>> alive;
  for (const auto& each : open_branches_)
    if (auto changes = each.lock(); changes && changes.get() != &branch) alive.push_back(std::move(changes));
  return alive;
}

}  // namespace vxa::gateway
