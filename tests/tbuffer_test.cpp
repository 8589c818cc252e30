// Typed buffers: what each type is granted, what resizing keeps and cuts, what is refused, and what is traced.
#include "tests/support/test.h"

namespace {

long capacity(const char* data) { return tptypes(data, nullptr, nullptr); }

TEST(TypedBuffer, GrantsTheMinimumOfItsTypeOrMore) {
  const std::tuple<const char*, long, long, const char*> cases[] = {
      {"STRING", 10, 1024, "STRING"}, {"STRING", 2000, 2000, "STRING"}, {"FIELD", 0, 1032, "FIELD"},
      {"FML32", 2000, 2008, "FIELD"}, {"X_OCTET", 5, 1024, "CARRAY"},   {"TPSTART", 0, 76, "TPSTART"},
      {"TPINIT", 0, 108, "TPSTART"},  {"HEADER", 0, 136, "HEADER"},     {"CARRAY", -7, 1024, "CARRAY"}};
  for (const auto& [requested, size, granted, reported] : cases) {
    char* data = tpalloc(requested, nullptr, size);
    ASSERT_NE(data, nullptr) << requested;
    char type[8];
    char subtype[16];
    std::memset(subtype, 'x', sizeof subtype);
    EXPECT_EQ(tptypes(data, type, subtype), granted) << requested;
    EXPECT_STREQ(type, reported);
    EXPECT_EQ(std::string(subtype, 16), std::string(16, '\0'));
    tpfree(data);
  }
}

TEST(TypedBuffer, HeaderStandsInFrontByteForByte) {
  char* data = tpalloc("FIELD", "ignored", 100);
  const std::string expected = bytes("82 20 35 90 00000000 02000000 08040000") + std::string(100, '\0') +
                               bytes("00 00 00 02") + std::string(16, '\0') + bytes("b8 22 00 00  08 00 00 00");
  EXPECT_EQ(std::string(data - 136, 144), expected);
  tpfree(data);
}

TEST(TypedBuffer, StringNullSettingIsReadForEveryBuffer) {
  const Environment set("VESK_STRING_NULL", "yes");
  char* text = tpalloc("STRING", nullptr, 2000);
  EXPECT_EQ(capacity(text), 2001);
  const Environment otherwise("VESK_STRING_NULL", "no");
  text = tprealloc(text, 3000);
  EXPECT_EQ(capacity(text), 3000);
  tpfree(text);
}

TEST(TypedBuffer, ResizingCutsStringsAndZeroesGrowth) {
  char* text = tpalloc("STRING", nullptr, 0);
  std::memset(text, 'z', 1024);
  std::memcpy(text, "abcdef", 7);
  text = tprealloc(text, 4);
  EXPECT_EQ(capacity(text), 1024);
  EXPECT_EQ(std::string(text, 8), std::string("abc\0ef\0z", 8));
  EXPECT_EQ(text[1022], 'z');
  EXPECT_EQ(text[1023], '\0');
  text = tprealloc(text, 1100);
  EXPECT_EQ(std::string(text + 1024, 76), std::string(76, '\0'));
  tpfree(text);

  char* init = tprealloc(tpalloc("TPINIT", nullptr, 0), 0);
  EXPECT_EQ(capacity(init), 76);
  tpfree(init);
}

TEST(TypedBuffer, RefusesWhatIsNone) {
  alignas(8) char area[200] = {};
  char* const strange = tpalloc("CARRAY", nullptr, 1);
  reinterpret_cast<vesk_msg_header*>(strange - 136)->type = 7;
  char type[8];
  const auto error_of = [](auto result, decltype(result) refused) {
    EXPECT_EQ(result, refused);
    return std::exchange(tperrno, 0);
  };
  EXPECT_EQ(error_of(tpalloc(nullptr, nullptr, 1), nullptr), TPEINVAL);
  EXPECT_EQ(error_of(tpalloc("string", nullptr, 1), nullptr), TPENOENT);
  EXPECT_EQ(error_of(tpalloc("STRUCT", "emp", 1), nullptr), TPENOENT);
  EXPECT_EQ(error_of(tpalloc("FIELD", nullptr, 0x7fffffff), nullptr), TPEOS);
  EXPECT_EQ(error_of(tprealloc(nullptr, 1), nullptr), TPEINVAL);
  EXPECT_EQ(error_of(tprealloc(area + 136, 1), nullptr), TPEINVAL);
  EXPECT_EQ(error_of(tprealloc(strange, 1), nullptr), TPENOENT);
  EXPECT_EQ(error_of(tptypes(area + 136, nullptr, nullptr), -1), TPEINVAL);
  EXPECT_EQ(error_of(tptypes(strange, type, nullptr), -1), TPEINVAL);
  tperrno = TPEOS;
  EXPECT_EQ(capacity(strange), 1024);
  EXPECT_EQ(tperrno, TPEOS) << "a successful tptypes leaves the code alone";
  for (char* none : {area + 136, area + 137, static_cast<char*>(nullptr)}) tpfree(none);
  tpfree(strange);
}

TEST(TypedBuffer, TracesTwoEventsACall) {
  const host::Tracing tracing;
  tpfree(tpalloc("HEADER", "sub", 0));
  tpalloc(nullptr, nullptr, 5);
  const std::vector<TraceEvent> events = host::take_trace();
  ASSERT_EQ(events.size(), 6u);
  EXPECT_EQ(events[0], (TraceEvent{"tpalloc", 1, "tpalloc(\"HEADER\", \"sub\", 0)"}));
  EXPECT_EQ(events[1].event, 2);
  EXPECT_THAT(events[1].text, testing::MatchesRegex("tpalloc = 0x[0-9a-f]+"));
  EXPECT_THAT(events[2].text, testing::MatchesRegex("tpfree.0x[0-9a-f]+."));
  EXPECT_EQ(events[3], (TraceEvent{"tpfree", 2, "tpfree"}));
  EXPECT_EQ(events[4], (TraceEvent{"tpalloc", 1, "tpalloc(\"\", \"\", 5)"}));
  EXPECT_EQ(events[5], (TraceEvent{"tpalloc", 4, "tpalloc = NULL [4 :  ]"}));
}

}  // namespace
