/** @file
 * Field buffers: flat records of typed fields, each known by a 32-bit key and occurring any number of times.
 *
 * A field buffer is the data of a typed buffer of type FIELD (see xatmi.h). Calls return -1, null or 0 on failure and
 * set #fberror; all but fbmake_fldkey() and fbextread() reset it to 0 first. One thread at a time.
 */
#ifndef VXA_FBUF_H
#define VXA_FBUF_H

#include <stdint.h>
#include <stdio.h>

#include "vxa_decls.h"

VXA_BEGIN_DECLS

/** @defgroup field_types Field types
 * Bits 26 to 31 of a field key; the field's number is in bits 0 to 23.
 * @{
 */

#define FB_CHAR 1   /**< a char */
#define FB_SHORT 2  /**< a short */
#define FB_INT 3    /**< an int */
#define FB_LONG 4   /**< a long: 64 bits in calls, of which a field buffer keeps the low 32 */
#define FB_FLOAT 5  /**< a float */
#define FB_DOUBLE 6 /**< a double */
#define FB_STRING 7 /**< characters, ended by a NUL */
#define FB_CARRAY 8 /**< bytes, with a length */

/** @} */

/** @defgroup field_errors Field buffer errors
 * What the last field-buffer call has to say, in codes and in texts.
 * @{
 */

/** The code of the last field-buffer call. */
extern int fberror;

#define FBEMINNO 0      /**< no error */
#define EBEALIGN 1      /**< not used by the library */
#define FBEFTSYNTAX 2   /**< not used by the library */
#define FBEBADFB 3      /**< not a field buffer, or a damaged one */
#define FBEINVAL 4      /**< invalid argument */
#define FBELIMIT 5      /**< not used by the library */
#define FBENOENT 6      /**< no such field, occurrence, name or key */
#define FBEOS 7         /**< a stream or the typed-buffer reallocation failed */
#define FBEBADFLD 8     /**< bad target type, or a record of unknown type */
#define FBEPROTO 9      /**< not used by the library */
#define FBENOSPACE 10   /**< no room, in the buffer or in the caller's area */
#define FBEMALLOC 11    /**< no memory */
#define FBESYSTEM 12    /**< not used by the library */
#define FBETYPE 13      /**< bad type */
#define FBEMATCH 14     /**< not used by the library */
#define FBEBADSTRUCT 15 /**< unknown struct, or element outside a member */
#define FBEVTSYNTAX 16  /**< not used by the library */
#define FBEVFOPEN 17    /**< not used by the library */
#define FBEBADACM 18    /**< not used by the library */
#define FBENOCNAME 19   /**< not used by the library */
#define FBEBADTBL 20    /**< not used by the library */
#define FBEMAXNO 21     /**< the end of the codes */

/** The text of an error code, as "FBENOENT (not found)".
 *
 * @param code  an error code
 * @return its text, not to be released; for a code of 22 or more, or a negative one, the text of 21
 */
const char *fbstrerror(int code);

/** The value of #fberror.
 *
 * @return the code of the last field-buffer call
 */
int getfberror(void);

/** The value of #fberror, as getfberror() gives it.
 *
 * @return the code of the last field-buffer call
 */
int getfberrno(void);

/** Where #fberror lies.
 *
 * @return its address
 */
int *_tmget_fberror_addr(void);

/** Writes msg, ": " and the text of #fberror to standard error, without a newline.
 *
 * @param msg  what stands in front of the text
 */
void print_fberror(const char *msg);

/** @} */

/** @defgroup field_nulls Null values
 * What stands for an absent field of each type.
 * @{
 */

extern const char ncv;   /**< of a char: 0 */
extern const short nsv;  /**< of a short: 0 */
extern const int niv;    /**< of an int: 0 */
extern const long nlv;   /**< of a long: 0 */
extern const float nfv;  /**< of a float: 0 */
extern const double ndv; /**< of a double: 0 */
extern const char nstv;  /**< of a string: its terminator, the empty string */
extern const char ncav;  /**< of a carray: a zero byte */

/** @} */

/** @defgroup field_lifecycle Lifecycle of field buffers
 * Allocating, measuring, resizing and releasing them.
 * @{
 */

/** Tells whether something is a field buffer. Never fails.
 *
 * @param buf  what to look at
 * @return 1 when it is, 0 when it is null or is not
 */
int fbisfbuf(const void *buf);

/** The size of a buffer for that many fields: 8 + 8 * count + datalen. Never fails.
 *
 * @param count    fields
 * @param datalen  bytes of value data in all of them
 * @return bytes
 */
