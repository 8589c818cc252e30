/** @file
 * X/Open XA (X/Open CAE Specification C193), the interface between a transaction manager and a resource manager, and
 * this library's resource manager switch.
 */
#ifndef VXA_XA_H
#define VXA_XA_H

#include "vxa_decls.h"

VXA_BEGIN_DECLS

/** @defgroup xa_switch XA branches and switch
 * How a transaction manager names its branches and finds a resource manager's entry points.
 * @{
 */

#define XIDDATASIZE 128 /**< bytes of identifiers that an XID holds */
#define MAXGTRIDSIZE 64 /**< most bytes of a global transaction's identifier */
#define MAXBQUALSIZE 64 /**< most bytes of a branch qualifier */

/** A transaction branch identifier. */
struct xid_t {
  long formatID;          /**< names the format of the identifiers; -1 is the null XID */
  long gtrid_length;      /**< bytes of the global transaction's identifier */
  long bqual_length;      /**< bytes of the branch qualifier */
  char data[XIDDATASIZE]; /**< the global transaction's identifier, the branch qualifier right behind it */
};
typedef struct xid_t XID; /**< a transaction branch identifier */

#define RMNAMESZ 32     /**< bytes of a resource manager's name, its terminator included */
#define MAXINFOSIZE 256 /**< most bytes of an open or close string, its terminator included */

/** The switch through which a transaction manager finds a resource manager's entry points. */
struct xa_switch_t {
  char name[RMNAMESZ]; /**< name of the resource manager */
  long flags;          /**< its options: #TMNOFLAGS, or #TMREGISTER, #TMNOMIGRATE, #TMUSEASYNC */
  long version;        /**< not 0 */

  int (*xa_open_entry)(char *info, int rmid, long flags);                   /**< opens the resource manager */
  int (*xa_close_entry)(char *info, int rmid, long flags);                  /**< closes it */
  int (*xa_start_entry)(XID *xid, int rmid, long flags);                    /**< associates the process with a branch */
  int (*xa_end_entry)(XID *xid, int rmid, long flags);                      /**< ends the association */
  int (*xa_rollback_entry)(XID *xid, int rmid, long flags);                 /**< rolls a branch back */
  int (*xa_prepare_entry)(XID *xid, int rmid, long flags);                  /**< prepares a branch to commit */
  int (*xa_commit_entry)(XID *xid, int rmid, long flags);                   /**< commits a branch */
  int (*xa_recover_entry)(XID *xids, long count, int rmid, long flags);     /**< lists prepared branches */
  int (*xa_forget_entry)(XID *xid, int rmid, long flags);                   /**< forgets a heuristic outcome */
  int (*xa_complete_entry)(int *handle, int *retval, int rmid, long flags); /**< collects an asynchronous result */
};

/** @} */

/** @defgroup xa_flags XA flags
 * Flags of the switch and of its entry points.
 * @{
 */

/** @name Flags of the switch
 * @{
 */
#define TMNOFLAGS 0x00000000L   /**< none; of the entry points, too */
#define TMREGISTER 0x00000001L  /**< the resource manager registers dynamically */
#define TMNOMIGRATE 0x00000002L /**< it does not support the migration of an association */
#define TMUSEASYNC 0x00000004L  /**< it supports asynchronous execution */
/** @} */

/** @name Flags of the entry points
 * @{
 */
#define TMASYNC 0x80000000L      /**< do it asynchronously */
#define TMONEPHASE 0x40000000L   /**< commit without a prepare */
#define TMFAIL 0x20000000L       /**< end the association, the branch being marked to roll back */
#define TMNOWAIT 0x10000000L     /**< do not wait */
#define TMRESUME 0x08000000L     /**< resume a suspended association */
#define TMSUCCESS 0x04000000L    /**< end the association, its work being well done */
#define TMSUSPEND 0x02000000L    /**< suspend the association */
#define TMSTARTRSCAN 0x01000000L /**< begin a recovery scan */
#define TMENDRSCAN 0x00800000L   /**< end a recovery scan */
#define TMMULTIPLE 0x00400000L   /**< wait for any asynchronous operation */
#define TMJOIN 0x00200000L       /**< join a branch that exists */
#define TMMIGRATE 0x00100000L    /**< the suspended association may be resumed elsewhere */
/** @} */

