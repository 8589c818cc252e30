/* XATMI (X/Open CAE Specification C506): typed buffers, and calls of services behind the gateway.
 *
 * One thread at a time: the library keeps its state per process and takes no locks.
 */
#ifndef VXA_XATMI_H
#define VXA_XATMI_H

#include <stdint.h>

#include "vxa_decls.h"

VXA_BEGIN_DECLS

/* Error number of the last XATMI or typed-buffer call. A failed reply may carry any of the XATMI numbers. */
extern int32_t tperrno;

/* The application return code of the last reply. */
extern long tpurcode;

#define TPEABORT 1    /* the transaction was aborted */
#define TPEBADDESC 2  /* unknown call descriptor, or no call outstanding */
#define TPEBLOCK 3    /* a blocking condition under TPNOBLOCK */
#define TPEINVAL 4    /* invalid argument or flag; input longer than its buffer */
#define TPELIMIT 5    /* too many calls outstanding, or no open link for one */
#define TPENOENT 6    /* unknown buffer type, subtype or service */
#define TPEOS 7       /* the operating system refused memory */
#define TPEPERM 8     /* no permission */
#define TPEPROTO 9    /* call out of order */
#define TPESVCERR 10  /* the service broke */
#define TPESVCFAIL 11 /* the service failed; its reply says why */
#define TPESYSTEM 12  /* error in the link or the system */
#define TPETIME 13    /* a timed wait ran out */
#define TPETRAN 14    /* the transaction cannot be joined */
#define TPGOTSIG 15   /* interrupted by a signal */
#define TPERMERR 16   /* a resource manager failed */
#define TPEITYPE 17   /* the input is not a typed buffer that can be sent */
#define TPEOTYPE 18   /* the output is not a typed buffer, or the reply's type differs from it under TPNOCHANGE */

/* Flags of the calls below; each call says which it takes. */
#define TPNOBLOCK 0x00000001
#define TPSIGRSTRT 0x00000002
#define TPNOREPLY 0x00000004
#define TPNOTRAN 0x00000008
#define TPNOTIME 0x00000020
#define TPGETANY 0x00000080
#define TPNOCHANGE 0x00000100
#define TPACKWAIT 0x00000200 /* tpacall: wait until the gateway acknowledges the request */

/* ---- Typed buffers --------------------------------------------------------------------------------------------- */

/* Allocates a typed buffer.
 *
 * type: "STRING", "CARRAY", "X_OCTET", "FIELD", "FML", "FML32", "STRUCT", "VIEW", "X_C_TYPE", "X_COMMON", "TPSTART",
 *   "TPINIT" or "HEADER". subtype: for the struct types the struct's name (at most 16 characters count), else ignored
 *   and may be null. size: bytes of data wanted, taken as a signed 32-bit value; every type has a minimum (1024 bytes
 *   for most, a struct's own size) and a field buffer gets 8 bytes more. With VESK_STRING_NULL set to Y in the
 *   environment, a STRING above the minimum gets one byte more for its terminator.
 * Returns the data, zeroed, which the caller releases with tpfree; a field buffer is initialised and empty. Null on
 *   failure, tperrno: TPEINVAL (type is null), TPENOENT (unknown type, or struct without a description), TPEOS.
 */
char *tpalloc(const char *type, const char *subtype, long size);

/* Resizes a typed buffer to size bytes of data, by the rules of tpalloc (a TPINIT is held to 76 bytes, a struct to
 * 1024). Contents are kept, growth is zeroed, and a string longer than size is cut to end within it.
 *
 * Returns the data, which may have moved (ptr is then invalid); null on failure, the old buffer being as it was.
 * tperrno: TPEINVAL (ptr is null or no typed buffer), TPENOENT (its type is unknown), TPEOS.
 */
char *tprealloc(char *ptr, long size);

/* Tells what a typed buffer is.
 *
 * type: null, or 8 bytes that receive the name of the buffer's type: STRUCT, FIELD, STRING, CARRAY, TPSTART or HEADER,
 *   whichever alias it was allocated under. subtype: null, or 16 bytes that receive the subtype, filled with zero
 *   bytes and not terminated when it has 16 characters.
 * Returns the data capacity in bytes, or -1 with TPEINVAL (ptr is no typed buffer). tperrno is not reset by a success.
 */
long tptypes(const char *ptr, char *type, char *subtype);

/* Releases a typed buffer. Null, and a pointer without a typed buffer's mark in front of it, are ignored. */
void tpfree(char *ptr);

/* A text for an error number: always a single blank. */
const char *tpstrerror(int error);

/* ---- Service calls (over the link that xa_open made, inside the transaction that xa_start named) ----------------- */

VXA_END_DECLS

#endif
