/** @file
 * Field buffers under their FML names: what programs written against that interface call.
 *
 * Each call does the work of one field-buffer call, whose name stands behind it and which fbuf.h describes.
 */
#ifndef VXA_FML_H
#define VXA_FML_H

#include <stdio.h>

#include "fbuf.h"
#include "vxa_decls.h"

VXA_BEGIN_DECLS

/** @defgroup fml FML names
 * Field buffers under their FML names, for programs written against that interface.
 *
 * Each call does the work of the field-buffer call whose name stands behind it, with the same arguments in the same
 * order; that call's name is the one in traces. Errors are in #fberror (getFerror()), with the codes of fbuf.h. A
 * buffer from Falloc() may be passed to the calls of fbuf.h as it is, and the other way round.
 * @{
 */

typedef struct vxa_fbfr FBFR; /**< a field buffer */
typedef int FLDID;            /**< a field key */
typedef int FLDOCC;           /**< an occurrence, from 0 */
typedef int FLDLEN;           /**< bytes of a value */

/** @name Keys and names
 * @{
 */
FLDID Fldid(const char *name);          /**< fbget_fldkey() */
char *Fname(FLDID id);                  /**< fbget_fldname(); not to be written to */
FLDOCC Fldno(FLDID id);                 /**< fbget_fldno() */
int Fldtype(FLDID id);                  /**< fbget_fldtype() */
char *Ftype(FLDID id);                  /**< fbget_strfldtype(); not to be written to */
FLDID Fmkfldid(int type, FLDID number); /**< fbmake_fldkey() */
/** @} */

/** @name Lifecycle
 * @{
 */
int Fielded(const FBFR *fbfr);                           /**< fbisfbuf() */
long Fneeded(FLDOCC fields, FLDLEN bytes);               /**< fbcalcsize() */
int Finit(FBFR *fbfr, FLDLEN size);                      /**< fbinit() */
FBFR *Falloc(FLDOCC fields, FLDLEN bytes);               /**< fballoc() */
int Ffree(FBFR *fbfr);                                   /**< fbfree() */
long Fsizeof(const FBFR *fbfr);                          /**< fbget_fbsize() */
long Funused(const FBFR *fbfr);                          /**< fbget_unused() */
long Fused(const FBFR *fbfr);                            /**< fbget_used() */
FBFR *Frealloc(FBFR *fbfr, FLDOCC fields, FLDLEN bytes); /**< fbrealloc() */
/** @} */

/** @name Fields
 * @{
 */
int Fadd(FBFR *fbfr, FLDID id, const void *value, FLDLEN len);                   /**< fbput() */
int Fappend(FBFR *fbfr, FLDID id, const void *value, FLDLEN len);                /**< fbput() */
int Fchg(FBFR *fbfr, FLDID id, FLDOCC occ, const void *value, FLDLEN len);       /**< fbchg_tu() */
int Fdel(FBFR *fbfr, FLDID id, FLDOCC occ);                                      /**< fbdelete() */
int Fdelall(FBFR *fbfr, FLDID id);                                               /**< fbdelall() */
int Fdelete(FBFR *fbfr, const FLDID *ids);                                       /**< fbdelall_tu() */
char *Ffind(const FBFR *fbfr, FLDID id, FLDOCC occ, FLDLEN *len);                /**< fbgetval() */
char *Ffindlast(const FBFR *fbfr, FLDID id, FLDOCC *occ, FLDLEN *len);           /**< fbgetval_last_tu() */
FLDOCC Ffindocc(const FBFR *fbfr, FLDID id, const void *value, FLDLEN len);      /**< fbgetnth() */
int Fget(const FBFR *fbfr, FLDID id, FLDOCC occ, void *value, FLDLEN *len);      /**< fbget_tu() */
char *Fgetalloc(const FBFR *fbfr, FLDID id, FLDOCC occ, FLDLEN *extra);          /**< fbgetalloc_tu() */
int Fgetlast(const FBFR *fbfr, FLDID id, FLDOCC *occ, void *value, FLDLEN *len); /**< fbgetlast_tu() */
int Fnext(const FBFR *fbfr, FLDID *id, FLDOCC *occ, void *value, FLDLEN *len);   /**< fbnext_tu() */
FLDOCC Fnum(const FBFR *fbfr);                                                   /**< fbfldcount() */
FLDOCC Foccur(const FBFR *fbfr, FLDID id);                                       /**< fbkeyoccur() */
int Fpres(const FBFR *fbfr, FLDID id, FLDOCC occ);                               /**< fbispres() */
char *Fvals(const FBFR *fbfr, FLDID id, FLDOCC occ);                             /**< fbgetvals_tu() */
long Fvall(const FBFR *fbfr, FLDID id, FLDOCC occ);                              /**< fbgetvall_tu() */
/** @} */