long fbcalcsize(int count, int datalen);

/** Makes the data of a FIELD typed buffer an empty field buffer. Its whole capacity is zeroed. Cost: the capacity.
 *
 * @param buf   the data of the typed buffer
 * @param size  bytes that the caller needs, at most the capacity
 * @return 1, or -1, the buffer being untouched, with #fberror:
 *   - #FBEINVAL: buf is null
 *   - #FBENOSPACE: the capacity is below size
 */
int fbinit(void *buf, int size);

/** Allocates an empty field buffer for fbcalcsize(count, datalen) bytes, at least 1024.
 *
 * @param count    fields
 * @param datalen  bytes of value data in all of them
 * @return the buffer, which the caller releases with fbfree(); null with #FBEMALLOC
 */
void *fballoc(int count, int datalen);

/** Releases a field buffer.
 *
 * @param buf  a field buffer from fballoc() or tpalloc()
 * @return 1, or -1 with #FBEINVAL: buf is null, misaligned or no field buffer
 */
int fbfree(void *buf);

/** The capacity of a field buffer.
 *
 * @param buf  a field buffer
 * @return bytes, or -1 with #FBEINVAL: buf is null
 */
long fbget_fbsize(const void *buf);

/** The bytes of a field buffer that are free.
 *
 * @param buf  a field buffer
 * @return bytes, or -1 with #FBEINVAL: buf is null
 */
long fbget_unused(const void *buf);

/** The bytes of a field buffer that are used.
 *
 * @param buf  a field buffer
 * @return bytes, or -1 with #FBEINVAL: buf is null
 */
long fbget_used(const void *buf);

/** Resizes a field buffer for fbcalcsize(count, datalen) bytes, at least 1024. Contents are kept, growth is zeroed.
 *
 * @param buf      a field buffer; invalid after a success
 * @param count    fields
 * @param datalen  bytes of value data in all of them
 * @return the buffer, which may have moved. Null, buf being as it was, with #fberror:
 *   - #FBEINVAL: buf is null
 *   - #FBENOSPACE: its fields would not fit
 *   - #FBEOS: no memory, or buf is no typed buffer
 */
void *fbrealloc(void *buf, int count, int datalen);

/** @} */

/** @defgroup field_names Field keys and names
 * Keys, made of a type and a number, and their names in the field table.
 *
 * Names and keys are those of the field table files that the environment variable FDLFILE names, separated by commas.
 * The first lookup loads them, and so does every further one until a load succeeds. A lookup that cannot load them
 * fails with #fberror 0 and leaves records in the error log.
 * @{
 */

/** The key of a name.
 *
 * Cost: a step or two where the table was made for it; a pass over the whole table for a name that is not there.
 *
 * @param name  a field's name
 * @return its key, or 0 with #fberror:
 *   - #FBENOENT: no such name
 *   - #FBEINVAL: name is null
 */
int fbget_fldkey(const char *name);

/** The name of a key. Cost: as for fbget_fldkey().
 *
 * @param key  a field key
 * @return a text of the loaded table, valid until that is unloaded; null with #FBENOENT: no such key, or it has no name
 */
const char *fbget_fldname(int key);

/** The number in a key. Does not look at the field table, and never fails.
 *
 * @param key  a field key
 * @return bits 0 to 23
 */
int fbget_fldno(int key);

/** The type code in a key. Does not look at the field table, and never fails.
 *
 * @param key  a field key
 * @return bits 26 to 31: #FB_CHAR to #FB_CARRAY in a good key
 */
int fbget_fldtype(int key);

/** The name of the type in a key. Does not look at the field table, and never fails.
 *
 * @param key  a field key
 * @return "char" to "carray", not to be released; empty for other type codes
 */
const char *fbget_strfldtype(int key);

/** The key of a type and a number: type * 2^26 + number. Never fails; #fberror stays as it is.
 *
 * @param type    #FB_CHAR to #FB_CARRAY
 * @param number  the field's number
 * @return the key
 */
int fbmake_fldkey(int type, int number);

/** Releases the field table, and with it the names that fbget_fldname() gave. The next lookup loads it again. */
void fbkeynm_unload(void);

/** Does the same as fbkeynm_unload(). */
void fbnmkey_unload(void);

/** @} */

