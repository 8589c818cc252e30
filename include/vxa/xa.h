/* X/Open XA, the interface between a transaction manager and a resource manager (X/Open CAE Specification C193), and
 * this library's resource manager switch. */
#ifndef VXA_XA_H
#define VXA_XA_H

#include "vxa_decls.h"

VXA_BEGIN_DECLS

/* A transaction branch identifier. data holds gtrid_length bytes of the global transaction's identifier followed by
 * bqual_length bytes of the branch qualifier; formatID -1 is the null XID. */
#define XIDDATASIZE 128
#define MAXGTRIDSIZE 64
#define MAXBQUALSIZE 64

struct xid_t {
  long formatID;
  long gtrid_length;
  long bqual_length;
  char data[XIDDATASIZE];
};
typedef struct xid_t XID;

/* The switch through which a transaction manager finds a resource manager's entry points. */
#define RMNAMESZ 32
#define MAXINFOSIZE 256

struct xa_switch_t {
  char name[RMNAMESZ]; /* name of the resource manager */
  long flags;          /* its options */
  long version;        /* not 0 */
  int (*xa_open_entry)(char *info, int rmid, long flags);
  int (*xa_close_entry)(char *info, int rmid, long flags);
  int (*xa_start_entry)(XID *xid, int rmid, long flags);
  int (*xa_end_entry)(XID *xid, int rmid, long flags);
  int (*xa_rollback_entry)(XID *xid, int rmid, long flags);
  int (*xa_prepare_entry)(XID *xid, int rmid, long flags);
  int (*xa_commit_entry)(XID *xid, int rmid, long flags);
  int (*xa_recover_entry)(XID *xids, long count, int rmid, long flags);
  int (*xa_forget_entry)(XID *xid, int rmid, long flags);
  int (*xa_complete_entry)(int *handle, int *retval, int rmid, long flags);
};

/* Flags of the switch. */
#define TMNOFLAGS 0x00000000L
#define TMREGISTER 0x00000001L
#define TMNOMIGRATE 0x00000002L
#define TMUSEASYNC 0x00000004L

/* Flags of the entry points. */
#define TMASYNC 0x80000000L
#define TMONEPHASE 0x40000000L
#define TMFAIL 0x20000000L
#define TMNOWAIT 0x10000000L
#define TMRESUME 0x08000000L
#define TMSUCCESS 0x04000000L
#define TMSUSPEND 0x02000000L
#define TMSTARTRSCAN 0x01000000L
#define TMENDRSCAN 0x00800000L
#define TMMULTIPLE 0x00400000L
#define TMJOIN 0x00200000L
#define TMMIGRATE 0x00100000L

/* Return codes: the branch was rolled back. */
#define XA_RBBASE 100
#define XA_RBROLLBACK XA_RBBASE
#define XA_RBCOMMFAIL (XA_RBBASE + 1)
#define XA_RBDEADLOCK (XA_RBBASE + 2)
#define XA_RBINTEGRITY (XA_RBBASE + 3)
#define XA_RBOTHER (XA_RBBASE + 4)
#define XA_RBPROTO (XA_RBBASE + 5)
#define XA_RBTIMEOUT (XA_RBBASE + 6)
#define XA_RBTRANSIENT (XA_RBBASE + 7)
#define XA_RBEND XA_RBTRANSIENT

/* Return codes: outcomes. */
#define XA_NOMIGRATE 9
#define XA_HEURHAZ 8
#define XA_HEURCOM 7
#define XA_HEURRB 6
#define XA_HEURMIX 5
#define XA_RETRY 4
#define XA_RDONLY 3
#define XA_OK 0

/* Return codes: errors. */
#define XAER_ASYNC (-2)
#define XAER_RMERR (-3)
#define XAER_NOTA (-4)
#define XAER_INVAL (-5)
#define XAER_PROTO (-6)
#define XAER_RMFAIL (-7)
#define XAER_DUPID (-8)
#define XAER_OUTSIDE (-9)

/* The resource manager "VeskXA". Its open string names the gateway: "host=ADDRESS:PORT+timeout=SECONDS+dbglvl=N", the
 * options in any order, separated by '+'; host is required. Without a timeout each synchronous call polls the link
 * once and fails unless the reply is already there: always give one. */
extern struct xa_switch_t veskxaosw;

/* The entry points of the switch, by name. They follow the XA standard; what is particular to this resource manager:
 *
 * vesk_xa_open: accepts TMASYNC, but always runs synchronously. XA_OK; XAER_INVAL when it is open already under another
 *   rmid; XAER_PROTO for other flags; -1 when the open string is bad, the gateway cannot be reached (10 attempts,
 *   100 ms apart) or memory is short; the link is then closed.
 * vesk_xa_close: accepts TMASYNC, TMSUCCESS, TMSUSPEND and TMMIGRATE. Tells the gateway nothing.
 * vesk_xa_start: accepts TMASYNC, TMNOWAIT, TMRESUME, TMJOIN. A successful synchronous start sets txid.
 * vesk_xa_end: accepts TMASYNC, TMSUCCESS, TMSUSPEND and TMMIGRATE. TMFAIL is refused with XAER_PROTO.
 * vesk_xa_rollback, vesk_xa_prepare: accept TMASYNC.
 * vesk_xa_commit: accepts TMASYNC, TMNOWAIT and TMONEPHASE.
 * The five verbs return the gateway's result code; with TMASYNC a handle of 0 or more, whose result vesk_xa_complete
 *   collects. XAER_INVAL: not open, a null XID, XID lengths that are negative or exceed 128 bytes together, another
 *   rmid. XAER_PROTO: other flags. XAER_RMFAIL: the request could not be sent. XAER_RMERR: no reply in time.
 * vesk_xa_complete: stores the result of the request with *handle in *retval. With TMNOWAIT: XA_RETRY when it has not
 *   arrived before some other wait; without: XAER_RMERR when it does not arrive in time.
 * vesk_xa_recover, vesk_xa_forget: do nothing and return 0; recovery is between the transaction manager and the
 *   gateway's own operators.
 */
int vesk_xa_open(char *info, int rmid, long flags);
int vesk_xa_close(char *info, int rmid, long flags);
int vesk_xa_start(XID *xid, int rmid, long flags);
int vesk_xa_end(XID *xid, int rmid, long flags);
int vesk_xa_rollback(XID *xid, int rmid, long flags);
int vesk_xa_prepare(XID *xid, int rmid, long flags);
int vesk_xa_commit(XID *xid, int rmid, long flags);
int vesk_xa_recover(XID *xids, long count, int rmid, long flags);
int vesk_xa_forget(XID *xid, int rmid, long flags);
int vesk_xa_complete(int *handle, int *retval, int rmid, long flags);

VXA_END_DECLS

#endif
