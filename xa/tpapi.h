// Preparation of service requests.
#pragma once

#include "base/export.h"
#include "wire/header.h"

VXA_EXPORT vxa::MsgHeader* _check_args_and_tx(int msgtype, const char* svc, char* idata, long ilen, long flags,
                                              int unused);
VXA_EXPORT int _data_itype_check(const char* idata, long ilen, int unused);
VXA_EXPORT int _check_tx_state(int call_kind, int after_failure);
