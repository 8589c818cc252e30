/* A program that is built outside this project, against the installed library: through pkg-config
 *   cc outside.c $(pkg-config --cflags --libs vxa)
 * or with the CMakeLists.txt beside it. It needs no gateway. */
#include <stdio.h>
#include <string.h>
#include <vxa/xatmi.h>
#include <xatmi.h>

int main(void) {
  char *text = tpalloc("STRING", NULL, 0);
  if (!text) {
    fprintf(stderr, "tpalloc: error %d\n", tperrno);
    return 1;
  }
  strcpy(text, "hello from outside");
  printf("%s, in a typed buffer of %ld bytes\n", text, tptypes(text, NULL, NULL));
  tpfree(text);
  return 0;
}
