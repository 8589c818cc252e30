/* Two calls under way at once, answered in the opposite order: async HOST:PORT
 *
 * The service LATE answers after the call that follows it. Each reply still comes to the call that it belongs to. */
#include <stdio.h>
#include <string.h>
#include <vxa/vxa_host.h>
#include <vxa/xatmi.h>

#include "branch.h"

static int begin(const char *service, const char *text) {
  char *request = tpalloc("STRING", NULL, 0);
  int call = -1;
  if (request != NULL) {
    strcpy(request, text);
    call = tpacall(service, request, 0, 0);
    tpfree(request); /* the request is on its way */
  }
  printf("asked %s as call %d: %s\n", service, call, text);
  return call;
}

static int collect(int *call, long flags) {
  char *reply = tpalloc("STRING", NULL, 0);
  long length = 0;
  int answered = reply != NULL && tpgetrply(call, &reply, &length, flags) == 1;
  if (answered)
    printf("call %d answered: %s\n", *call, reply);
  else
    fprintf(stderr, "no reply to call %d: tperrno %d\n", *call, (int)tperrno);
  tpfree(reply);
  return answered;
}

int main(int argc, char **argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: async HOST:PORT\n");
    return 2;
  }
  link_open(argv[1]);
  XID branch = branch_start();
  _bc_timeout = 5; /* seconds to wait for a reply; without it, tpgetrply takes any message for the one it asked for */

  int late = begin("LATE", "the first request");
  int echo = begin("ECHO", "the second request");
  int answered = collect(&late, 0);         /* the other reply comes first, and is kept */
  answered = collect(&echo, 0) && answered; /* and handed out here */

  begin("LATE", "the third request");
  begin("ECHO", "the fourth request");
  int any = 0;
  answered = collect(&any, TPGETANY) && answered; /* whichever reply is there */
  answered = collect(&any, TPGETANY) && answered;

  branch_end(&branch);
  if (answered) {
    branch_prepare(&branch);
    branch_commit(&branch);
    printf("committed\n");
  } else {
    branch_rollback(&branch);
    printf("rolled back\n");
  }
  link_close();
  return answered ? 0 : 1;
}
