/* A record of fields under the FML names: built, changed, read, listed and stored. It needs no gateway and no field
 * table.
 *
 *   cc -std=c99 fml_record.c $(pkg-config --cflags --libs vxa)
 */
#include <stdio.h>
#include <string.h>

#include <vxa/fml.h>

/* Reports the call that failed; 0 when one did. */
static int done(const char *call, int result) {
  if (result != -1) return 1;
  F_error(call);
  fputc('\n', stderr);
  return 0;
}

static int fill(FBFR *record, FLDID name, FLDID amount, FLDID balance) {
  double first = 12.5, second = 100;
  return done("Fadd", Fadd(record, name, "Ada", 0)) && done("Fadd", Fadd(record, amount, &first, 0)) &&
         done("Fadd", Fadd(record, amount, &second, 0)) &&
         done("CFadd", CFadd(record, balance, "2500", 0, FB_STRING)) && /* text, kept as a number */
         done("Fchg", Fchg(record, name, 0, "Ada Lovelace", 0));
}

/* Every field in the order of the record, whatever its type, as text. */
static int list(FBFR *record) {
  FLDID id = 0; /* start */
  FLDOCC occurrence = 0;
  int more;
  while ((more = Fnext(record, &id, &occurrence, NULL, NULL)) == 1) {
    char text[64];
    FLDLEN length = sizeof text;
    if (!done("CFget", CFget(record, id, occurrence, text, &length, FB_STRING))) return 0;
    printf("%-7s %d [%d] = %s\n", Ftype(id), Fldno(id), occurrence, text);
  }
  return done("Fnext", more);
}

/* Through a file and back, into a record of the same size. */
static int store_and_load(const FBFR *record, FBFR *copy) {
  FILE *file = tmpfile();
  int loaded = 0;
  if (!file) return 0;
  if (done("Fwrite", Fwrite(record, file))) {
    rewind(file);
    loaded = done("Fread", Fread(copy, file));
  }
  fclose(file);
  return loaded;
}

int main(void) {
  FLDID name = Fmkfldid(FB_STRING, 1);
  FLDID amount = Fmkfldid(FB_DOUBLE, 2);
  FLDID balance = Fmkfldid(FB_LONG, 3);
  FBFR *record = Falloc(10, 200);
  FBFR *copy = Falloc(10, 200);
  int good = record && copy && fill(record, name, amount, balance) && list(record) && store_and_load(record, copy);
  if (good) {
    printf("the copy is %s, holds %d fields, and its balance is %ld\n", Fcmp(record, copy) == 0 ? "the same" : "another",
           Fnum(copy), Fvall(copy, balance, 0));
    good = strcmp(Fvals(copy, name, 0), "Ada Lovelace") == 0 && Foccur(copy, amount) == 2;
  }
  if (copy) Ffree(copy);
  if (record) Ffree(record);
  return good ? 0 : 1;
}