/** @defgroup fields Fields
 * Putting values into a field buffer, finding and changing them.
 *
 * An occurrence is one of the records whose key equals the given key exactly, numbered from 0 in buffer order. Keys are
 * made with fbmake_fldkey(). A value is an object of the key's type (a long has 64 bits, of which the low 32 are kept),
 * the characters of a string, or len bytes of a carray; len counts for a carray alone. It must not lie in the buffer
 * that is changed. Every call fails with #FBEINVAL when buf is null, and leaves the buffer as it was when it fails.
 *
 * Costs are told in n, the number of records in the buffer. Searches resume where the last search for the key ended, so
 * that reading or counting the occurrences of a key one after another walks the buffer once in all.
 * @{
 */

/** Appends a field.
 *
 * @param buf    the field buffer that gets it
 * @param key    the field's key
 * @param value  an object of the key's type, characters, or bytes of a carray
 * @param len    bytes of a carray; for the other types it means nothing
 * @return 1, or -1 with #fberror:
 *   - #FBENOSPACE: no room; grow the buffer with fbrealloc()
 *   - #FBEINVAL: null value, or a carray of no bytes
 *   - #FBETYPE: the key's type is unknown
 *   - #FBEBADFB: the buffer is damaged
 */
int fbput(void *buf, int key, const void *value, int len);

/** Makes the value occurrence nth of its key. Cost: n, and the bytes moved.
 *
 * It goes before the one that was there, or behind as many null values as it takes to reach it.
 *
 * @param buf    the field buffer that gets it
 * @param key    the field's key
 * @param nth    the number that it shall have among those of the key
 * @param value  as of fbput()
 * @param len    bytes of a carray
 * @return 1, or -1 with #fberror as of fbput(), and
 *   - #FBEINVAL: a negative nth, or null values are needed for a carray, which has none to put
 */
int fbinsert(void *buf, int key, int nth, const void *value, int len);

/** Gives occurrence nth a new value. Cost: n, and the bytes moved when the length of a string or carray changes.
 *
 * @param buf    the field buffer
 * @param key    the field
 * @param nth    which of its occurrences
 * @param value  the new value
 * @param len    bytes of a carray
 * @return 1, or -1 with #fberror as of fbput(), and
 *   - #FBENOENT: no such occurrence
 */
int fbupdate(void *buf, int key, int nth, const void *value, int len);

/** Removes occurrence nth. Cost: n, and the bytes moved.
 *
 * @param buf  the field buffer
 * @param key  the field
 * @param nth  which of its occurrences
 * @return 1, or -1 with #FBENOENT: no such occurrence
 */
int fbdelete(void *buf, int key, int nth);

/** Removes every occurrence of a field. Cost: n.
 *
 * @param buf  the field buffer
 * @param key  the field
 * @return how many there were, or -1 with #FBENOENT: there was none
 */
int fbdelall(void *buf, int key);

/** Takes the first occurrence: copies its value out and marks it fetched. Cost: n.
 *
 * The mark ends its being an occurrence; the next call takes the next.
 *
 * @param buf         the field buffer
 * @param key         the field
 * @param[out] value  receives the value; a long is widened to 64 bits without a sign
 * @param[in,out] len null, or for a string (terminator counted) or carray on entry the bytes that value holds, 0 for
 *                    enough, and on return those of the value. When it is longer than that, the setting FDL_LEN
 *                    (#_vesk_flen_flag) decides: TRU cuts it, ERR refuses it, with the full length in `*len`, else it
 *                    is copied whole. A negative length is always refused under TRU and ERR.
 * @return 1, or -1, the record being unmarked, with #fberror:
 *   - #FBENOENT: no occurrence is left
 *   - #FBENOSPACE: the value is refused as too long
 *   - #FBEINVAL: value is null
 *   - #FBETYPE: unknown type
 */
int fbget(void *buf, int key, void *value, int *len);

/** Takes the first occurrence as fbget() does, from a position on, so that a loop walks the buffer once.
 *
 * @param buf          the field buffer
 * @param key          the field
 * @param[out] value   receives the value; a long is widened to 64 bits without a sign
 * @param[in,out] len  as of fbget()
 * @param[in,out] pos  0 at first; moves to the record found. A position at which no record of the key begins counts as
 *                     0; at or past the used length nothing is found.
 * @return as fbget(), and #FBEINVAL for a null pos
 */
int fbgetf(void *buf, int key, void *value, int *len, int *pos);

/** The address of the value of occurrence nth. Cost: n.
 *
 * @param buf       the field buffer
 * @param key       the field
 * @param nth       which of its occurrences
 * @param[out] len  null, or receives the value's length (a string's without its terminator)
 * @return the value in the buffer, valid until that changes; a long has 32 bits there. Null with #FBENOENT: no such
 *   occurrence
 */