/** @} */

/** @defgroup xa_codes XA return codes
 * What the entry points return.
 * @{
 */

/** @name The branch was rolled back
 * @{
 */
#define XA_RBBASE 100                  /**< lowest code of a rollback */
#define XA_RBROLLBACK XA_RBBASE        /**< for a reason that is not told */
#define XA_RBCOMMFAIL (XA_RBBASE + 1)  /**< a communication failure inside the resource manager */
#define XA_RBDEADLOCK (XA_RBBASE + 2)  /**< a deadlock */
#define XA_RBINTEGRITY (XA_RBBASE + 3) /**< its resources would have become inconsistent */
#define XA_RBOTHER (XA_RBBASE + 4)     /**< for a reason that has no code */
#define XA_RBPROTO (XA_RBBASE + 5)     /**< a protocol error inside the resource manager */
#define XA_RBTIMEOUT (XA_RBBASE + 6)   /**< the branch took too long */
#define XA_RBTRANSIENT (XA_RBBASE + 7) /**< a transient error; the branch may be tried again */
#define XA_RBEND XA_RBTRANSIENT        /**< highest code of a rollback */
/** @} */

/** @name Outcomes
 * @{
 */
#define XA_NOMIGRATE 9 /**< the association must be resumed where it was suspended */
#define XA_HEURHAZ 8   /**< the branch may have been completed heuristically */
#define XA_HEURCOM 7   /**< it was committed heuristically */
#define XA_HEURRB 6    /**< it was rolled back heuristically */
#define XA_HEURMIX 5   /**< it was committed in part and rolled back in part, heuristically */
#define XA_RETRY 4     /**< call again later: done would mean to wait */
#define XA_RDONLY 3    /**< the branch changed nothing and is committed */
#define XA_OK 0        /**< done */
/** @} */

/** @name Errors
 * @{
 */
#define XAER_ASYNC (-2)   /**< an asynchronous operation is outstanding already */
#define XAER_RMERR (-3)   /**< an error in the resource manager */
#define XAER_NOTA (-4)    /**< no such branch */
#define XAER_INVAL (-5)   /**< invalid arguments */
#define XAER_PROTO (-6)   /**< call out of order */
#define XAER_RMFAIL (-7)  /**< the resource manager is not available */
#define XAER_DUPID (-8)   /**< the branch exists already */
#define XAER_OUTSIDE (-9) /**< the resource manager works outside of a global transaction */
/** @} */

/** @} */

/** @defgroup xa_entries VeskXA, the resource manager
 * The switch of this library, and its entry points by name.
 *
 * They follow the XA standard; told here is what is particular to this resource manager.
 *
 * The five verbs vesk_xa_start(), vesk_xa_end(), vesk_xa_rollback(), vesk_xa_prepare() and vesk_xa_commit() each send
 * one request and return the gateway's result code; with #TMASYNC they return a handle of 0 or more, whose result
 * vesk_xa_complete() collects. Their own codes are:
 * - #XAER_INVAL: not open, a null XID, XID lengths that are negative or exceed 128 bytes together, another rmid
 * - #XAER_PROTO: flags other than those that the verb accepts
 * - #XAER_RMFAIL: the request could not be sent
 * - #XAER_RMERR: no reply in time, or none that could be read
 * @{
 */

/** The resource manager "VeskXA". */
extern struct xa_switch_t veskxaosw;

