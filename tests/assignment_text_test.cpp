// Field buffers as assignment text: what is written, what is read back, and what is refused.
#include "gateway/assignment_text.h"

#include "tests/support/test.h"
#include "tools/fdl_compiler.h"

namespace vxa::gateway {
namespace {

std::string refusal(const char* text) {
  return thrown([text] { parse_assignments(text); });
}

// Keys: type * 2^26 + number.
constexpr const char* kEveryType =
    "#67108865\tA\n"                                                          // char 1
    "#134217730\t-32768\n"                                                    // short 2
    "#201326595\t-2147483648\n"                                               // int 3
    "#268435460\t-5\n"                                                        // long 4
    "#335544325\t0.1\n"                                                       // float 5
    "#402653190\t1e-09\n"                                                     // double 6
    "#469762055\tgr\xc3\xbc\xc3\x9f \\t tab, \\n line, \\\\ stroke, \\x01\n"  // string 7
    "#536870920\t\\x00\\xc3 x\n"                                              // carray 8
    "#201326595\t7\n";                                                        // the int again

TEST(AssignmentText, EveryTypeAndBack) {
  const Buffer buffer = parse_assignments(kEveryType);
  EXPECT_EQ(header_of(buffer).datalen, fbget_used(buffer.get()));
  EXPECT_EQ(fbgetvali(buffer.get(), 134217730, 0), -32768);
  EXPECT_STREQ(fbgetvals(buffer.get(), 469762055, 0), "gr\xc3\xbc\xc3\x9f \t tab, \n line, \\ stroke, \x01");
  int length = 0;
  const void* bytes = fbgetval(buffer.get(), 536870920, 0, &length);
  EXPECT_EQ(std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(length)), std::string("\0\xc3 x", 4));
  EXPECT_EQ(assignment_text(buffer.get()), kEveryType);
}

TEST(AssignmentText, EmptyValuesAndLines) {
  const std::pair<const char*, const char*> cases[] = {
      {"\n#67108865\t\n#469762055\t\n\n", "#67108865\t\n#469762055\t\n"},
      {"", ""},
      {"#201326595\t5", "#201326595\t5\n"}};
  for (const auto& [text, again] : cases) EXPECT_EQ(assignment_text(parse_assignments(text).get()), again);
}

TEST(AssignmentText, Refusals) {
  const std::pair<const char*, const char*> cases[] = {{"#201326595 5\n", "line 1: a name, a tab"},
                                                       {"\n#201326595\t5x\n", "line 2: not a number: 5x"},
                                                       {"#201326595\t2147483648\n", "out of the range"},
                                                       {"#268435460\t4294967296\n", "out of the range"},
                                                       {"#335544325\t1e39\n", "out of the range"},
                                                       {"#402653190\t1e999\n", "out of the range"},
                                                       {"#536870920\t\n", "at least one byte"},
                                                       {"#67108865\tAB\n", "more than one character"},
                                                       {"#469762055\ta\\x00b\n", "byte 0"},
                                                       {"#469762055\ta\\q\n", "backslash"},
                                                       {"#469762055\t\\", "backslash"},
                                                       {"#603979785\t1\n", "not the number of a field"},  // type 9
                                                       {"#2x\t1\n", "not the number of a field"}};
  for (const auto& [text, why] : cases) EXPECT_THAT(refusal(text), HasSubstr(why)) << text;
}

TEST(AssignmentText, NamesFromTheFieldTable) {
  fbkeynm_unload();
  {
    const Environment none("FDLFILE", nullptr);
    EXPECT_THAT(refusal("AMOUNT\t5\n"), HasSubstr("FDLFILE"));
  }
  const TempDir folder;
  const std::string file = folder.file("names", tools::compile_fields({{"AMOUNT", 4, 4}}).bytes);
  const Environment table("FDLFILE", file.c_str());
  EXPECT_EQ(assignment_text(parse_assignments("#268435460\t5\n#268435461\t6\n").get()), "AMOUNT\t5\n#268435461\t6\n");
  EXPECT_EQ(refusal("AMOUNT\t5\n"), "");
  EXPECT_THAT(refusal("COUNT\t5\n"), HasSubstr("no field of that name"));
  fbkeynm_unload();
}

}  // namespace
}  // namespace vxa::gateway