void *fbgetval(const void *buf, int key, int nth, int *len);

/** The length of the value of occurrence nth. Cost: n.
 *
 * @param buf  the field buffer
 * @param key  the field
 * @param nth  which of its occurrences
 * @return bytes (a string's without its terminator), or -1 with #fberror:
 *   - #FBENOENT: no such occurrence
 *   - #FBEBADFLD: the record's type is unknown
 */
int fbgetlen(const void *buf, int key, int nth);

/** The number of the first occurrence whose value equals the given one. Cost: n.
 *
 * Strings are compared exactly, carrays over the shorter of the two, all else as numbers. A stored long counts as
 * unsigned, so a negative one is never found.
 *
 * @param buf    the field buffer
 * @param key    the field
 * @param value  the value to look for
 * @param len    bytes of a carray
 * @return the occurrence, or -1 with #fberror:
 *   - 0: there is none
 *   - #FBEINVAL: null value, or a carray of no bytes
 */
int fbgetnth(const void *buf, int key, const void *value, int len);

/** How often a key occurs. Cost: n.
 *
 * @param buf  the field buffer
 * @param key  the field
 * @return the number of its occurrences; -1 when buf is null
 */
int fbkeyoccur(const void *buf, int key);

/** Tells whether occurrence nth exists. Cost: n.
 *
 * @param buf  the field buffer
 * @param key  the field
 * @param nth  which of its occurrences
 * @return 1 when it does, else 0; also when buf is null
 */
int fbispres(const void *buf, int key, int nth);

/** How many records the buffer holds, fetched ones included. Cost: n.
 *
 * @param buf  the field buffer
 * @return the number of records; 0 when buf is null
 */
int fbfldcount(const void *buf);

/** @} */

/** @defgroup field_conversion Conversion
 * Values of one type as those of another, and fields written and read through them.
 *
 * Integers keep their low-order bits. A real number is cut towards zero (a float or double that no int, or for a long
 * no long, can hold gives the smallest one) and printed with `%f`. Text is read as strtol and strtod read it; what is
 * no number is 0, and a long from text keeps 32 bits. A char and a text of one character stand for each other.
 *
 * Types are #FB_CHAR to #FB_CARRAY.
 * @{
 */

/** Converts a value between field types, each as C holds it: a long has 64 bits, a string ends in NUL.
 *
 * Cost: the length of a text or carray.
 *
 * @param[out] tolen  null, or receives the length of the result; that of a string counts the NUL
 * @param totype      the type to convert to
 * @param from        the value
 * @param fromtype    its type
 * @param fromlen     bytes of a carray; means nothing for the other types
 * @return the value, which is the library's (or from itself, for strings and carrays that need no change) and good
 *   until the next conversion. Null with #fberror:
 *   - #FBEINVAL: from is null, or a carray shorter than 1
 *   - #FBEBADFLD: bad totype
 *   - #FBETYPE: bad fromtype
 *   - #FBENOSPACE: no memory
 */
void *fbtypecvt(int *tolen, int totype, const void *from, int fromtype, int fromlen);

/** Appends a field as fbput() does, with a value that fbtypecvt() converts to the key's type.
 *
 * @param buf    the field buffer that gets it
 * @param key    the field's key
 * @param value  its value, of the given type
 * @param len    bytes of a carray value
 * @param type   the value's type
 * @return 1, or -1 with #fberror as of fbtypecvt() or fbput()
 */
int fbputt(void *buf, int key, const void *value, int len, int type);

/** Occurrence nth as a value of a type. Cost: n, and the length of a text or carray.
 *
 * A stored long counts as an int here.
 *
 * @param buf       the field buffer
 * @param key       the field
 * @param nth       which of its occurrences
 * @param[out] len  null, or receives the value's length
 * @param type      the type to convert to
 * @return the value, good until the next conversion, change of the buffer or its release. Null with #FBENOENT, no such
 *   occurrence, or as fbtypecvt()
 */
void *fbgetvalt(const void *buf, int key, int nth, int *len, int type);

/** The number of the first occurrence whose value equals the given one, converted to the key's type. Cost: n.
 *
 * @param buf    the field buffer
 * @param key    the field
 * @param value  the value to look for, of the given type
 * @param len    bytes of a carray value
 * @param type   the value's type
 * @return the occurrence; -1 with #fberror 0 when there is none, or as of fbtypecvt() or fbgetnth()
 */
int fbgetntht(const void *buf, int key, const void *value, int len, int type);

