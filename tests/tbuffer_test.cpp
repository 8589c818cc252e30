// Typed buffers: what each type is granted, what resizing keeps and cuts, what is refused, and what is traced.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/host.h"
#include "vxa/vxa_host.h"
#include "vxa/xatmi.h"

namespace {

long capacity(const char* data) { return tptypes(data, nullptr, nullptr); }

TEST(TypedBuffer, GrantsTheMinimumOfItsTypeOrMore) {
  struct Case {
    const char* type;
    long size;
    long granted;
    const char* reported;
  } cases[] = {{"STRING", 10, 1024, "STRING"}, {"STRING", 2000, 2000, "STRING"}, {"FIELD", 0, 1032, "FIELD"},
               {"FML32", 2000, 2008, "FIELD"}, {"X_OCTET", 5, 1024, "CARRAY"},   {"TPSTART", 0, 76, "TPSTART"},
               {"TPINIT", 0, 108, "TPSTART"},  {"HEADER", 0, 136, "HEADER"},     {"CARRAY", -7, 1024, "CARRAY"}};
  for (const Case& c : cases) {
    char* data = tpalloc(c.type, nullptr, c.size);
    ASSERT_NE(data, nullptr) << c.type;
    char type[8];
    char subtype[16];
    std::memset(subtype, 'x', sizeof subtype);
    EXPECT_EQ(tptypes(data, type, subtype), c.granted) << c.type;
    EXPECT_STREQ(type, c.reported);
    EXPECT_EQ(std::string(subtype, 16), std::string(16, '\0'));
    tpfree(data);
  }
}

TEST(TypedBuffer, HeaderStandsInFrontByteForByte) {
  char* data = tpalloc("FIELD", "ignored", 100);
  const std::string expected = host::bytes("82 20 35 90 00000000 02000000 08040000") + std::string(100, '\0') +
                               host::bytes("00 00 00 02") + std::string(16, '\0') +
                               host::bytes("b8 22 00 00  08 00 00 00");
  EXPECT_EQ(std::string(data - 136, 144), expected);
  tpfree(data);
}

TEST(TypedBuffer, StringNullSettingIsReadForEveryBuffer) {
  host::Environment set("VESK_STRING_NULL", "yes");
  char* large = tpalloc("STRING", nullptr, 2000);
  char* small = tpalloc("STRING", nullptr, 10);
  EXPECT_EQ(capacity(large), 2001);
  EXPECT_EQ(capacity(small), 1024);
  host::Environment unset("VESK_STRING_NULL", "no");
  large = tprealloc(large, 3000);
  EXPECT_EQ(capacity(large), 3000);
  tpfree(large);
  tpfree(small);
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

  char* init = tpalloc("TPINIT", nullptr, 0);
  init = tprealloc(init, 0);
  EXPECT_EQ(capacity(init), 76);
  tpfree(init);
}

TEST(TypedBuffer, RefusesWhatIsNone) {
  EXPECT_EQ(tpalloc(nullptr, nullptr, 1), nullptr);
  EXPECT_EQ(tperrno, TPEINVAL);
  EXPECT_EQ(tpalloc("string", nullptr, 1), nullptr);
  EXPECT_EQ(tperrno, TPENOENT);
  EXPECT_EQ(tpalloc("STRUCT", "emp", 1), nullptr);
  EXPECT_EQ(tperrno, TPENOENT);
  EXPECT_EQ(tpalloc("FIELD", nullptr, 0x7fffffff), nullptr);
  EXPECT_EQ(tperrno, TPEOS);

  alignas(8) char area[200] = {};
  EXPECT_EQ(tprealloc(nullptr, 1), nullptr);
  EXPECT_EQ(tperrno, TPEINVAL);
  EXPECT_EQ(tprealloc(area + 136, 1), nullptr);
  EXPECT_EQ(tperrno, TPEINVAL);
  EXPECT_EQ(tptypes(area + 136, nullptr, nullptr), -1);
  tpfree(area + 136);
  tpfree(area + 137);
  tpfree(nullptr);

  char* data = tpalloc("CARRAY", nullptr, 1);
  reinterpret_cast<vesk_msg_header*>(data - 136)->type = 7;
  char type[8];
  tperrno = 0;
  EXPECT_EQ(tptypes(data, type, nullptr), -1);
  EXPECT_EQ(tperrno, TPEINVAL);
  EXPECT_EQ(tprealloc(data, 1), nullptr);
  EXPECT_EQ(tperrno, TPENOENT);
  tperrno = TPEOS;
  EXPECT_EQ(tptypes(data, nullptr, nullptr), 1024);
  EXPECT_EQ(tperrno, TPEOS) << "a successful tptypes leaves the code alone";
  tpfree(data);
}

TEST(TypedBuffer, TracesTwoEventsACall) {
  host::Tracing tracing;
  char* data = tpalloc("STRING", "", 10);
  const unsigned address = static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(data));
  char shown[32];
  std::snprintf(shown, sizeof shown, "%#x", address);
  tpfree(data);
  tpalloc("NONE", "sub", 5);
  tpalloc(nullptr, nullptr, 5);
  using host::TraceEvent;
  EXPECT_THAT(host::take_trace(), testing::ElementsAre(TraceEvent{"tpalloc", 1, "tpalloc(\"STRING\", \"\", 10)"},
                                                       TraceEvent{"tpalloc", 2, std::string("tpalloc = ") + shown},
                                                       TraceEvent{"tpfree", 1, std::string("tpfree(") + shown + ")"},
                                                       TraceEvent{"tpfree", 2, "tpfree"},
                                                       TraceEvent{"tpalloc", 1, "tpalloc(\"NONE\", \"sub\", 5)"},
                                                       TraceEvent{"tpalloc", 4, "tpalloc = NULL [6 :  ]"},
                                                       TraceEvent{"tpalloc", 1, "tpalloc(\"\", \"\", 5)"},
                                                       TraceEvent{"tpalloc", 4, "tpalloc = NULL [4 :  ]"}));
}

}  // namespace
