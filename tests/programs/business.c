/* A program with nothing of a host in it: what it does shows only when libvxahost stands behind it. */
#include <stdio.h>

#include "vxa/fbuf.h"
#include "vxa/vxa_host.h"

int main(int argc, char **argv) {
  (void)argv;
  printf("byte order %d\n", (int)_endian);
  fflush(stdout);
  void *buffer = fballoc(1, 2);
  fbfree(NULL);
  fbisfbuf(buffer);
  fbget_fldkey("NAME");
  _set_veskenv("/no/such\nfile", NULL);
  fbfree(buffer);
  return argc > 1 ? 3 : 0;
}