/** Takes the first occurrence as fbgetf() does, with the value converted to a type.
 *
 * The rules are those of fbtypecvt() but for these: a stored short, int or long is read without its sign where it
 * becomes wider or a real number (a short of -1 becomes the int 65535), though an int or long prints with its sign; and
 * a real number loses the zeros at the end of its string ("1.5", "2"), not those of a carray.
 *
 * @param buf          the field buffer
 * @param key          the field
 * @param[out] value   receives the converted value
 * @param[in,out] len  null, or as in fbget() for a string (terminator counted) and a carray; for the other types it
 *                     receives the size of the value
 * @param[in,out] pos  as of fbgetf()
 * @param type         the type to convert to
 * @return 1, or -1 with #fberror:
 *   - #FBENOSPACE: the area is refused as too small; nothing is written, the record stays unmarked, and `*len` is the
 *     length that the value needs
 *   - #FBENOENT: no occurrence is left
 *   - #FBEINVAL: value or pos is null
 *   - #FBEBADFLD: bad type
 *   - #FBETYPE: the record's type is unknown
 */
int fbgetc(void *buf, int key, void *value, int *len, int *pos, int type);

/** Occurrence nth as a string, by fbgetvalt().
 *
 * @param buf  the field buffer
 * @param key  the field
 * @param nth  which of its occurrences
 * @return the characters, as of fbgetvalt(); null on failure, of which #fberror tells
 */
char *fbgetvals(const void *buf, int key, int nth);

/** Occurrence nth as an int, by fbgetvalt().
 *
 * @param buf  the field buffer
 * @param key  the field
 * @param nth  which of its occurrences
 * @return the number; 0 on failure too, of which #fberror alone tells
 */
int fbgetvali(const void *buf, int key, int nth);

/** @} */

/** @defgroup field_compat Compatibility operations
 * The calls that the FML-named ones stand on.
 *
 * They mark nothing as fetched. Where a call has a len, it is null, or on entry the bytes that dest holds (0: enough)
 * and on return the value's length, as fbget() has it: FDL_LEN decides about values that are longer, and when one is
 * refused (#FBENOSPACE) the full length is in `*len`. nth counts from 0. Every call but getFerror() fails with
 * #FBEINVAL when buf is null. Cost: n, the number of records, where none is stated.
 * @{
 */

/** Changes, adds or removes an occurrence.
 *
 * A new last occurrence for nth -1. Else, removes occurrence nth when value is null; gives it the value when it exists;
 * inserts as fbinsert() does, behind null values if need be, when it does not.
 *
 * @param buf    the field buffer
 * @param key    the field
 * @param nth    which of its occurrences, or -1
 * @param value  the value, or null to remove; #FBEINVAL when it is null for nth -1
 * @param len    bytes of a carray
 * @return 1, or -1 with #fberror as of fbput(), fbdelete(), fbupdate() or fbinsert()
 */
int fbchg_tu(void *buf, int key, int nth, const void *value, int len);

/** Changes, adds or removes an occurrence as fbchg_tu() does, with a value that fbtypecvt() converts.
 *
 * @param buf    the field buffer
 * @param key    the field
 * @param nth    which of its occurrences, or -1
 * @param value  the value, of the given type; null removes, when the types are good
 * @param len    bytes of a carray value
 * @param type   the value's type
 * @return 1, or -1 with #fberror as of fbtypecvt() or fbchg_tu()
 */
int fbchg_tut(void *buf, int key, int nth, const void *value, int len, int type);

/** Removes all occurrences of each key of a list. Cost: n for each key.
 *
 * @param buf   the field buffer
 * @param keys  field keys, ended by a 0
 * @return how many occurrences there were in all; #fberror is #FBENOENT when there was none of the last key. -1 with
 *   #FBEINVAL: keys is null
 */
int fbdelall_tu(void *buf, const int *keys);

/** Copies occurrence nth out.
 *
 * @param buf          the field buffer
 * @param key          the field
 * @param nth          which of its occurrences
 * @param[out] dest    receives the value
 * @param[in,out] len  null, or the bytes of dest, then those of the value; see above
 * @return 1, or -1 with #fberror:
 *   - #FBENOENT: no such occurrence
 *   - #FBENOSPACE: the value is refused as too long
 *   - #FBEINVAL: dest is null
 *   - #FBETYPE: the record's type is unknown
 */
int fbget_tu(const void *buf, int key, int nth, void *dest, int *len);

