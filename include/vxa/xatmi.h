/** @file
 * XATMI (X/Open CAE Specification C506): typed buffers, and calls of services behind the gateway.
 *
 * One thread at a time: the library keeps its state per process and takes no locks.
 */
#ifndef VXA_XATMI_H
#define VXA_XATMI_H

#include <stdint.h>

#include "vxa_decls.h"

VXA_BEGIN_DECLS

/** @defgroup xatmi_errors XATMI errors
 * What the last XATMI or typed-buffer call, or the service behind it, has to say.
 *
 * The numbers that the library gives itself say where they come from; a failed reply may carry any of them.
 * @{
 */

/** Error number of the last XATMI or typed-buffer call. */
extern int32_t tperrno;

/** The application return code of the last reply. */
extern long tpurcode;

#define TPEABORT 1    /**< the transaction was aborted */
#define TPEBADDESC 2  /**< unknown call descriptor, or no call outstanding */
#define TPEBLOCK 3    /**< a blocking condition under #TPNOBLOCK */
#define TPEINVAL 4    /**< invalid argument or flag; input longer than its buffer */
#define TPELIMIT 5    /**< too many calls outstanding, or no open link for one */
#define TPENOENT 6    /**< unknown buffer type, subtype or service */
#define TPEOS 7       /**< the operating system refused memory */
#define TPEPERM 8     /**< no permission */
#define TPEPROTO 9    /**< call out of order */
#define TPESVCERR 10  /**< the service broke */
#define TPESVCFAIL 11 /**< the service failed; its reply says why */
#define TPESYSTEM 12  /**< error in the link or the system */
#define TPETIME 13    /**< a timed wait ran out */
#define TPETRAN 14    /**< the transaction cannot be joined */
#define TPGOTSIG 15   /**< interrupted by a signal */
#define TPERMERR 16   /**< a resource manager failed */
#define TPEITYPE 17   /**< the input is not a typed buffer that can be sent */
#define TPEOTYPE 18   /**< the output is not a typed buffer, or the reply's type differs from it under #TPNOCHANGE */

/** A text for an error number.
 *
 * @param error  any number; it is not looked at
 * @return a single blank, always
 */
const char *tpstrerror(int error);

/** @} */

/** @defgroup xatmi_flags XATMI flags
 * Flags of the service calls; each call says which it takes.
 *
 * A request carries all of its flags to the gateway.
 * @{
 */

#define TPNOBLOCK 0x00000001  /**< tpgetrply(): no limit to the wait; of a request, for the gateway */
#define TPSIGRSTRT 0x00000002 /**< taken, without effect in the library */
#define TPNOREPLY 0x00000004  /**< tpacall(): there will be no reply */
#define TPNOTRAN 0x00000008   /**< call outside of the transaction; for the gateway */
#define TPNOTIME 0x00000020   /**< tpgetrply(): no limit to the wait; of a request, for the gateway */
#define TPGETANY 0x00000080   /**< tpgetrply(): take any call's reply */
#define TPNOCHANGE 0x00000100 /**< tpgetrply(): refuse a reply of another type; of tpcall(), for the gateway */
#define TPACKWAIT 0x00000200  /**< tpacall(): wait until the gateway acknowledges the request */

/** @} */

/** @defgroup typed_buffers Typed buffers
 * Memory that knows its type, so that it can be sent to a service.
 *
 * A call takes and gives the address of the data; a hidden header in front of it holds type and capacity. The calls set
 * #tperrno.
 * @{
 */

/** Allocates a typed buffer.
 *
 * Every type has a minimum size: 1024 bytes for most, a struct's own size. A field buffer gets 8 bytes more than asked
 * for. With VESK_STRING_NULL set to Y in the environment, a STRING above the minimum gets one byte more for its
 * terminator.
 *
 * @param type     "STRING", "CARRAY", "X_OCTET", "FIELD", "FML", "FML32", "STRUCT", "VIEW", "X_C_TYPE", "X_COMMON",
 *                 "TPSTART", "TPINIT" or "HEADER"
 * @param subtype  for the struct types the struct's name, of which 16 characters count; else ignored, and may be null
 * @param size     bytes of data wanted, taken as a signed 32-bit value
 * @return the data, zeroed, which the caller releases with tpfree(); a field buffer is initialised and empty. Null on
 *   failure, with #tperrno:
 *   - #TPEINVAL: type is null
 *   - #TPENOENT: unknown type, or a struct without a description
 *   - #TPEOS: no memory
 */
char *tpalloc(const char *type, const char *subtype, long size);

/** Resizes a typed buffer, by the rules of tpalloc() (a TPINIT is held to 76 bytes, a struct to 1024).
 *
 * Contents are kept, growth is zeroed, and a string longer than size is cut to end within it.
 *
 * @param ptr   the data; invalid after a success
 * @param size  bytes of data wanted, taken as a signed 32-bit value
 * @return the data, which may have moved. Null on failure, the old buffer being as it was, with #tperrno:
 *   - #TPEINVAL: ptr is null or no typed buffer
 *   - #TPENOENT: its type is unknown
 *   - #TPEOS: no memory
 */
char *tprealloc(char *ptr, long size);

