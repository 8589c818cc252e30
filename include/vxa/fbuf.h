/* Field buffers: flat records of typed fields, each known by a 32-bit key and occurring any number of times.
 *
 * A field buffer is the data of a typed buffer of type FIELD (see xatmi.h). Calls return -1, null or 0 on failure and
 * set fberror; all but fbmake_fldkey reset it to 0 first. One thread at a time.
 */
#ifndef VXA_FBUF_H
#define VXA_FBUF_H

#include <stdint.h>
#include <stdio.h>

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

/* An occurrence is one of the records whose key equals the given key exactly, numbered from 0 in buffer order. Keys are
 * made with fbmake_fldkey. A value is an object of the key's type (a long has 64 bits, of which the low 32 are kept),
 * the characters of a string, or len bytes of a carray; len counts for a carray alone. It must not lie in the buffer
 * that is changed. Every call fails with FBEINVAL when buf is null, and leaves the buffer as it was when it fails.
 *
 * n is the number of records in the buffer. Searches resume where the last search for the key ended, so that reading or
 * counting the occurrences of a key one after another walks the buffer once in all.
 */

/* Appends a field. Returns 1, or -1 with FBENOSPACE (no room: grow the buffer with fbrealloc), FBEINVAL (null value, or
 * a carray of no bytes), FBETYPE (the key's type is unknown) or FBEBADFB (the buffer is damaged). */
int fbput(void *buf, int key, const void *value, int len);

/* Makes the value occurrence nth of its key: before the one that was, or behind as many null values as it takes to
 * reach it (a carray has no null value to put: FBEINVAL). Returns 1, or -1 as fbput, and FBEINVAL for a negative nth.
 * Cost: n, and the bytes moved. */
int fbinsert(void *buf, int key, int nth, const void *value, int len);

/* Gives occurrence nth a new value. Returns 1, or -1 with FBENOENT (no such occurrence), else as fbput. Cost: n, and
 * the bytes moved when the length of a string or carray changes. */
int fbupdate(void *buf, int key, int nth, const void *value, int len);

/* Removes occurrence nth. Returns 1, or -1 with FBENOENT. Cost: n, and the bytes moved. */
int fbdelete(void *buf, int key, int nth);

/* Removes every occurrence. Returns how many there were, or -1 with FBENOENT when there was none. Cost: n. */
int fbdelall(void *buf, int key);

/* Takes the first occurrence: copies its value out and marks it fetched, which ends its being an occurrence; the next
 * call takes the next. value: receives the value; a long is widened to 64 bits without a sign. len: null, or for a
 * string (terminator counted) or carray on entry the bytes that value holds, 0 for enough, and on return those of the
 * value. When it is longer than that, the setting FDL_LEN decides: TRU cuts it, ERR refuses it (FBENOSPACE, with the
 * full length in *len), else it is copied whole. A negative length is always refused under TRU and ERR.
 * Returns 1, or -1 with FBENOENT (no occurrence is left), FBENOSPACE, FBEINVAL (value is null) or FBETYPE (unknown
 * type), the record being unmarked. Cost: n. */
int fbget(void *buf, int key, void *value, int *len);

/* As fbget, from a position on: *pos, 0 at first, moves to the record found, so that a loop walks the buffer once. A
 * position at which no record of the key begins counts as 0; at or past the used length nothing is found. */
int fbgetf(void *buf, int key, void *value, int *len, int *pos);

/* The address of the value of occurrence nth, in the buffer and valid until that changes; a long has 32 bits there. len:
 * null, or receives the value's length (a string's without its terminator). Null with FBENOENT. Cost: n. */
void *fbgetval(const void *buf, int key, int nth, int *len);

/* The length of the value of occurrence nth (a string's without its terminator), or -1 with FBENOENT, or FBEBADFLD (the
 * record's type is unknown). Cost: n. */
int fbgetlen(const void *buf, int key, int nth);

/* The number of the first occurrence whose value equals the given one: exactly for strings, over the shorter of the two
 * for carrays, by comparison of numbers else. A stored long counts as unsigned, so a negative one is never found.
 * Returns -1 when there is none, fberror staying 0; or with FBEINVAL (null value, or a carray of no bytes). Cost: n. */
int fbgetnth(const void *buf, int key, const void *value, int len);