/** Copies occurrence nth out, converted to a type as fbgetc() does it.
 *
 * @param buf          the field buffer
 * @param key          the field
 * @param nth          which of its occurrences
 * @param[out] dest    receives the converted value
 * @param[in,out] len  null, or the bytes of dest, then those of the value; see above
 * @param type         the type to convert to
 * @return 1, or -1 with #FBENOENT, no such occurrence, or as fbgetc()
 */
int fbget_tut(const void *buf, int key, int nth, void *dest, int *len, int type);

/** Copies occurrence 0 out as fbget_tut() does.
 *
 * @param buf          the field buffer
 * @param key          the field
 * @param[out] value   receives the converted value
 * @param[in,out] len  null, or the bytes of value, then those of what it received; see above
 * @param type         the type to convert to
 * @return as fbget_tut()
 */
int fbgett(const void *buf, int key, void *value, int *len, int type);

/** The address of the value of the last occurrence.
 *
 * @param buf       the field buffer
 * @param key       the field
 * @param[out] occ  null, or receives the number of that occurrence; not written when there is none
 * @param[out] len  as of fbgetval()
 * @return the value in the buffer, as of fbgetval(); null with #FBENOENT: there is none
 */
void *fbgetval_last_tu(const void *buf, int key, int *occ, int *len);

/** Copies the last occurrence out.
 *
 * @param buf          the field buffer
 * @param key          the field
 * @param[out] occ     null, or receives the number of that occurrence; not written when there is none
 * @param[out] dest    receives the value
 * @param[in,out] len  as of fbget_tu()
 * @return 1, or -1 with #FBENOENT, there is none, or as fbget_tu()
 */
int fbgetlast_tu(const void *buf, int key, int *occ, void *dest, int *len);

/** The value of occurrence nth in a block of its own.
 *
 * The size of the block takes a string without its terminator and a long as 4 bytes. The block is always large enough
 * for what is in it, but where FDL_LEN enforces lengths, this size is the one enforced: give an extra of 1 for a
 * string's terminator.
 *
 * @param buf            the field buffer
 * @param key            the field
 * @param nth            which of its occurrences
 * @param[in,out] extra  null, or bytes wanted beyond those of the value, and on return the size in all
 * @return a block from malloc, which the caller frees. Null with #fberror:
 *   - #FBENOENT: no such occurrence
 *   - #FBEMALLOC: no memory
 *   - #FBENOSPACE: the value is refused as too long
 *   - #FBEBADFLD: the record's type is unknown
 */
void *fbgetalloc_tu(const void *buf, int key, int nth, int *extra);

/** The value of occurrence nth, converted to a type, in a block of its own.
 *
 * As fbgetalloc_tu(); for the conversion of a number to text its size takes 100 bytes.
 *
 * @param buf            the field buffer
 * @param key            the field
 * @param nth            which of its occurrences
 * @param type           the type to convert to
 * @param[in,out] extra  null, or bytes wanted beyond those of the value, and on return the size in all
 * @return as fbgetalloc_tu(), but with
 *   - #FBEBADFLD: bad type
 *   - #FBETYPE: the record's type is unknown
 */
void *fbgetalloc_tut(const void *buf, int key, int nth, int type, int *extra);

/** Steps through all records, fetched ones included.
 *
 * The buffer may be changed meanwhile as long as the record that the last call gave stays. Cost: n, but a loop over the
 * buffer resumes where the call before it ended.
 *
 * @param buf          the field buffer
 * @param[in,out] key  0 starts, else that of the record that the last call gave; receives the next record's stored key,
 *                     with its fetched mark
 * @param[in,out] occ  the number of that record among those of its key; receives the next record's
 * @param[out] dest    null, or receives the value, unless that is null (0, or empty), which leaves dest untouched
 * @param[in,out] len  null, or on entry the bytes of dest, which must hold the value with a string's terminator or a
 *                     long's 8 bytes, and on return the value's length (a string's without its terminator, a long's 4)
 * @return 1; 0 when there is no further record; -1 with #fberror:
 *   - #FBEINVAL: key or occ is null, or they tell no record
 *   - #FBENOSPACE: dest is too small
 *   - #FBEBADFB: at a record whose key is 0, from which no call could go on
 */
int fbnext_tu(const void *buf, int *key, int *occ, void *dest, int *len);

/** The characters of occurrence nth of a string field.
 *
 * @param buf  the field buffer
 * @param key  a string field
 * @param nth  which of its occurrences
 * @return the characters in the buffer; the empty string when there is no such occurrence, when the key is not a
 *   string's, or when buf is null
 */
char *fbgetvals_tu(const void *buf, int key, int nth);

