/* Field buffers: flat records of typed fields, each known by a 32-bit key and occurring any number of times.
 *
 * A field buffer is the data of a typed buffer of type FIELD (see xatmi.h). Calls return -1, null or 0 on failure and
 * set fberror; all but fbmake_fldkey reset it to 0 first. One thread at a time.
 */
#ifndef VXA_FBUF_H
#define VXA_FBUF_H

#include <stdint.h>

#include "vxa_decls.h"

VXA_BEGIN_DECLS

/* ---- Field types: bits 26 to 31 of a key; the field's number is in bits 0 to 23 ----------------------------------- */

#define FB_CHAR 1
#define FB_SHORT 2
#define FB_INT 3
#define FB_LONG 4 /* 64 bits in calls, of which a field buffer keeps the low 32 */
#define FB_FLOAT 5
#define FB_DOUBLE 6
#define FB_STRING 7
#define FB_CARRAY 8

/* ---- Error codes --------------------------------------------------------------------------------------------------- */

/* The code of the last field-buffer call. */
extern int fberror;

#define FBEMINNO 0
#define EBEALIGN 1
#define FBEFTSYNTAX 2
#define FBEBADFB 3   /* not a field buffer */
#define FBEINVAL 4   /* invalid argument */
#define FBELIMIT 5
#define FBENOENT 6   /* no such field, occurrence, name or key */
#define FBEOS 7      /* a stream or the typed-buffer reallocation failed */
#define FBEBADFLD 8  /* bad target type, or a record of unknown type */
#define FBEPROTO 9
#define FBENOSPACE 10 /* no room, in the buffer or in the caller's area */
#define FBEMALLOC 11  /* no memory */
#define FBESYSTEM 12
#define FBETYPE 13      /* bad type */
#define FBEMATCH 14
#define FBEBADSTRUCT 15 /* unknown struct, or element outside a member */
#define FBEVTSYNTAX 16
#define FBEVFOPEN 17
#define FBEBADACM 18
#define FBENOCNAME 19
#define FBEBADTBL 20
#define FBEMAXNO 21

/* The text of an error code, as "FBENOENT (not found)"; for a code of 22 or more, or a negative one, the text of 21. */
const char *fbstrerror(int code);

/* The value of fberror. */
int getfberror(void);
int getfberrno(void);

/* The address of fberror. */
int *_tmget_fberror_addr(void);

/* Writes msg, ": " and the text of fberror to standard error, without a newline. */
void print_fberror(const char *msg);

/* ---- Null values: what stands for an absent field of each type ----------------------------------------------------- */

extern const char ncv;
extern const short nsv;
extern const int niv;
extern const long nlv;
extern const float nfv;
extern const double ndv;
extern const char nstv;
extern const char ncav;

/* ---- Lifecycle ----------------------------------------------------------------------------------------------------- */

/* 1 when buf is a field buffer, 0 when it is null or is not. Never fails. */
int fbisfbuf(const void *buf);

/* The buffer size for count fields with datalen bytes of value data: 8 + 8 * count + datalen. Never fails. */
long fbcalcsize(int count, int datalen);

/* Makes the data of a FIELD typed buffer an empty field buffer: its whole capacity is zeroed. size: bytes that the
 * caller needs, at most the capacity. Returns 1, or -1 with FBEINVAL (buf is null) or FBENOSPACE (capacity below size;
 * buf is untouched). Cost: the capacity. */
int fbinit(void *buf, int size);

/* Allocates an empty field buffer for fbcalcsize(count, datalen) bytes, at least 1024. The caller releases it with
 * fbfree. Null with FBEMALLOC. */
void *fballoc(int count, int datalen);

/* Releases a field buffer. Returns 1, or -1 with FBEINVAL when buf is null, misaligned or no field buffer. */
int fbfree(void *buf);

/* Capacity, free bytes and used bytes of a field buffer; -1 with FBEINVAL when buf is null. */
long fbget_fbsize(const void *buf);
long fbget_unused(const void *buf);
long fbget_used(const void *buf);

/* Resizes a field buffer for fbcalcsize(count, datalen) bytes, at least 1024; contents are kept, growth is zeroed.
 * Returns the buffer, which may have moved (buf is then invalid); null with FBEINVAL (buf is null), FBENOSPACE (its
 * fields would not fit) or FBEOS (no memory), buf being as it was. */
void *fbrealloc(void *buf, int count, int datalen);

/* ---- Keys and names ------------------------------------------------------------------------------------------------ */

/* Names and keys are those of the field table files that the environment variable FDLFILE names, separated by commas.
 * The first lookup loads them, and so does every further one until a load succeeds. A lookup that cannot load them
 * fails with fberror 0 and leaves records in the error log. */

/* The key of a name, or 0, with FBENOENT (no such name) or FBEINVAL (name is null). Cost: a step or two where the table
 * was made for it; a pass over the whole table for a name that is not there. */
int fbget_fldkey(const char *name);

/* The name of a key: a text of the loaded table, valid until that is unloaded. Null with FBENOENT (no such key, or it
 * has no name). Cost: as for fbget_fldkey. */
const char *fbget_fldname(int key);

/* Parts of a key: its number, its type code, and the name of its type ("char" to "carray", empty for other codes).
 * None of them looks at the field table, and none fails. */
int fbget_fldno(int key);
int fbget_fldtype(int key);
const char *fbget_strfldtype(int key);

/* The key of a type code and a number: type * 2^26 + number. Never fails; fberror stays as it is. */
int fbmake_fldkey(int type, int number);

/* Release the field table, and with it the names that fbget_fldname gave. The next lookup loads it again. */
void fbkeynm_unload(void);
void fbnmkey_unload(void);

/* ---- Fields -------------------------------------------------------------------------------------------------------- */

/* ---- Conversion ---------------------------------------------------------------------------------------------------- */

/* Converts a value between field types, each as C holds it: a long has 64 bits, a string ends in NUL, a carray has
 * fromlen bytes (fromlen means nothing for the other types).
 *
 * Integers keep their low-order bits. A real number is cut towards zero (a float or double that no int, or for a long
 * no long, can hold gives the smallest one) and printed with "%f". Text is read as strtol and strtod read it; what is
 * no number is 0, and a long from text keeps 32 bits. A char and a text of one character stand for each other.
 *
 * Returns the value, which is the library's (or from itself, for strings and carrays that need no change) and good
 * until the next conversion. *tolen, which may be null: its length; that of a string counts the NUL.
 * Null with FBEINVAL (from is null, or a carray shorter than 1), FBEBADFLD (bad totype), FBETYPE (bad fromtype),
 * FBENOSPACE (no memory). Cost: the length of a text or carray. */
void *fbtypecvt(int *tolen, int totype, const void *from, int fromtype, int fromlen);

/* ---- Compatibility operations -------------------------------------------------------------------------------------- */

/* ---- Whole buffers ------------------------------------------------------------------------------------------------- */

/* ---- Streams and printing ------------------------------------------------------------------------------------------ */

/* ---- Structs ------------------------------------------------------------------------------------------------------- */

VXA_END_DECLS

#endif
