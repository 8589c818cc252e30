#include "branch.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>
#include <vxa/vxa_host.h>

static void must(const char *verb, int code) {
  if (code == XA_OK) return;
  fprintf(stderr, "%s failed with code %d\n", verb, code);
  exit(1);
}

void link_open(const char *address) {
  char info[300];
  snprintf(info, sizeof info, "host=%s+timeout=10", address);
  signal(SIGPIPE, SIG_IGN); /* a gateway that is gone shows in the result of a call */
  _check_node();            /* so that doubles travel whole */
  must("xa_open", veskxaosw.xa_open_entry(info, RESOURCE_MANAGER, TMNOFLAGS));
}

void link_close(void) {
  char info[] = "";
  must("xa_close", veskxaosw.xa_close_entry(info, RESOURCE_MANAGER, TMNOFLAGS));
}

XID branch_start(void) {
  XID branch;
  int length;
  memset(&branch, 0, sizeof branch);
  length = snprintf(branch.data, sizeof branch.data, "example-%ld-%ld", (long)getpid(), (long)time(NULL));
  branch.formatID = 1;
  branch.gtrid_length = length;
  branch.bqual_length = 1;
  branch.data[length] = '1';
  must("xa_start", veskxaosw.xa_start_entry(&branch, RESOURCE_MANAGER, TMNOFLAGS));
  return branch;
}

void branch_end(XID *branch) {
  int code = veskxaosw.xa_end_entry(branch, RESOURCE_MANAGER, TMSUCCESS);
  if (code >= XA_RBBASE && code <= XA_RBEND) return; /* ended, but a service failed in it: to be rolled back */
  must("xa_end", code);
}

void branch_prepare(XID *branch) {
  must("xa_prepare", veskxaosw.xa_prepare_entry(branch, RESOURCE_MANAGER, TMNOFLAGS));
}

void branch_commit(XID *branch) { must("xa_commit", veskxaosw.xa_commit_entry(branch, RESOURCE_MANAGER, TMNOFLAGS)); }

void branch_rollback(XID *branch) {
  must("xa_rollback", veskxaosw.xa_rollback_entry(branch, RESOURCE_MANAGER, TMNOFLAGS));
}
