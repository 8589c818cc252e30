/* The record of a transfer. transfer_fb.c makes and reads it with the fb calls, transfer_fml.c with the FML names; the
 * rest of the program is the same. */
#ifndef TRANSFER_H
#define TRANSFER_H

/* A new field buffer that asks for the transfer; the caller releases it with tpfree. Null when it cannot be made. */
char *transfer_request(const char *from, const char *to, long cents);

/* What the reply says: the new balance of the account that pays, or why there is none. */
long transfer_balance(char *reply);
const char *transfer_message(char *reply);

#endif