/* How often the key occurs. -1 when buf is null. Cost: n. */
int fbkeyoccur(const void *buf, int key);

/* 1 when occurrence nth exists, else 0; also when buf is null. Cost: n. */
int fbispres(const void *buf, int key, int nth);

/* How many records the buffer holds, fetched ones included; 0 when buf is null. Cost: n. */
int fbfldcount(const void *buf);

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

/* As fbput, of a value given as type (len: a carray's bytes), which fbtypecvt converts to the key's type.
 * Returns 1, or -1 with the code of fbtypecvt or of fbput. */
int fbputt(void *buf, int key, const void *value, int len, int type);

/* Occurrence nth as a value of type, its length in *len, which may be null. A stored long counts as an int here. The
 * value is good until the next conversion, change of the buffer or its release. Null with FBENOENT, or as fbtypecvt.
 * Cost: n, and the length of a text or carray. */
void *fbgetvalt(const void *buf, int key, int nth, int *len, int type);

/* As fbgetnth, of a value given as type. Returns the occurrence, -1 with fberror 0 when there is none, or -1 with the
 * code of fbtypecvt or fbgetnth. Cost: n. */
int fbgetntht(const void *buf, int key, const void *value, int len, int type);

/* As fbgetf, with the value converted to type, by fbtypecvt's rules but for these: a stored short, int or long is read
 * without its sign where it becomes wider or a real number (a short of -1 becomes the int 65535), though an int or long
 * prints with its sign; and a real number loses the zeros at the end of its string ("1.5", "2"), not those of a carray.
 *
 * len: null, or as in fbget for a string (terminator counted) and a carray; for the other types it receives the size of
 * the value. When the area is refused as too small (FBENOSPACE) nothing is written, the record stays unmarked, and *len
 * is the length that the value needs. Further failures: FBENOENT, FBEINVAL (value or pos is null), FBEBADFLD (bad type),
 * FBETYPE (record of unknown type). */
int fbgetc(void *buf, int key, void *value, int *len, int *pos, int type);

/* fbgetvalt as a string or an int. Null and 0 stand for a failure, of which fberror alone tells. */
char *fbgetvals(const void *buf, int key, int nth);
int fbgetvali(const void *buf, int key, int nth);

/* ---- Compatibility operations -------------------------------------------------------------------------------------- */

/* The calls that the FML-named ones stand on. They mark nothing as fetched. Where a call has a len, it is null, or on
 * entry the bytes that dest holds (0: enough) and on return the value's length, as fbget has it: FDL_LEN decides about
 * values that are longer, and when one is refused (FBENOSPACE) the full length is in *len. nth counts from 0. Every
 * call but getFerror fails with FBEINVAL when buf is null. Cost: n, where none is stated. */

/* Changes, adds or removes: a new last occurrence for nth -1 (a null value is FBEINVAL); removes occurrence nth when
 * value is null; gives it the value when it exists; else inserts as fbinsert does, behind null values if need be.
 * Returns 1, or -1 with the code of fbput, fbdelete, fbupdate or fbinsert. */
int fbchg_tu(void *buf, int key, int nth, const void *value, int len);

/* The same of a value given as type, converted as fbtypecvt does it. A null value removes, when the types are good. */
int fbchg_tut(void *buf, int key, int nth, const void *value, int len, int type);

/* Removes all occurrences of each key of a list that ends with 0. Returns how many there were in all; fberror is
 * FBENOENT when there was none of the last key. -1 with FBEINVAL when keys is null. Cost: n for each key. */
int fbdelall_tu(void *buf, const int *keys);

/* Copies occurrence nth out. Returns 1, or -1 with FBENOENT, FBENOSPACE, FBEINVAL (dest is null) or FBETYPE. */
int fbget_tu(const void *buf, int key, int nth, void *dest, int *len);

/* The same, converted to type as fbgetc does it; fbgett is for occurrence 0. Returns 1, or -1 with FBENOENT, or as
 * fbgetc. */
int fbget_tut(const void *buf, int key, int nth, void *dest, int *len, int type);
int fbgett(const void *buf, int key, void *value, int *len, int type);

/* The last occurrence: its number in *occ, which may be null, and its value as by fbgetval or fbget_tu. Null or -1 with
 * FBENOENT when there is none (*occ is not written), else as those. */
