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

/* Calls a service and waits for its reply, without limit.
 *
 * svc: the service's name, at most 31 characters count. idata: a typed buffer, or null for a request without data; it
 *   stays the caller's and its data is not changed, but its hidden header is. ilen: bytes to send of a CARRAY; of a
 *   STRING the string and its terminator are sent when ilen is at most its length, else ilen bytes; of a struct one,
 *   or as many whole ones as ilen holds; otherwise ignored. odata: the address of a pointer to a typed buffer, which
 *   the reply replaces: the old buffer is released and the pointer set to the new one. It may be the input buffer.
 *   olen: receives the reply's bytes. flags: TPNOBLOCK, TPSIGRSTRT, TPNOTRAN, TPNOTIME, TPNOCHANGE; the gateway sees
 *   them, the call itself takes no notice.
 * Returns 1 when the service succeeded; tpurcode is its return code.
 *   -3 when the request could not be sent (tperrno 0), no reply could be read (tperrno 0), or the reply reports a
 *   failure: its data, length and tpurcode are then delivered all the same, and tperrno is its error number, TPESYSTEM
 *   when it has none.
 *   -5 when the link is closed, an output argument is null or a flag is none of these (tperrno unchanged), or the input
 *   is refused: TPEINVAL (null svc, negative length or one beyond the buffer), TPEITYPE, TPESYSTEM (no memory).
 *   -6 when *odata is no typed buffer (tperrno unchanged).
 *
 * The next message on the link is taken as the reply. Collect the replies of outstanding tpacalls first.
 */
int tpcall(const char *svc, char *idata, long ilen, char **odata, long *olen, long flags);

/* Calls a service without waiting for its reply, which tpgetrply collects.
 *
 * svc, idata, ilen: as for tpcall. flags: TPNOBLOCK, TPSIGRSTRT, TPNOTIME, TPNOTRAN; TPNOREPLY: there will be no reply;
 *   TPACKWAIT: wait until the gateway has acknowledged the request, see _bc_timeout in vxa_host.h; 0x400, which only
 *   the gateway reads.
 * Returns the call's descriptor, 1 or more, or 0 under TPNOREPLY. -1 on failure, tperrno: TPEINVAL (null svc, length,
 *   flags), TPEITYPE, TPELIMIT (16 calls are outstanding, or the link was never opened), TPESYSTEM (no memory, or the
 *   acknowledgement is none), TPETIME (no acknowledgement in time), the error number of the acknowledgement, or 0 when
 *   the link failed.
 */
int tpacall(const char *svc, char *idata, long ilen, long flags);

/* Collects the reply of a tpacall.
 *
 * cd: the address of the call's descriptor; under TPGETANY it receives the descriptor of the call that was answered.
 *   odata: the address of a pointer to a typed buffer, which receives the reply: a reply that fits may be copied into
 *   it, any other takes its place as in tpcall. olen: receives the reply's bytes. flags: TPGETANY: any call's reply;
 *   TPNOCHANGE: refuse a reply of another type or subtype than the output buffer's, looked at where the reply is
 *   matched or was kept; TPNOBLOCK, TPNOTIME: no limit to the wait; TPSIGRSTRT: no effect.
 * A reply that arrived earlier is handed out at once. Otherwise the call waits for it _bc_timeout seconds (vxa_host.h)
 *   when that is positive and neither TPNOBLOCK nor TPNOTIME is given; else it waits without limit and takes the next
 *   message on the link, whatever call it answers.
 * Returns 1, the descriptor being free. -1 on failure, tperrno: TPEINVAL (flags, null arguments), TPEBADDESC (no such
 *   call, or none outstanding), TPEOTYPE (*odata is no typed buffer; TPNOCHANGE), TPETIME, TPESYSTEM, or 0 when the
 *   link failed. A reply that reports a failure is delivered like any other, its descriptor is free, and tperrno is its
 *   error number, TPESYSTEM when it has none.
 */
int tpgetrply(int *cd, char **odata, long *olen, long flags);

VXA_END_DECLS

#endif
