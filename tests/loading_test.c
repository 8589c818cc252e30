/* The library loads, with immediate binding, into a process that defines no log functions and then simply logs nothing;
 * and it exports its switch and its data. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char **argv) {
  void *library;
  void *(*make)(int, int);
  int (*load)(void);
  (void)argc;
  library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  *(void **)&make = dlsym(library, "_header_msg_make");
  *(void **)&load = dlsym(library, "_sdlfile_load");
  if (!make || !load) return 2;
  free(make(28, 0));
  setenv("SDLFILE64", "/nonexistent", 1);
  return load() == -1 ? 0 : 3;
}