void *fbgetval_last_tu(const void *buf, int key, int *occ, int *len);
int fbgetlast_tu(const void *buf, int key, int *occ, void *dest, int *len);

/* The value of occurrence nth, or its conversion to type, in a block from malloc that the caller frees. extra: null, or
 * bytes wanted beyond those of the value, and on return the size in all. That size takes a string without its
 * terminator, a long as 4 bytes, and for the conversion of a number to text 100; the block is always large enough for
 * what is in it, but where FDL_LEN enforces lengths, this one is: give 1 for a string's terminator.
 * Null with FBENOENT, FBEMALLOC, FBENOSPACE, FBETYPE, or FBEBADFLD (bad type, or record of unknown type). */
void *fbgetalloc_tu(const void *buf, int key, int nth, int *extra);
void *fbgetalloc_tut(const void *buf, int key, int nth, int type, int *extra);

/* Steps through all records, fetched ones included. *key and *occ tell the record that the last call gave, *key 0
 * starts; they receive the next record's stored key (with its fetched mark) and its number among those of this key. The
 * buffer may be changed meanwhile as long as that record stays.
 * dest: null, or receives the value unless that is null (0, or empty), which leaves dest untouched. len: null, or on
 * entry the bytes of dest, which must hold the value with a string's terminator or a long's 8 bytes, and on return the
 * value's length (a string's without its terminator, a long's 4).
 * Returns 1; 0 when there is no further record; -1 with FBEINVAL (key or occ is null, or they tell no record),
 * FBENOSPACE, or FBEBADFB at a record whose key is 0, from which no call could go on. Cost: n, but a loop over the
 * buffer resumes where the call before it ended. */
int fbnext_tu(const void *buf, int *key, int *occ, void *dest, int *len);

/* The characters of occurrence nth of a string field, in the buffer; the empty string when there is no such occurrence,
 * when the key is not a string's, or when buf is null. */
char *fbgetvals_tu(const void *buf, int key, int nth);

/* Occurrence nth of a short, int or long field, widened without a sign. 0 with FBETYPE (a key of another type) or
 * FBENOENT. */
long fbgetvall_tu(const void *buf, int key, int nth);

/* The value of fberror. */
int getFerror(void);

/* ---- Whole buffers ------------------------------------------------------------------------------------------------- */

/* Operations of fbbufop, on a destination and a source. Fields match occurrence by occurrence: the first of a key in the
 * source matches the first of it in the destination, the second the second. Fetched marks do not count here, and no
 * field of a join carries one. */
#define FB_OP_COPY_WHOLE 1 /* all bytes of the source's capacity */
#define FB_OP_COPY 2       /* the source's fields */
#define FB_OP_COMPARE 3
#define FB_OP_CONCAT 4     /* the source's fields behind those of the destination */
#define FB_OP_JOIN 5       /* matching fields alone, with the source's values */
#define FB_OP_OUTER_JOIN 6 /* all fields of the destination, matching ones with the source's values */
#define FB_OP_UPDATE 7     /* the same, then the fields of the source that match none */

/* Combines src into dest. Returns 1; FB_OP_COMPARE returns 0 (same capacity and same fields), -1 (dest is shorter, or a
 * field of it has a lower key than the one at the same place in src) or 1, with fberror 0.
 * Failures return -1 and leave dest as it was: FBEINVAL (null buffer, unknown operation, or a copy of what is no field
 * buffer), FBENOSPACE (the result does not fit dest), FBEMALLOC, FBEBADFB (a used length that leaves no place for
 * fields), and for joins the code with which fbput would refuse a field. Cost: the bytes copied or compared; joins
 * n log n in the number of records. */
int fbbufop(void *dest, const void *src, int op);

/* Keeps the fields whose keys are listed, in their order: those of src in place of what dest holds, or with a null src
 * those of dest itself. keys: 32-bit keys, ended by a 0. Fetched fields are dropped. Returns 1, or -1 with FBEINVAL
 * (dest or keys is null), FBENOSPACE (they do not fit dest) or FBEMALLOC (a long list), dest being as it was. Cost:
 * n log k for n records and k keys. */
int fbbufop_proj(void *dest, const void *src, const int *keys);