/** Occurrence nth of a short, int or long field.
 *
 * @param buf  the field buffer
 * @param key  a short, int or long field
 * @param nth  which of its occurrences
 * @return the number, widened without a sign; 0 with #fberror:
 *   - #FBETYPE: a key of another type
 *   - #FBENOENT: no such occurrence
 */
long fbgetvall_tu(const void *buf, int key, int nth);

/** The value of #fberror.
 *
 * @return the code of the last field-buffer call
 */
int getFerror(void);

/** @} */

/** @defgroup field_buffers Whole field buffers
 * Copies, comparison and joins of two buffers, and the projection of one.
 *
 * Fields of the two match occurrence by occurrence: the first of a key in the source matches the first of it in the
 * destination, the second the second. Fetched marks do not count here, and no field of a join carries one.
 * @{
 */

#define FB_OP_COPY_WHOLE 1 /**< fbbufop(): all bytes of the source's capacity */
#define FB_OP_COPY 2       /**< fbbufop(): the source's fields */
#define FB_OP_COMPARE 3    /**< fbbufop(): compare, change nothing */
#define FB_OP_CONCAT 4     /**< fbbufop(): the source's fields behind those of the destination */
#define FB_OP_JOIN 5       /**< fbbufop(): matching fields alone, with the source's values */
#define FB_OP_OUTER_JOIN 6 /**< fbbufop(): all fields of the destination, matching ones with the source's values */
#define FB_OP_UPDATE 7     /**< fbbufop(): the same, then the fields of the source that match none */

/** Combines src into dest. Cost: the bytes copied or compared; joins n log n in the number of records.
 *
 * @param dest  the destination, as it was after a failure
 * @param src   the source
 * @param op    #FB_OP_COPY_WHOLE to #FB_OP_UPDATE
 * @return 1. #FB_OP_COMPARE returns 0 (same capacity and same fields), -1 (dest is shorter, or a field of it has a
 *   lower key than the one at the same place in src) or 1, with #fberror 0. Failures return -1 with #fberror:
 *   - #FBEINVAL: null buffer, unknown operation, or a copy of what is no field buffer
 *   - #FBENOSPACE: the result does not fit dest
 *   - #FBEMALLOC: no memory
 *   - #FBEBADFB: a used length that leaves no place for fields
 *   - for joins, the code with which fbput() would refuse a field
 */
int fbbufop(void *dest, const void *src, int op);

/** Keeps the fields whose keys are listed, in their order. Cost: n log k for n records and k keys.
 *
 * Fetched fields are dropped.
 *
 * @param dest  the destination, as it was after a failure
 * @param src   the source of the fields that take the place of what dest holds, or null for those of dest itself
 * @param keys  32-bit keys, ended by a 0
 * @return 1, or -1 with #fberror:
 *   - #FBEINVAL: dest or keys is null
 *   - #FBENOSPACE: they do not fit dest
 *   - #FBEMALLOC: no memory, for a long list
 */
int fbbufop_proj(void *dest, const void *src, const int *keys);

/** @} */

/** @defgroup field_streams Streams and printing
 * Field buffers in files, and as text.
 *
 * Each call returns 1, or -1 with #FBEINVAL when buf or stream is null. Streams stay the caller's and are left open.
 * @{
 */

/** Writes a buffer as it lies in memory: the 136 bytes of its hidden header and its whole capacity, in host order.
 *
 * @param buf     the field buffer
 * @param stream  where to
 * @return 1, or -1 with #fberror:
 *   - #FBEOS: not all could be written
 *   - #FBEBADFB: the buffer's header is damaged
 */
int fbwrite(const void *buf, FILE *stream);

/** Reads what fbwrite() wrote in place of what buf holds; of the stored hidden header only the capacity counts.
 *
 * What is read is not examined: fbisfbuf() tells whether it is a field buffer.
 *
 * @param buf     the field buffer, as it was after a failure
 * @param stream  where from
 * @return 1, or -1 with #fberror:
 *   - #FBEOS: the stream ends early
 *   - #FBENOSPACE: buf is smaller than what was written
 *   - #FBEMALLOC: no memory
 */
int fbread(void *buf, FILE *stream);

/** Lists the fields, a line each. "(r) " marks a fetched one.
 *
 * Names come from the field table; they are empty where it has none.
 *
 * @param buf     the field buffer
 * @param stream  where to
 * @return 1, or -1 with #FBEBADFB: no field buffer, which the stream is told too
 */
int fbfprint(const void *buf, FILE *stream);

/** Lists the fields on standard output, as fbfprint() does.
 *
 * @param buf  the field buffer
 * @return as fbfprint()
 */
