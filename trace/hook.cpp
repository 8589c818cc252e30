// The library's own trace hook, which does nothing. A host that defines _vesk_trace takes its place; nothing else
// lives in this file, so that no compiler can join the definition with the comparison against it.
#include "trace/hook.h"

extern "C" int _vesk_trace(const char*, int, int, const char*, ...) { return 1; }

extern "C" __attribute__((visibility("hidden"), alias("_vesk_trace"))) int vxa_own_trace(const char*, int, int,
                                                                                         const char*, ...);

namespace vxa::trace {

decltype(&_vesk_trace) const own_hook = &vxa_own_trace;

}  // namespace vxa::trace

extern "C" int _internal_call_chk() { return 1; }