/** @name Conversion
 * @{
 */
int CFadd(FBFR *fbfr, FLDID id, const void *value, FLDLEN len, int type);                 /**< fbputt() */
int CFchg(FBFR *fbfr, FLDID id, FLDOCC occ, const void *value, FLDLEN len, int type);     /**< fbchg_tut() */
int CFget(const FBFR *fbfr, FLDID id, FLDOCC occ, void *value, FLDLEN *len, int type);    /**< fbget_tut() */
char *CFgetalloc(const FBFR *fbfr, FLDID id, FLDOCC occ, int type, FLDLEN *extra);        /**< fbgetalloc_tut() */
char *CFfind(const FBFR *fbfr, FLDID id, FLDOCC occ, FLDLEN *len, int type);              /**< fbgetvalt() */
FLDOCC CFfindocc(const FBFR *fbfr, FLDID id, const void *value, FLDLEN len, int type);    /**< fbgetntht() */
char *Ftypcvt(FLDLEN *tolen, int totype, const void *from, int fromtype, FLDLEN fromlen); /**< fbtypecvt() */
/** @} */

/** @name Whole buffers
 * @{
 */
int Fmove(void *dest, const FBFR *src);                      /**< fbbufop() with #FB_OP_COPY_WHOLE */
int Fcpy(FBFR *dest, const FBFR *src);                       /**< fbbufop() with #FB_OP_COPY */
int Fcmp(const FBFR *one, const FBFR *other);                /**< fbbufop() with #FB_OP_COMPARE */
int Fconcat(FBFR *dest, const FBFR *src);                    /**< fbbufop() with #FB_OP_CONCAT */
int Fjoin(FBFR *dest, const FBFR *src);                      /**< fbbufop() with #FB_OP_JOIN */
int Fojoin(FBFR *dest, const FBFR *src);                     /**< fbbufop() with #FB_OP_OUTER_JOIN */
int Fupdate(FBFR *dest, const FBFR *src);                    /**< fbbufop() with #FB_OP_UPDATE */
int Fproj(FBFR *fbfr, const FLDID *ids);                     /**< fbbufop_proj() with a null source: in place */
int Fprojcpy(FBFR *dest, const FBFR *src, const FLDID *ids); /**< fbbufop_proj() */
/** @} */

/** @name Streams and printing
 * @{
 */
int Fread(FBFR *fbfr, FILE *stream);         /**< fbread() */
int Fwrite(const FBFR *fbfr, FILE *stream);  /**< fbwrite() */
int Fprint(const FBFR *fbfr);                /**< fbprint() */
int Ffprint(const FBFR *fbfr, FILE *stream); /**< fbfprint() */
int Fextread(FBFR *fbfr, FILE *stream);      /**< fbextread() */
/** @} */

/** @name Structs
 * @{
 */
int Fvftos(const FBFR *fbfr, void *record, const char *view);                     /**< fbftos() */
int Fvstof(FBFR *fbfr, const void *record, int mode, const char *view);           /**< fbstof() */
int Fvnull(const void *record, const char *member, FLDOCC occ, const char *view); /**< fbsnull() */
int Fvsinit(void *record, const char *view);                                      /**< fbstinit() */
int Fvselinit(void *record, const char *member, const char *view);                /**< fbstelinit() */
/** @} */

/** @name Errors
 * @{
 */
char *Fstrerror(int code);    /**< fbstrerror(); not to be written to */
int F_error(const char *msg); /**< print_fberror() @param msg as there @return 0 */
/** @} */

/** @name Without effect: buffers have no index and no checksum
 * @{
 */
long Fidxused(const FBFR *fbfr);            /**< does nothing @param fbfr ignored @return 0 */
int Findex(FBFR *fbfr, FLDOCC interval);    /**< does nothing @param fbfr,interval ignored @return 1 */
int Frstrindex(FBFR *fbfr, FLDOCC indexed); /**< does nothing @param fbfr,indexed ignored @return 1 */
FLDOCC Funindex(FBFR *fbfr);                /**< does nothing @param fbfr ignored @return 0 */
long Fchksum(const FBFR *fbfr);             /**< does nothing @param fbfr ignored @return -1 */
/** @} */

/** @} */

VXA_END_DECLS

#endif