/* ---- Streams and printing ------------------------------------------------------------------------------------------ */

/* Each returns 1, or -1 with FBEINVAL when buf or stream is null. Streams stay the caller's and are left open. */

/* Writes a buffer as it lies in memory: the 136 bytes of its hidden header and its whole capacity, in host order.
 * FBEOS (not all could be written), FBEBADFB (the buffer's header is damaged). */
int fbwrite(const void *buf, FILE *stream);

/* Reads what fbwrite wrote in place of what buf holds; of the stored hidden header only the capacity counts. FBEOS (the
 * stream ends early), FBENOSPACE (buf is smaller than what was written), FBEMALLOC; buf is then as it was. What is read
 * is not examined: fbisfbuf tells whether it is a field buffer. */
int fbread(void *buf, FILE *stream);

/* Lists the fields, a line each, on a stream or on standard output. "(r) " marks a fetched one. Names come from the
 * field table; they are empty where it has none. FBEBADFB (no field buffer, which the stream is told too). */
int fbfprint(const void *buf, FILE *stream);
int fbprint(const void *buf);

/* Applies a text of assignments, one a line, its columns separated by tabs:
 *
 *   NAME <tab> VALUE      adds an occurrence
 *   +NAME <tab> VALUE     inserts as occurrence 0
 *   -NAME <tab>           deletes occurrence 0
 *   =NAME <tab> SOURCE    copies occurrence 0 of the field SOURCE into occurrence 0 of NAME
 *   # anything            is ignored, as are empty lines and lines without a tab
 *
 * A name that begins with a digit from 1 to 8 is a key in decimal. A string or carray gets the text; a number gets its
 * bytes from the first characters, as they are, with zeros behind the last: text is not converted. A line has up to
 * 8099 characters and a longer one is taken in pieces; so many bytes can be copied, and a longer source fails with
 * FBENOSPACE unless the setting FDL_LEN is TRU, which cuts it.
 * The first assignment that fails ends the call with the code of its operation, those before it staying applied; an
 * unknown name fails with FBETYPE, or with FBENOENT where its field is to be deleted or copied from. fberror is not
 * reset on entry: a text without assignments leaves it as it was. */
int fbextread(void *buf, FILE *stream);

/* ---- Structs ------------------------------------------------------------------------------------------------------- */

/* The struct is the caller's, laid out as its description says (see _sdlfile_load in vxa_host.h); name: at most 16
 * characters count. Element i of a member is occurrence i of the member's field; members of strings and carrays have as
 * many elements as their element length fits. A field of another type than its member is converted. All calls fail with
 * FBEBADSTRUCT when the struct is not described, and with FBEINVAL when an address is null. */

/* Fills a struct from a field buffer. Elements without an occurrence get their null value; a text is cut to its element
 * (then without terminator) or filled up with zero bytes, except that one from a carray field leaves the rest of the
 * element alone. Returns 1, or -1; a missing field leaves FBENOENT in fberror all the same. */
int fbftos(const void *buf, void *record, const char *name);

/* Moves the elements of a struct that are not null into a field buffer. mode: 4 adds them as new occurrences, and those
 * that do not fit are left out: fberror tells of the last one; 5, 6 and 7 gather them in a work buffer, which is joined
 * as by fbbufop. The work buffer has 4 bytes for each byte of the struct, 1024 at least: in a larger struct the last of
 * very small elements (char arrays, texts below 4 bytes, numbers that become texts or doubles) do not fit and are left
 * out. Returns 1, or -1: FBEINVAL (also for another mode), FBEMALLOC, or as fbbufop. */
int fbstof(void *buf, const void *record, int mode, const char *name);

/* Whether an occurrence of a member is zero, whatever its null value; in strings and carrays, occurrences are bytes.
 * Returns 1, 0, or -1: FBEBADSTRUCT (also outside the member's count), or 0 in fberror for an unknown member. */
int fbsnull(const void *record, const char *member, int occurrence, const char *name);

/* Set a whole struct, or all members of one name, to their null values. A text that is too long is cut to end within
 * its element; bytes behind it stay. Return 1, also when no member has the name, or -1. */
int fbstinit(void *record, const char *name);
int fbstelinit(void *record, const char *member, const char *name);

VXA_END_DECLS

#endif
