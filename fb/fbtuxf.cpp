// The FML names: each calls the field-buffer call beside it, which reports itself and sets the error code.
#include "vxa/fml.h"

namespace {

// The interface hands out plain pointers where the calls behind it give addresses, and texts that are not to be
// written to.
char* chars(void* value) { return static_cast<char*>(value); }
char* chars(const char* text) { return const_cast<char*>(text); }
FBFR* buffer(void* buf) { return static_cast<FBFR*>(buf); }

}  // namespace

extern "C" {

// A table, an entry a line.
// clang-format off
FLDID Fldid(const char* name) { return fbget_fldkey(name); }
char* Fname(FLDID id) { return chars(fbget_fldname(id)); }
FLDOCC Fldno(FLDID id) { return fbget_fldno(id); }
int Fldtype(FLDID id) { return fbget_fldtype(id); }
char* Ftype(FLDID id) { return chars(fbget_strfldtype(id)); }
FLDID Fmkfldid(int type, FLDID number) { return fbmake_fldkey(type, number); }

int Fielded(const FBFR* fbfr) { return fbisfbuf(fbfr); }
long Fneeded(FLDOCC fields, FLDLEN bytes) { return fbcalcsize(fields, bytes); }
int Finit(FBFR* fbfr, FLDLEN size) { return fbinit(fbfr, size); }
FBFR* Falloc(FLDOCC fields, FLDLEN bytes) { return buffer(fballoc(fields, bytes)); }
int Ffree(FBFR* fbfr) { return fbfree(fbfr); }
long Fsizeof(const FBFR* fbfr) { return fbget_fbsize(fbfr); }
long Funused(const FBFR* fbfr) { return fbget_unused(fbfr); }
long Fused(const FBFR* fbfr) { return fbget_used(fbfr); }
FBFR* Frealloc(FBFR* fbfr, FLDOCC fields, FLDLEN bytes) { return buffer(fbrealloc(fbfr, fields, bytes)); }

int Fmove(void* dest, const FBFR* src) { return fbbufop(dest, src, FB_OP_COPY_WHOLE); }
int Fcpy(FBFR* dest, const FBFR* src) { return fbbufop(dest, src, FB_OP_COPY); }
int Fadd(FBFR* fbfr, FLDID id, const void* value, FLDLEN len) { return fbput(fbfr, id, value, len); }
int Fappend(FBFR* fbfr, FLDID id, const void* value, FLDLEN len) { return fbput(fbfr, id, value, len); }
int Fchg(FBFR* fbfr, FLDID id, FLDOCC occ, const void* value, FLDLEN len) { return fbchg_tu(fbfr, id, occ, value, len); }
int Fcmp(const FBFR* one, const FBFR* other) { return fbbufop(const_cast<FBFR*>(one), other, FB_OP_COMPARE); }
int Fdel(FBFR* fbfr, FLDID id, FLDOCC occ) { return fbdelete(fbfr, id, occ); }
int Fdelall(FBFR* fbfr, FLDID id) { return fbdelall(fbfr, id); }
int Fdelete(FBFR* fbfr, const FLDID* ids) { return fbdelall_tu(fbfr, ids); }
char* Ffind(const FBFR* fbfr, FLDID id, FLDOCC occ, FLDLEN* len) { return chars(fbgetval(fbfr, id, occ, len)); }
char* Ffindlast(const FBFR* fbfr, FLDID id, FLDOCC* occ, FLDLEN* len) { return chars(fbgetval_last_tu(fbfr, id, occ, len)); }
FLDOCC Ffindocc(const FBFR* fbfr, FLDID id, const void* value, FLDLEN len) { return fbgetnth(fbfr, id, value, len); }
int Fget(const FBFR* fbfr, FLDID id, FLDOCC occ, void* value, FLDLEN* len) { return fbget_tu(fbfr, id, occ, value, len); }
char* Fgetalloc(const FBFR* fbfr, FLDID id, FLDOCC occ, FLDLEN* extra) { return chars(fbgetalloc_tu(fbfr, id, occ, extra)); }
int Fgetlast(const FBFR* fbfr, FLDID id, FLDOCC* occ, void* value, FLDLEN* len) { return fbgetlast_tu(fbfr, id, occ, value, len); }
int Fnext(const FBFR* fbfr, FLDID* id, FLDOCC* occ, void* value, FLDLEN* len) { return fbnext_tu(fbfr, id, occ, value, len); }
FLDOCC Fnum(const FBFR* fbfr) { return fbfldcount(fbfr); }
FLDOCC Foccur(const FBFR* fbfr, FLDID id) { return fbkeyoccur(fbfr, id); }
int Fpres(const FBFR* fbfr, FLDID id, FLDOCC occ) { return fbispres(fbfr, id, occ); }
char* Fvals(const FBFR* fbfr, FLDID id, FLDOCC occ) { return fbgetvals_tu(fbfr, id, occ); }
long Fvall(const FBFR* fbfr, FLDID id, FLDOCC occ) { return fbgetvall_tu(fbfr, id, occ); }
int Fconcat(FBFR* dest, const FBFR* src) { return fbbufop(dest, src, FB_OP_CONCAT); }
int Fjoin(FBFR* dest, const FBFR* src) { return fbbufop(dest, src, FB_OP_JOIN); }
int Fojoin(FBFR* dest, const FBFR* src) { return fbbufop(dest, src, FB_OP_OUTER_JOIN); }
int Fproj(FBFR* fbfr, const FLDID* ids) { return fbbufop_proj(fbfr, nullptr, ids); }
int Fprojcpy(FBFR* dest, const FBFR* src, const FLDID* ids) { return fbbufop_proj(dest, src, ids); }
int Fupdate(FBFR* dest, const FBFR* src) { return fbbufop(dest, src, FB_OP_UPDATE); }

int Fvftos(const FBFR* fbfr, void* record, const char* view) { return fbftos(fbfr, record, view); }
int Fvstof(FBFR* fbfr, const void* record, int mode, const char* view) { return fbstof(fbfr, record, mode, view); }
int Fvnull(const void* record, const char* member, FLDOCC occ, const char* view) { return fbsnull(record, member, occ, view); }
int Fvsinit(void* record, const char* view) { return fbstinit(record, view); }
int Fvselinit(void* record, const char* member, const char* view) { return fbstelinit(record, member, view); }

int CFadd(FBFR* fbfr, FLDID id, const void* value, FLDLEN len, int type) { return fbputt(fbfr, id, value, len, type); }
int CFchg(FBFR* fbfr, FLDID id, FLDOCC occ, const void* value, FLDLEN len, int type) { return fbchg_tut(fbfr, id, occ, value, len, type); }
int CFget(const FBFR* fbfr, FLDID id, FLDOCC occ, void* value, FLDLEN* len, int type) { return fbget_tut(fbfr, id, occ, value, len, type); }
char* CFgetalloc(const FBFR* fbfr, FLDID id, FLDOCC occ, int type, FLDLEN* extra) { return chars(fbgetalloc_tut(fbfr, id, occ, type, extra)); }
char* CFfind(const FBFR* fbfr, FLDID id, FLDOCC occ, FLDLEN* len, int type) { return chars(fbgetvalt(fbfr, id, occ, len, type)); }
FLDOCC CFfindocc(const FBFR* fbfr, FLDID id, const void* value, FLDLEN len, int type) { return fbgetntht(fbfr, id, value, len, type); }
char* Ftypcvt(FLDLEN* tolen, int totype, const void* from, int fromtype, FLDLEN fromlen) { return chars(fbtypecvt(tolen, totype, from, fromtype, fromlen)); }

long Fidxused(const FBFR*) { return 0; }
int Findex(FBFR*, FLDOCC) { return 1; }
int Frstrindex(FBFR*, FLDOCC) { return 1; }
FLDOCC Funindex(FBFR*) { return 0; }
long Fchksum(const FBFR*) { return -1; }

int Fread(FBFR* fbfr, FILE* stream) { return fbread(fbfr, stream); }
int Fwrite(const FBFR* fbfr, FILE* stream) { return fbwrite(fbfr, stream); }
int Fprint(const FBFR* fbfr) { return fbprint(fbfr); }
int Ffprint(const FBFR* fbfr, FILE* stream) { return fbfprint(fbfr, stream); }
int Fextread(FBFR* fbfr, FILE* stream) { return fbextread(fbfr, stream); }

char* Fstrerror(int code) { return chars(fbstrerror(code)); }
int F_error(const char* msg) { print_fberror(msg); return 0; }
// clang-format on

}  // extern "C"
