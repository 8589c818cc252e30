// The ledger as services on field buffers:
//
//   OPEN      ACCOUNT                      opens an account without money
//   DEPOSIT   ACCOUNT AMOUNT               gives BALANCE
//   TRANSFER  ACCOUNT TO_ACCOUNT AMOUNT    gives BALANCE (of ACCOUNT)
//   BALANCE   ACCOUNT                      gives BALANCE; the only one that may be called outside of a transaction
//
// The reply is the request with the result added. A service that refuses fails with the code of the refusal as
// application return code, and MESSAGE in the reply says why.
#include <utility>

#include "gateway/assignment_text.h"
#include "gateway/ledger_fields.h"
#include "gateway/services.h"
#include "vxa/fbuf.h"

namespace vxa::gateway {

namespace {

namespace field = ledger_field;

// The room that an answer's fields take beside the request's.
constexpr int kAnswerFields = 4;
constexpr int kAnswerBytes = 512;

std::string text_of(const Buffer& request, int key, const char* name) {
  const auto* text = static_cast<const char*>(fbgetval(request.get(), key, 0, nullptr));
  if (!text) throw Refusal(Refusal::kBadRequest, std::string("the field ") + name + " is missing");
  return text;
}

std::int64_t amount_of(const Buffer& request) {
  const auto* amount = static_cast<const long*>(fbgetvalt(request.get(), field::kAmount, 0, nullptr, FB_LONG));
  if (!amount) throw Refusal(Refusal::kBadRequest, "the field AMOUNT is missing");
  return *amount;
}

Changes& branch_of(const Request& request) {
  if (!request.changes) throw Refusal(Refusal::kNoTransaction, "accounts are changed inside a transaction only");
  return *request.changes;
}

std::string account_of(const Request& request) { return text_of(request.data, field::kAccount, "ACCOUNT"); }

std::int64_t open(Ledger& ledger, const Request& request) {
  return ledger.open(branch_of(request), account_of(request));
}
std::int64_t deposit(Ledger& ledger, const Request& request) {
  return ledger.deposit(branch_of(request), account_of(request), amount_of(request.data));
}
std::int64_t transfer(Ledger& ledger, const Request& request) {
  return ledger.transfer(branch_of(request), account_of(request),
                         text_of(request.data, field::kToAccount, "TO_ACCOUNT"), amount_of(request.data));
}
std::int64_t balance(Ledger& ledger, const Request& request) {
  return ledger.balance(request.changes, account_of(request));
}

// The request with one more field, the only one of the result.
Buffer answer_with(Buffer request, int key, const void* value) {
  const int used = static_cast<int>(fbget_used(request.get()));
  void* grown = fbrealloc(request.get(), kAnswerFields, used + kAnswerBytes);
  if (!grown) throw std::bad_alloc();
  (void)request.release();
  Buffer answer{static_cast<char*>(grown)};
  for (const int result : {field::kBalance, field::kMessage}) fbdelall(answer.get(), result);
  if (fbput(answer.get(), key, value, 0) != 1) throw std::bad_alloc();
  set_field_length(answer);
  return answer;
}

using Operation = std::int64_t (*)(Ledger&, const Request&);

Service service(Ledger& ledger, Operation operation) {
  return [&ledger, operation](Request request, const Answer& answer) {
    if (header_of(request.data).type != payload::kField) return answer({.error = TPEITYPE});
    try {
      const long balance = operation(ledger, request);
      answer({.data = answer_with(std::move(request.data), field::kBalance, &balance)});
    } catch (const Refusal& refusal) {
      answer({.data = answer_with(std::move(request.data), field::kMessage, refusal.what()),
              .error = TPESVCFAIL,
              .result = refusal.code()});
    } catch (const StoreError&) {
      answer({.error = TPERMERR});
    }
  };
}

}  // namespace

void add_ledger_services(Services& services, Ledger& ledger) {
  services["OPEN"] = service(ledger, open);
  services["DEPOSIT"] = service(ledger, deposit);
  services["TRANSFER"] = service(ledger, transfer);
  services["BALANCE"] = service(ledger, balance);
}

}  // namespace vxa::gateway