/** Tells what a typed buffer is.
 *
 * A success does not reset #tperrno.
 *
 * @param ptr           the data
 * @param[out] type     null, or 8 bytes that receive the name of the buffer's type: STRUCT, FIELD, STRING, CARRAY,
 *                      TPSTART or HEADER, whichever alias it was allocated under
 * @param[out] subtype  null, or 16 bytes that receive the subtype, filled with zero bytes and not terminated when it
 *                      has 16 characters
 * @return the data capacity in bytes, or -1 with #tperrno #TPEINVAL: ptr is no typed buffer
 */
long tptypes(const char *ptr, char *type, char *subtype);

/** Releases a typed buffer.
 *
 * @param ptr  the data; null, and a pointer without a typed buffer's mark in front of it, are ignored
 */
void tpfree(char *ptr);

/** @} */

/** @defgroup service_calls Service calls
 * Requests to services, over the link that vesk_xa_open() made, inside the transaction that vesk_xa_start() named.
 * @{
 */

/** Calls a service and waits for its reply, without limit.
 *
 * The next message on the link is taken as the reply. Collect the replies of outstanding tpacall()s first.
 *
 * @param svc            the service's name, of which 31 characters count
 * @param idata          a typed buffer, or null for a request without data; it stays the caller's and its data is not
 *                       changed, but its hidden header is
 * @param ilen           bytes to send of a CARRAY. Of a STRING the string and its terminator are sent when ilen is at
 *                       most its length, else ilen bytes; of a struct one, or as many whole ones as ilen holds.
 *                       Otherwise ignored.
 * @param[in,out] odata  the address of a pointer to a typed buffer, which the reply replaces: the old buffer is
 *                       released and the pointer set to the new one. It may be the input buffer.
 * @param[out] olen      receives the reply's bytes
 * @param flags          #TPNOBLOCK, #TPSIGRSTRT, #TPNOTRAN, #TPNOTIME, #TPNOCHANGE; the gateway sees them, the call
 *                       itself takes no notice
 * @retval 1   the service succeeded; #tpurcode is its return code
 * @retval -3  the request could not be sent (#tperrno 0), no reply could be read (#tperrno 0), or the reply reports a
 *             failure: its data, length and #tpurcode are then delivered all the same, and #tperrno is its error
 *             number, #TPESYSTEM when it has none
 * @retval -5  the link is closed, an output argument is null or a flag is none of these (#tperrno unchanged), or the
 *             input is refused: #TPEINVAL (null svc, negative length or one beyond the buffer), #TPEITYPE, #TPESYSTEM
 *             (no memory)
 * @retval -6  `*odata` is no typed buffer (#tperrno unchanged)
 */
int tpcall(const char *svc, char *idata, long ilen, char **odata, long *olen, long flags);

/** Calls a service without waiting for its reply, which tpgetrply() collects.
 *
 * @param svc    the service's name, of which 31 characters count
 * @param idata  as for tpcall()
 * @param ilen   as for tpcall()
 * @param flags  #TPNOBLOCK, #TPSIGRSTRT, #TPNOTIME, #TPNOTRAN; #TPNOREPLY: there will be no reply; #TPACKWAIT: wait
 *               until the gateway has acknowledged the request, for #_bc_timeout seconds; 0x400, which only the gateway
 *               reads
 * @return the call's descriptor, 1 or more, or 0 under #TPNOREPLY. -1 on failure, #tperrno being the error number of
 *   the acknowledgement, 0 when the link failed, or
 *   - #TPEINVAL: null svc, a bad length or flag
 *   - #TPEITYPE: idata cannot be sent
 *   - #TPELIMIT: 16 calls are outstanding, or the link was never opened
 *   - #TPESYSTEM: no memory, the wait failed, or what came is no acknowledgement
 *   - #TPETIME: no acknowledgement in time
 */
int tpacall(const char *svc, char *idata, long ilen, long flags);

/** Collects the reply of a tpacall().
 *
 * A reply that arrived earlier is handed out at once. Otherwise the call waits for it #_bc_timeout seconds when that is
 * positive and neither #TPNOBLOCK nor #TPNOTIME is given; else it waits without limit and takes the next message on the
 * link, whatever call it answers.
 *
 * A reply that reports a failure is delivered like any other, its descriptor is free, and #tperrno is its error number,
 * #TPESYSTEM when it has none.
 *
 * @param[in,out] cd     the address of the call's descriptor; under #TPGETANY it receives the descriptor of the call
 *                       that was answered
 * @param[in,out] odata  the address of a pointer to a typed buffer, which receives the reply: a reply that fits may be
 *                       copied into it, any other takes its place as in tpcall()
 * @param[out] olen      receives the reply's bytes
 * @param flags          #TPGETANY: any call's reply; #TPNOCHANGE: refuse a reply of another type or subtype than the
 *                       output buffer's, looked at where the reply is matched or was kept; #TPNOBLOCK, #TPNOTIME: no
 *                       limit to the wait; #TPSIGRSTRT: no effect
 * @return 1, the descriptor being free. -1 on failure, #tperrno being 0 when the link failed, or
 *   - #TPEINVAL: a bad flag, a null argument
 *   - #TPEBADDESC: no such call, or none outstanding
 *   - #TPEOTYPE: `*odata` is no typed buffer, or the reply is refused under #TPNOCHANGE
 *   - #TPETIME: no reply in time
 *   - #TPESYSTEM: no memory, the wait failed, or a message of an unknown kind came
 */
int tpgetrply(int *cd, char **odata, long *olen, long flags);

/** @} */

VXA_END_DECLS

#endif
