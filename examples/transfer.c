/* A payment in two phases, from one account to another: transfer HOST:PORT FROM TO CENTS commit|rollback
 *
 * Between the phases the program waits for a line of input. From there on the payment happens, whatever becomes of the
 * gateway in between: the commit is repeated on a new link until a gateway has done it. */
#include "transfer.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vxa/xatmi.h>

#include "branch.h"

/* Asks for the transfer inside the branch that was started. */
static int pay(const char *from, const char *to, long cents) {
  char *record = transfer_request(from, to, cents);
  long length = 0;
  int paid = record != NULL && tpcall("TRANSFER", record, 0, &record, &length, 0) == 1;
  if (paid)
    printf("%s pays %ld to %s and will have %ld\n", from, cents, to, transfer_balance(record));
  else if (record != NULL && tperrno == TPESVCFAIL)
    printf("refused: %s (application code %ld)\n", transfer_message(record), tpurcode);
  else
    printf("TRANSFER failed: tperrno %d\n", (int)tperrno);
  tpfree(record);
  return paid;
}

/* A branch that was prepared and is not known any more was committed by a gateway that could not say so. */
static void commit_until_done(const char *address, XID *branch) {
  int code = veskxaosw.xa_commit_entry(branch, RESOURCE_MANAGER, TMNOFLAGS);
  while (code == XAER_RMFAIL || code == XAER_RMERR || code == XA_RETRY) {
    printf("no commit (code %d), trying again on a new link\n", code);
    link_close();
    link_open(address);
    code = veskxaosw.xa_commit_entry(branch, RESOURCE_MANAGER, TMNOFLAGS);
  }
  if (code != XA_OK && code != XAER_NOTA) {
    fprintf(stderr, "xa_commit failed with code %d\n", code);
    exit(1);
  }
}

int main(int argc, char **argv) {
  if (argc != 6) {
    fprintf(stderr, "usage: transfer HOST:PORT FROM TO CENTS commit|rollback\n");
    return 2;
  }
  link_open(argv[1]);
  XID branch = branch_start();
  if (!pay(argv[2], argv[3], strtol(argv[4], NULL, 10))) return 1; /* what is not prepared comes to nothing */

  branch_end(&branch);
  branch_prepare(&branch);
  printf("prepared; press Enter to %s\n", argv[5]);
  fflush(stdout);
  while (getchar() != '\n' && !feof(stdin)) {
  }

  if (strcmp(argv[5], "commit") == 0) {
    commit_until_done(argv[1], &branch);
    printf("committed\n");
  } else {
    branch_rollback(&branch);
    printf("rolled back\n");
  }
  link_close();
  return 0;
}
