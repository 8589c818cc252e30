// The trace hook as the library sees it: whether a host replaced it, which is one comparison.
#pragma once

#include "vxa/vxa_host.h"

namespace vxa::trace {

// The address of the library's own definition. It is read from memory on purpose: a compiler that saw both addresses
// would assume that two functions differ.
extern decltype(&_vesk_trace) const own_hook;

inline bool hook_replaced() { return &_vesk_trace != own_hook; }

}  // namespace vxa::trace
