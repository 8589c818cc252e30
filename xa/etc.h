// Descriptors of asynchronous calls: which calls are outstanding, and the replies that came before they were asked for.
#pragma once

#include "base/export.h"
#include "wire/header.h"

namespace vxa::acall {

inline constexpr int kNone = -1;

// Makes a table of n free slots in place of the one before, whose replies are released. False when n is below 1 or
// memory is short; there is then no table.
bool create_table(int n);

// Files a new call; its descriptor, or kNone when the table is full or absent.
int create(std::uint32_t flags);

// The slot of an outstanding call, or kNone.
int find(int cd);

// The slot with the lowest index that holds a reply, or kNone.
int first_ready();

// Keeps a reply in the slot of its call, in place of an earlier one.
void park(int slot, Message reply);

// Hands over the reply of a slot, null when there is none. The call stays outstanding.
Message take(int slot);

// Ends a call: its slot is free, and a reply that nobody took is released.
void close(int slot);

// Waits until the gateway's socket is readable: 1, 0 when the time ran out, -1 after an error (logged). 0 polls.
int wait_for_gateway(int secs);

}  // namespace vxa::acall

VXA_EXPORT int _init_acall(int n, int unused, int fd);
VXA_EXPORT int _create_acall_cd(long flags);
VXA_EXPORT int _get_acall_cd_ind(int cd, int unused);
VXA_EXPORT int _make_acall_cd_invalid(int slot);
VXA_EXPORT int _get_acall_ind_from_ready(void);
VXA_EXPORT int _set_bc_timer(int secs);
