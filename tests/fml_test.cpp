// The FML names, held against the calls that they stand for: each reports itself as that call, with the same arguments.
#include "vxa/fml.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tests/support/host.h"

namespace {

// Addresses that show in the trace and are not looked at, as the null buffer fails the call first.
template <class T>
T* shown(std::uintptr_t address) {
  return reinterpret_cast<T*>(address);
}

struct Entry {
  const char* forwarded;
  std::function<void()> call;
};

TEST(FmlNames, ForwardTheirArgumentsInOrder) {
  FLDLEN* const len = shown<FLDLEN>(0x10);
  FLDOCC* const occ = shown<FLDOCC>(0x20);
  FLDID* const id = shown<FLDID>(0x30);
  void* const value = shown<void>(0x40);
  FBFR* const other = shown<FBFR>(0x50);
  FILE* const file = shown<FILE>(0x60);
  FBFR* const none = nullptr;
  const Entry table[] = {
      {"fbget_fldkey(\"A\")", [] { Fldid("A"); }},
      {"fbget_fldname(1)", [] { Fname(1); }},
      {"fbget_fldno(1)", [] { Fldno(1); }},
      {"fbget_fldtype(1)", [] { Fldtype(1); }},
      {"fbget_strfldtype(1)", [] { Ftype(1); }},
      {"fbmake_fldkey(1, 2)", [] { Fmkfldid(1, 2); }},
      {"fbisfbuf(0)", [=] { Fielded(none); }},
      {"fbcalcsize(1, 2)", [] { Fneeded(1, 2); }},
      {"fbinit(0, 1)", [=] { Finit(none, 1); }},
      {"fballoc(1, 2)", [] { Ffree(Falloc(1, 2)); }},
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
      {"fbsnull(0, \"member\", 1, \"view\")", [=] { Fvnull(nullptr, "member", 1, "view"); }},
      {"fbstinit(0, \"view\")", [=] { Fvsinit(nullptr, "view"); }},
      {"fbstelinit(0, \"member\", \"view\")", [=] { Fvselinit(nullptr, "member", "view"); }},
      {"fbputt(0, 1, 0x40, 2, 3)", [=] { CFadd(none, 1, value, 2, 3); }},
      {"fbchg_tut(0, 1, 2, 0x40, 3, 4)", [=] { CFchg(none, 1, 2, value, 3, 4); }},
      {"fbget_tut(0, 1, 2, 0x40, 0x10, 3)", [=] { CFget(none, 1, 2, value, len, 3); }},
      {"fbgetalloc_tut(0, 1, 2, 3, 0x10)", [=] { CFgetalloc(none, 1, 2, 3, len); }},
      {"fbgetvalt(0, 1, 2, 0x10, 3)", [=] { CFfind(none, 1, 2, len, 3); }},
      {"fbgetntht(0, 1, 0x40, 2, 3)", [=] { CFfindocc(none, 1, value, 2, 3); }},
      {"fbtypecvt(0, 1, 0, 2, 3)", [] { Ftypcvt(nullptr, 1, nullptr, 2, 3); }},
      {"fbread(0, 0x60)", [=] { Fread(none, file); }},
      {"fbwrite(0, 0x60)", [=] { Fwrite(none, file); }},
      {"fbprint(0)", [=] { Fprint(none); }},
      {"fbfprint(0, 0x60)", [=] { Ffprint(none, file); }},
      {"fbextread(0, 0x60)", [=] { Fextread(none, file); }},
  };
  const host::Tracing tracing;
  for (const Entry& entry : table) {
    entry.call();
    const auto events = host::take_trace();
    ASSERT_GE(events.size(), 2u) << entry.forwarded;
    EXPECT_EQ(events[0].text, entry.forwarded);
  }
}

TEST(FmlNames, GiveBackWhatTheirCallsGive) {
  FBFR* const record = Falloc(10, 0);
  const FLDID id = Fmkfldid(FB_STRING, 1);
  FLDLEN len = 0;
  FLDOCC occ = 0;
  EXPECT_EQ(id, 0x1C000001);
  EXPECT_EQ(Fielded(record), 1);
  EXPECT_EQ(Fneeded(1, 2), 18);
  EXPECT_EQ(Fadd(record, id, "one", 0), 1);
  EXPECT_EQ(Fappend(record, id, "two", 0), 1);
  EXPECT_STREQ(Ffind(record, id, 1, &len), "two");
  EXPECT_EQ(len, 3);
  EXPECT_STREQ(Ffindlast(record, id, &occ, nullptr), "two");
  EXPECT_EQ(occ, 1);
  EXPECT_EQ(Ffindocc(record, id, "two", 0), 1);
  EXPECT_STREQ(Ftype(id), "string");
  EXPECT_STREQ(static_cast<char*>(Ftypcvt(&len, FB_STRING, "c", FB_CHAR, 0)), "c");
  EXPECT_EQ(Ffind(record, id, 2, nullptr), nullptr);
  EXPECT_EQ(getFerror(), FBENOENT);
  EXPECT_STREQ(Fstrerror(FBENOENT), "FBENOENT (not found)");
  testing::internal::CaptureStderr();
  EXPECT_EQ(F_error("text"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "text: FBENOENT (not found)");
  Ffree(record);
}

TEST(FmlNames, ProjectInPlaceOrIntoAnother) {
  FBFR* const record = Falloc(10, 0);
  FBFR* const copy = Falloc(10, 0);
  const FLDID first = Fmkfldid(FB_STRING, 1), second = Fmkfldid(FB_STRING, 2);
  const FLDID list[] = {second, 0};
  Fadd(record, first, "one", 0);
  Fadd(record, second, "two", 0);
  EXPECT_EQ(Fprojcpy(copy, record, list), 1);
  EXPECT_EQ(Fnum(record), 2);
  EXPECT_EQ(Fnum(copy), 1);
  EXPECT_EQ(Fproj(record, list), 1);
  EXPECT_EQ(Fcmp(record, copy), 0);
  Ffree(copy);
  Ffree(record);
}

TEST(FmlNames, IndexAndChecksumDoNothing) {
  FBFR* const record = Falloc(10, 0);
  const std::string before(reinterpret_cast<char*>(record), static_cast<std::size_t>(Fsizeof(record)));
  const host::Tracing tracing;
  EXPECT_EQ(Fidxused(record), 0);
  EXPECT_EQ(Findex(record, 3), 1);
  EXPECT_EQ(Frstrindex(record, 3), 1);
  EXPECT_EQ(Funindex(record), 0);
  EXPECT_EQ(Fchksum(record), -1);
  EXPECT_EQ(Fchksum(nullptr), -1);
  EXPECT_TRUE(host::take_trace().empty());
  EXPECT_EQ(std::string(reinterpret_cast<char*>(record), before.size()), before);
  Ffree(record);
}

}  // namespace
