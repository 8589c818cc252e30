// The field-buffer error code, and the call frame of the calls that set it.
#pragma once

#include "trace/api_call.h"
#include "vxa/fbuf.h"

namespace vxa {

struct FbErrorDomain {
  static int get() { return fberror; }
  static void set(int code) { fberror = code; }
  static const char* text(int code) { return fbstrerror(code); }
};

using FbCall = ApiCall<FbErrorDomain>;

}  // namespace vxa
