// The field-buffer error code, and the call frame of the calls that set it.
#pragma once

#include "trace/api_call.h"
#include "vxa/fbuf.h"

namespace vxa {

// The text of a code, as fbstrerror gives it.
const char* fb_error_text(int code);

struct FbErrorDomain {
  static int get() { return fberror; }
  static void set(int code) { fberror = code; }
  static const char* text(int code) { return fb_error_text(code); }
};

using FbCall = ApiCall<FbErrorDomain>;

}  // namespace vxa
