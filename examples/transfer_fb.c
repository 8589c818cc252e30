#include <vxa/fbuf.h>
#include <vxa/xatmi.h>

#include "ledger.h"
#include "transfer.h"

char *transfer_request(const char *from, const char *to, long cents) {
  char *record = fballoc(4, 500); /* room for the reply too, which then fits in place */
  if (record && fbput(record, ACCOUNT, from, 0) == 1 && fbput(record, TO_ACCOUNT, to, 0) == 1 &&
      fbput(record, AMOUNT, &cents, 0) == 1)
    return record;
  tpfree(record);
  return NULL;
}

long transfer_balance(char *reply) { return fbgetvali(reply, BALANCE, 0); }

const char *transfer_message(char *reply) { return fbgetvals_tu(reply, MESSAGE, 0); }
