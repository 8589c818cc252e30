// The resource manager: link state and the body that the five verbs share.
#pragma once

#include "base/export.h"
#include "vxa/vxa_host.h"
#include "vxa/xa.h"

VXA_EXPORT int _do_xa_request(int code, int rmid, long flags, const XID* xid);
VXA_EXPORT int _connect_to_server(const char* host, int port);
VXA_EXPORT int _get_xid_size(const XID* xid);
