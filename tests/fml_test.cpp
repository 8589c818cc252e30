// The FML names, held against the calls that they stand for: each reports itself as that call, with the same arguments,
// and is refused when there is no buffer.
#include "vxa/fml.h"

#include <functional>
#include <tuple>

#include "tests/support/test.h"

namespace {

// Addresses that show in the trace and are not looked at, as the null buffer fails the call first.
template <class T>
T* shown(std::uintptr_t address) {
  return reinterpret_cast<T*>(address);
}

TEST(FmlNames, ForwardTheirArgumentsInOrder) {
  FLDLEN* const len = shown<FLDLEN>(0x10);
  FLDOCC* const occ = shown<FLDOCC>(0x20);
  FLDID* const id = shown<FLDID>(0x30);
  void* const value = shown<void>(0x40);
  FBFR* const other = shown<FBFR>(0x50);
  FILE* const file = shown<FILE>(0x60);
  FBFR* const none = nullptr;
  const struct {
    const char* forwarded;
    std::function<void()> call;
    int code = FBEINVAL;  // as there is no buffer
  } kTable[] = {
      {"fbget_fldkey(\"A\")", [] { Fldid("A"); }, 0},
      {"fbget_fldname(1)", [] { Fname(1); }, 0},
      {"fbget_fldno(1)", [] { Fldno(1); }, 0},
      {"fbget_fldtype(1)", [] { Fldtype(1); }, 0},
      {"fbget_strfldtype(1)", [] { Ftype(1); }, 0},
      {"fbmake_fldkey(1, 2)", [] { Fmkfldid(1, 2); }, 0},
      {"fbisfbuf(0)", [=] { Fielded(none); }, 0},
      {"fbcalcsize(1, 2)", [] { Fneeded(1, 2); }, 0},
      {"fbinit(0, 1)", [=] { Finit(none, 1); }},
      {"fballoc(1, 2)", [] { Ffree(Falloc(1, 2)); }, 0},
      {"fbfree(0)", [=] { Ffree(none); }},
      {"fbget_fbsize(0)", [=] { Fsizeof(none); }},
      {"fbget_unused(0)", [=] { Funused(none); }},
      {"fbget_used(0)", [=] { Fused(none); }},
      {"fbrealloc(0, 1, 2)", [=] { Frealloc(none, 1, 2); }},
      {"fbbufop(0, 0x50, 1)", [=] { Fmove(none, other); }},
      {"fbbufop(0, 0x50, 2)", [=] { Fcpy(none, other); }},
      {"fbput(0, 1, 0x40, 2)", [=] { Fadd(none, 1, value, 2); }},
      {"fbput(0, 1, 0x40, 2)", [=] { Fappend(none, 1, value, 2); }},
      {"fbchg_tu(0, 1, 2, 0x40, 3)", [=] { Fchg(none, 1, 2, value, 3); }},
      {"fbbufop(0, 0x50, 3)", [=] { Fcmp(none, other); }},
      {"fbdelete(0, 1, 2)", [=] { Fdel(none, 1, 2); }},
      {"fbdelall(0, 1)", [=] { Fdelall(none, 1); }},
      {"fbdelall_tu(0, 0x30)", [=] { Fdelete(none, id); }},
      {"fbgetval(0, 1, 2, 0x10)", [=] { Ffind(none, 1, 2, len); }},
      {"fbgetval_last_tu(0, 1, 0x20, 0x10)", [=] { Ffindlast(none, 1, occ, len); }},
      {"fbgetnth(0, 1, 0x40, 2)", [=] { Ffindocc(none, 1, value, 2); }},
      {"fbget_tu(0, 1, 2, 0x40, 0x10)", [=] { Fget(none, 1, 2, value, len); }},
      {"fbgetalloc_tu(0, 1, 2, 0x10)", [=] { Fgetalloc(none, 1, 2, len); }},
      {"fbgetlast_tu(0, 1, 0x20, 0x40, 0x10)", [=] { Fgetlast(none, 1, occ, value, len); }},
      {"fbnext_tu(0, 0x30, 0x20, 0x40, 0x10)", [=] { Fnext(none, id, occ, value, len); }},
      {"fbfldcount(0)", [=] { Fnum(none); }},
      {"fbkeyoccur(0, 1)", [=] { Foccur(none, 1); }},
      {"fbispres(0, 1, 2)", [=] { Fpres(none, 1, 2); }},
      {"fbgetvals_tu(0, 1, 2)", [=] { Fvals(none, 1, 2); }},
      {"fbgetvall_tu(0, 1, 2)", [=] { Fvall(none, 1, 2); }},
      {"fbbufop(0, 0x50, 4)", [=] { Fconcat(none, other); }},
      {"fbbufop(0, 0x50, 5)", [=] { Fjoin(none, other); }},
      {"fbbufop(0, 0x50, 6)", [=] { Fojoin(none, other); }},
      {"fbbufop(0, 0x50, 7)", [=] { Fupdate(none, other); }},
      {"fbftos(0, 0x40, \"view\")", [=] { Fvftos(none, value, "view"); }},
      {"fbstof(0, 0x40, 4, \"view\")", [=] { Fvstof(none, value, 4, "view"); }},
      {"fbsnull(0, \"member\", 1, \"view\")", [=] { Fvnull(nullptr, "member", 1, "view"); }, FBEBADSTRUCT},
      {"fbstinit(0, \"view\")", [=] { Fvsinit(nullptr, "view"); }, FBEBADSTRUCT},
      {"fbstelinit(0, \"member\", \"view\")", [=] { Fvselinit(nullptr, "member", "view"); }, FBEBADSTRUCT},
      {"fbputt(0, 1, 0x40, 2, 3)", [=] { CFadd(none, 1, value, 2, 3); }, FBEBADFLD},  // of the conversion
      {"fbchg_tut(0, 1, 2, 0x40, 3, 4)", [=] { CFchg(none, 1, 2, value, 3, 4); }},
      {"fbget_tut(0, 1, 2, 0x40, 0x10, 3)", [=] { CFget(none, 1, 2, value, len, 3); }},
      {"fbgetalloc_tut(0, 1, 2, 3, 0x10)", [=] { CFgetalloc(none, 1, 2, 3, len); }},
      {"fbgetvalt(0, 1, 2, 0x10, 3)", [=] { CFfind(none, 1, 2, len, 3); }},
      {"fbgetntht(0, 1, 0x40, 2, 3)", [=] { CFfindocc(none, 1, value, 2, 3); }, FBEBADFLD},  // of the conversion
      {"fbtypecvt(0, 1, 0, 2, 3)", [] { Ftypcvt(nullptr, 1, nullptr, 2, 3); }},
      {"fbread(0, 0x60)", [=] { Fread(none, file); }},
      {"fbwrite(0, 0x60)", [=] { Fwrite(none, file); }},
      {"fbprint(0)", [=] { Fprint(none); }},
      {"fbfprint(0, 0x60)", [=] { Ffprint(none, file); }},
      {"fbextread(0, 0x60)", [=] { Fextread(none, file); }},
  };
  const Environment no_table("FDLFILE", nullptr);
  const host::Tracing tracing;
  for (const auto& [forwarded, call, code] : kTable) {
    call();
    EXPECT_EQ(host::take_trace().at(0).text, forwarded);
    EXPECT_EQ(fberror, code) << forwarded;
  }
}

TEST(FmlNames, GiveBackWhatTheirCallsGive) {
  FBFR* const record = Falloc(10, 0);
  FBFR* const copy = Falloc(10, 0);
  const FLDID first = Fmkfldid(FB_STRING, 1), second = Fmkfldid(FB_STRING, 2);
  const FLDID list[] = {second, 0};
  FLDLEN len = 0;
  EXPECT_EQ(first, 0x1C000001);
  EXPECT_STREQ(Ftype(first), "string");
  EXPECT_EQ(Fadd(record, first, "one", 0), 1);
  EXPECT_EQ(Fappend(record, second, "two", 0), 1);
  EXPECT_STREQ(Ffind(record, second, 0, &len), "two");
  EXPECT_EQ(len, 3);
  EXPECT_STREQ(Ftypcvt(&len, FB_STRING, "c", FB_CHAR, 0), "c");
  EXPECT_EQ(Ffind(record, first, 1, nullptr), nullptr);
  EXPECT_STREQ(Fstrerror(getFerror()), "FBENOENT (not found)");
  testing::internal::CaptureStderr();
  EXPECT_EQ(F_error("text"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "text: FBENOENT (not found)");

  EXPECT_EQ(Fprojcpy(copy, record, list), 1);
  EXPECT_EQ(Fnum(record), 2);
  EXPECT_EQ(Fnum(copy), 1);
  EXPECT_EQ(Fproj(record, list), 1);
  EXPECT_EQ(Fcmp(record, copy), 0);

  const host::Tracing tracing;
  EXPECT_EQ(std::tuple(Fidxused(record), Funindex(record), Fchksum(record)), std::tuple(0, 0, -1));
  EXPECT_EQ(std::tuple(Findex(record, 3), Frstrindex(record, 3)), std::tuple(1, 1));
  EXPECT_TRUE(host::take_trace().empty()) << "indexes and the checksum do nothing";
  EXPECT_EQ(Fcmp(record, copy), 0);
  Ffree(copy);
  Ffree(record);
}

}  // namespace