/** Opens the link to the gateway.
 *
 * The open string names the gateway: "host=ADDRESS:PORT+timeout=SECONDS+dbglvl=N", the options in any order, separated
 * by '+'; host is required. Without a timeout each synchronous call polls the link once and fails unless the reply is
 * already there: always give one.
 *
 * @param info   the open string
 * @param rmid   the resource manager id by which the transaction manager calls from now on
 * @param flags  #TMASYNC is accepted, but the call always runs synchronously
 * @retval XA_OK       the link is open; also when it was, under this rmid
 * @retval XAER_INVAL  it is open already under another rmid
 * @retval XAER_PROTO  other flags
 * @retval -1          the open string is bad, the gateway cannot be reached (10 attempts, 100 ms apart) or memory is
 *                     short; the link is then closed
 */
int vesk_xa_open(char *info, int rmid, long flags);

/** Closes the link. The gateway is told nothing.
 *
 * @param info   not looked at
 * @param rmid   not looked at
 * @param flags  #TMASYNC, #TMSUCCESS, #TMSUSPEND and #TMMIGRATE are accepted
 * @retval XA_OK       the link is closed; also when it was
 * @retval XAER_PROTO  other flags
 */
int vesk_xa_close(char *info, int rmid, long flags);

/** Associates the process with a branch.
 *
 * A successful synchronous start sets #txid, which service calls carry.
 *
 * @param xid    the branch
 * @param rmid   the id that the link was opened under
 * @param flags  #TMASYNC, #TMNOWAIT, #TMRESUME and #TMJOIN are accepted
 * @return the gateway's result code, or a code of the verbs (see above)
 */
int vesk_xa_start(XID *xid, int rmid, long flags);

/** Ends or suspends the association with a branch.
 *
 * @param xid    the branch
 * @param rmid   the id that the link was opened under
 * @param flags  #TMASYNC, #TMSUCCESS, #TMSUSPEND and #TMMIGRATE are accepted; #TMFAIL is refused with #XAER_PROTO
 * @return the gateway's result code, or a code of the verbs (see above)
 */
int vesk_xa_end(XID *xid, int rmid, long flags);

/** Rolls a branch back.
 *
 * @param xid    the branch
 * @param rmid   the id that the link was opened under
 * @param flags  #TMASYNC is accepted
 * @return the gateway's result code, or a code of the verbs (see above)
 */
int vesk_xa_rollback(XID *xid, int rmid, long flags);

/** Prepares a branch to commit.
 *
 * @param xid    the branch
 * @param rmid   the id that the link was opened under
 * @param flags  #TMASYNC is accepted
 * @return the gateway's result code, or a code of the verbs (see above)
 */
int vesk_xa_prepare(XID *xid, int rmid, long flags);

/** Commits a branch, in one phase with #TMONEPHASE.
 *
 * @param xid    the branch
 * @param rmid   the id that the link was opened under
 * @param flags  #TMASYNC, #TMNOWAIT and #TMONEPHASE are accepted
 * @return the gateway's result code, or a code of the verbs (see above)
 */
int vesk_xa_commit(XID *xid, int rmid, long flags);

/** Does nothing: recovery is between the transaction manager and the gateway's own operators.
 *
 * @param xids   not written to
 * @param count  not looked at
 * @param rmid   not looked at
 * @param flags  not looked at
 * @return 0, no branches
 */
int vesk_xa_recover(XID *xids, long count, int rmid, long flags);

/** Does nothing, as vesk_xa_recover().
 *
 * @param xid    not looked at
 * @param rmid   not looked at
 * @param flags  not looked at
 * @return 0, #XA_OK
 */
int vesk_xa_forget(XID *xid, int rmid, long flags);

/** Collects the result of a verb that was called with #TMASYNC.
 *
 * @param[in] handle   the handle that the verb returned
 * @param[out] retval  receives the result of the request
 * @param rmid         the id that the link was opened under
 * @param flags        #TMNOWAIT: do not wait for the result
 * @retval XA_OK       the result is in `*retval`
 * @retval XA_RETRY    under #TMNOWAIT: it has not arrived during some other wait
 * @retval XAER_RMERR  without #TMNOWAIT: it does not arrive in time, or cannot be read
 * @retval XAER_INVAL  not open, another rmid, or a null argument
 */
int vesk_xa_complete(int *handle, int *retval, int rmid, long flags);

/** @} */

VXA_END_DECLS

#endif