int fbprint(const void *buf);

/** Applies a text of assignments, one a line, its columns separated by tabs.
 *
 * - `NAME` tab `VALUE`: adds an occurrence
 * - `+NAME` tab `VALUE`: inserts as occurrence 0
 * - `-NAME` tab: deletes occurrence 0
 * - `=NAME` tab `SOURCE`: copies occurrence 0 of the field SOURCE into occurrence 0 of NAME
 * - `#` anything: is ignored, as are empty lines and lines without a tab
 *
 * A name that begins with a digit from 1 to 8 is a key in decimal. A string or carray gets the text; a number gets its
 * bytes from the first characters, as they are, with zeros behind the last: text is not converted. A line has up to
 * 8099 characters and a longer one is taken in pieces; so many bytes can be copied, and a longer source fails with
 * #FBENOSPACE unless the setting FDL_LEN is TRU, which cuts it.
 *
 * The first assignment that fails ends the call with the code of its operation, those before it staying applied.
 * #fberror is not reset on entry: a text without assignments leaves it as it was.
 *
 * @param buf     the field buffer
 * @param stream  the text
 * @return 1, or -1 with the #fberror of the operation that failed; an unknown name fails with #FBETYPE, or with
 *   #FBENOENT where its field is to be deleted or copied from
 */
int fbextread(void *buf, FILE *stream);

/** @} */

/** @defgroup field_structs Structs and fields
 * Moving the members of an application's structs to fields and back.
 *
 * The struct is the caller's, laid out as its description says (see _sdlfile_load()); of its name at most 16 characters
 * count. Element i of a member is occurrence i of the member's field; members of strings and carrays have as many
 * elements as their element length fits. A field of another type than its member is converted. All calls fail with
 * #FBEBADSTRUCT when the struct is not described, and with #FBEINVAL when the address of a struct or buffer is null.
 * @{
 */

/** Fills a struct from a field buffer.
 *
 * Elements without an occurrence get their null value; a text is cut to its element (then without terminator) or filled
 * up with zero bytes, except that one from a carray field leaves the rest of the element alone.
 *
 * @param buf          the field buffer
 * @param[out] record  the struct
 * @param name         its name
 * @return 1, or -1; a missing field leaves #FBENOENT in #fberror all the same
 */
int fbftos(const void *buf, void *record, const char *name);

/** Moves the elements of a struct that are not null into a field buffer.
 *
 * Mode 4 adds them as new occurrences, and those that do not fit are left out: #fberror tells of the last one. Modes
 * #FB_OP_JOIN, #FB_OP_OUTER_JOIN and #FB_OP_UPDATE gather them in a work buffer, which is joined as by fbbufop(). The
 * work buffer has 4 bytes for each byte of the struct, 1024 at least: in a larger struct the last of very small
 * elements (char arrays, texts below 4 bytes, numbers that become texts or doubles) do not fit and are left out.
 *
 * @param buf     the field buffer
 * @param record  the struct
 * @param mode    4 (#FB_OP_CONCAT) to 7 (#FB_OP_UPDATE)
 * @param name    the struct's name
 * @return 1, or -1 with #fberror as of fbbufop(), or
 *   - #FBEINVAL: a null address, or another mode
 *   - #FBEMALLOC: no memory
 */
int fbstof(void *buf, const void *record, int mode, const char *name);

/** Whether an occurrence of a member is zero, whatever its null value. In strings and carrays, occurrences are bytes.
 *
 * @param record      the struct
 * @param member      the member's name
 * @param occurrence  which of its elements, or bytes
 * @param name        the struct's name
 * @return 1, 0, or -1 with #fberror:
 *   - #FBEINVAL: a null address
 *   - #FBEBADSTRUCT: the struct is not described, or the occurrence is outside the member's count
 *   - 0: unknown member
 */
int fbsnull(const void *record, const char *member, int occurrence, const char *name);

/** Sets a whole struct to its null values.
 *
 * A text that is too long is cut to end within its element; bytes behind it stay.
 *
 * @param[out] record  the struct
 * @param name         its name
 * @return 1, or -1
 */
int fbstinit(void *record, const char *name);

/** Sets all members of one name to their null values, as fbstinit() does.
 *
 * @param[out] record  the struct
 * @param member       the members' name, or null for all members
 * @param name         the struct's name
 * @return 1, also when no member has the name, or -1
 */
int fbstelinit(void *record, const char *member, const char *name);

/** @} */

VXA_END_DECLS

#endif
