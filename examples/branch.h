/* What the examples share: opening the link to a gateway, and driving one transaction branch over it. Trouble ends the
 * program with a line that says what failed. */
#ifndef BRANCH_H
#define BRANCH_H

#include <vxa/xa.h>

enum { RESOURCE_MANAGER = 1 }; /* any number; the same in every call */

/* address: HOST:PORT of the gateway. */
void link_open(const char *address);
void link_close(void);

/* Starts a branch under a name that no other program uses. */
XID branch_start(void);

/* Ends the work in the branch; it is then prepared and committed, or rolled back. */
void branch_end(XID *branch);
void branch_prepare(XID *branch);
void branch_commit(XID *branch);
void branch_rollback(XID *branch);

#endif
