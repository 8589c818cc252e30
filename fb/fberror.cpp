// The field-buffer error code and its texts.
#include "fb/fberror.h"

#include <cstdio>
#include <iterator>

#include "base/export.h"

int fberror = 0;

VXA_EXPORT const char* const _fberr_strtab[];
const char* const _fberr_strtab[] = {
    "FBEMINNO (bottom of error message codes)",
    "EBEALIGN (alignment error)",
    "FBEFTSYNTAX (bad field table)",
    "FBEBADFB (bad field key buffer)",
    "FBEINVAL (invalid argument)",
    "FBELIMIT (limit over)",
    "FBENOENT (not found)",
    "FBEOS (OS error)",
    "FBEBADFLD (bad field)",
    "FBEPROTO (prototype error)",
    "FBENOSPACE (no space)",
    "FBEMALLOC (malloc error)",
    "FBESYSTEM (system error)",
    "FBETYPE (type error)",
    "FBEMATCH (no match)",
    "FBEBADSTRUCT (bad struct)",
    "FBEVTSYNTAX (bad viewfile)",
    "FBEVFOPEN (file open error)",
    "FBEBADACM",
    "FBENOCNAME (cname not founc)",
    "FBEBADTBL (bad table)",
    "FBEMAXNO (top of error message codes)",
    "",
};
static_assert(std::size(_fberr_strtab) == FBEMAXNO + 2);

namespace vxa {

const char* fb_error_text(int code) { return _fberr_strtab[code < 0 || code > FBEMAXNO ? FBEMAXNO : code]; }

}  // namespace vxa

extern "C" const char* fbstrerror(int code) { return vxa::fb_error_text(code); }

extern "C" int getfberror() { return fberror; }

extern "C" int getfberrno() { return fberror; }

extern "C" int* _tmget_fberror_addr() { return &fberror; }

extern "C" void print_fberror(const char* msg) {
  const bool has_text = fberror >= 0 && fberror < FBEMAXNO;
  std::fprintf(stderr, "%s: %s", msg ? msg : "", has_text ? _fberr_strtab[fberror] : "");
}
