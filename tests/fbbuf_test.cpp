// Field buffer lifecycle: sizes, the state a buffer starts in, what is refused, and the texts of the error codes.
#include <tuple>

#include "tests/support/field_test.h"

namespace {

TEST(FieldBuffer, SizesFollowTheFormula) {
  EXPECT_EQ(fbcalcsize(0, 0), 8);
  EXPECT_EQ(fbcalcsize(10, 100), 188);
  EXPECT_EQ(fbcalcsize(-1, 0), 0);
  EXPECT_EQ(fbcalcsize(0x7fffffff, 0x7fffffff), 8 + 9L * 0x7fffffff);
}

TEST(FieldBuffer, InitialisesTheWholeCapacityOrNothing) {
  char* buf = static_cast<char*>(fballoc(200, 0));
  EXPECT_EQ(std::tuple(fbget_fbsize(buf), fbget_used(buf), fbget_unused(buf)), std::tuple(1616, 8, 1608));
  std::memset(buf + 8, 'x', 1608);
  EXPECT_EQ(refusal(fbinit(buf, 1617)), FBENOSPACE);
  EXPECT_EQ(buf[1615], 'x');
  EXPECT_EQ(fbinit(buf, 1616), 1);
  EXPECT_EQ(std::string(buf, 1616), bytes("b8 22 00 00 08 00 00 00") + std::string(1608, '\0'));
  EXPECT_EQ(fbfree(buf), 1);
}

TEST(FieldBuffer, ReallocationNeverCutsFields) {
  void* buf = fballoc(400, 0);
  const int used = 3000;
  std::memcpy(static_cast<char*>(buf) + 4, &used, 4);
  EXPECT_EQ(refusal(fbrealloc(buf, 0, 0)), FBENOSPACE);
  EXPECT_EQ(fbget_fbsize(buf), 3216);
  buf = fbrealloc(buf, 500, 0);
  EXPECT_EQ(fbget_fbsize(buf), 4016);
  EXPECT_EQ(fbget_used(buf), 3000);
  EXPECT_EQ(fbrealloc(buf, 0x0fffffff, 0x7fffffff), nullptr) << "a size beyond 32 bits wraps to a negative one";
  fbfree(buf);
}

TEST(FieldBuffer, RefusesWhatIsNone) {
  char* text = tpalloc("STRING", nullptr, 0);
  for (void* none : {static_cast<void*>(text), static_cast<void*>(nullptr)}) {
    EXPECT_EQ(fbisfbuf(none), 0);
    EXPECT_EQ(refusal(fbfree(none)), FBEINVAL);
  }
  tpfree(text);
  EXPECT_EQ(fbget_used(nullptr), -1);
  EXPECT_EQ(refusal(fbrealloc(nullptr, 1, 1)), FBEINVAL);
  EXPECT_EQ(refusal(fballoc(0x0fffffff, -1)), FBEMALLOC) << "2^31 - 1 bytes and the header exceed the size word";
  EXPECT_EQ(tperrno, TPEOS);
}

TEST(FieldBufferErrors, TextsByCode) {
  EXPECT_STREQ(fbstrerror(6), "FBENOENT (not found)");
  EXPECT_STREQ(fbstrerror(1), "EBEALIGN (alignment error)");
  for (int code : {21, 22, 99, -1}) EXPECT_STREQ(fbstrerror(code), "FBEMAXNO (top of error message codes)") << code;
  testing::internal::CaptureStderr();
  fberror = 19;
  print_fberror("a");
  fberror = 21;
  print_fberror("b");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a: FBENOCNAME (cname not founc)b: ");
}

}  // namespace
