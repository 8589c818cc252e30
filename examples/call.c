/* One service call inside a transaction: call HOST:PORT commit|rollback TEXT
 *
 * Sends the text to the service TOUPPER and prints what it answers. */
#include <stdio.h>
#include <string.h>
#include <vxa/xatmi.h>

#include "branch.h"

int main(int argc, char **argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: call HOST:PORT commit|rollback TEXT\n");
    return 2;
  }
  link_open(argv[1]);
  XID branch = branch_start();

  /* A typed buffer is both the request and, here, the place for the reply, which may take another place. */
  char *text = tpalloc("STRING", NULL, (long)strlen(argv[3]) + 1);
  long length = 0;
  if (text == NULL) return 1;
  strcpy(text, argv[3]);
  int answered = tpcall("TOUPPER", text, 0, &text, &length, 0) == 1;
  if (answered)
    printf("TOUPPER answered: %s\n", text);
  else
    fprintf(stderr, "TOUPPER failed: tperrno %d\n", (int)tperrno);
  tpfree(text);

  branch_end(&branch);
  if (answered && strcmp(argv[2], "commit") == 0) {
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
