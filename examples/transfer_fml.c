#include <vxa/fml.h>
#include <vxa/xatmi.h>

#include "ledger.h"
#include "transfer.h"

char *transfer_request(const char *from, const char *to, long cents) {
  FBFR *record = (FBFR *)tpalloc("FML32", NULL, 1024);
  if (record && Fadd(record, ACCOUNT, from, 0) != -1 && Fadd(record, TO_ACCOUNT, to, 0) != -1 &&
      Fadd(record, AMOUNT, &cents, 0) != -1)
    return (char *)record;
  tpfree((char *)record);
  return NULL;
}

long transfer_balance(char *reply) {
  long balance = 0;
  FLDLEN length = sizeof balance;
  return Fget((FBFR *)reply, BALANCE, 0, &balance, &length) == -1 ? 0 : balance;
}

const char *transfer_message(char *reply) { return Fvals((FBFR *)reply, MESSAGE, 0); }
