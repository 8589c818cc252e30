// Structs from field buffers and back: every member type, arrays, texts at the edge of their element, null values.
#include <algorithm>
#include <cstddef>
#include <sstream>

#include "fb/scratch.h"
#include "tests/support/field_test.h"
#include "tests/support/structs.h"

namespace {

using host::member_row;

constexpr int kText = key(FB_STRING, 9), kDigits = key(FB_STRING, 10);

struct Order {
  int qty;
  char label[20];
  char flag;
  short small[3];
  long big;
  float rate;
  double price;
  char blob[20];    // two elements
  char parts[40];   // four elements
  int as_number;    // from a string field
  char as_text[8];  // from the double field
  long as_long;     // from the short field
};

std::string numbers(const Order& o) {
  std::ostringstream out;
  for (const short element : o.small) out << element << ' ';
  out << o.qty << ' ' << o.flag << ' ' << o.big << ' ' << o.rate << ' ' << o.price << ' ' << o.as_number << ' '
      << o.as_long;
  return out.str();
}

// With a dot for each NUL.
std::string texts(const Order& o) {
  std::string out = std::string(o.label, 20) + '|' + std::string(o.blob, 20) + '|' + std::string(o.parts, 40) + '|' +
                    std::string(o.as_text, 8);
  std::replace(out.begin(), out.end(), '\0', '.');
  return out;
}

class StructFields : public testing::Test {
 protected:
  host::Structs structs_{
      {host::struct_row("order", sizeof(Order), 1, 0, 11), host::struct_row("pair", sizeof(Order), 1, 0, 1),
       host::struct_row("odd", sizeof(Order), 1, 12, 99)},
      {member_row("qty", 3, 1, 0, offsetof(Order, qty), kInt, "0"),
       member_row("label", 7, 20, 20, offsetof(Order, label), kString, ""),
       member_row("flag", 1, 1, 0, offsetof(Order, flag), kChar, "-"),
       member_row("small", 2, 3, 0, offsetof(Order, small), kShort, "-7"),
       member_row("big", 4, 1, 0, offsetof(Order, big), kLong, "5000000000"),
       member_row("rate", 5, 1, 0, offsetof(Order, rate), kFloat, "0.1"),
       member_row("price", 6, 1, 0, offsetof(Order, price), kDouble, "0.1"),
       member_row("blob", 8, 20, 10, offsetof(Order, blob), kCarray, ""),
       member_row("parts", 7, 40, 10, offsetof(Order, parts), kText, "none"),
       member_row("as_number", 3, 1, 0, offsetof(Order, as_number), kDigits, "-1"),
       member_row("as_text", 7, 8, 8, offsetof(Order, as_text), kDouble, "a long null text"),
       member_row("as_long", 4, 1, 0, offsetof(Order, as_long), kShort, "-1"),
       member_row("no elements", 7, 20, 0, offsetof(Order, label), kString, "x"),
       member_row("unknown", 9, 1, 0, 0, kInt, "1"),
       member_row("small", 2, 1, 0, offsetof(Order, small), kShort, "70000"),
       member_row("blob as text", 7, 10, 10, offsetof(Order, blob), kCarray)}};

  // An order full of its null values, zero elsewhere.
  static Order empty_order() {
    Order order;
    std::memset(static_cast<void*>(&order), 0, sizeof order);
    EXPECT_EQ(fbstinit(&order, "order"), 1);
    return order;
  }
};

TEST_F(StructFields, NullValuesFillAStruct) {
  Order order;
  std::memset(static_cast<void*>(&order), 'x', sizeof order);
  EXPECT_EQ(fbstinit(&order, "order"), 1);
  EXPECT_EQ(numbers(order), "-7 -7 -7 0 - 5000000000 0.1 0.1 -1 -1");
  EXPECT_EQ(texts(order),  // written up to the terminator, and cut to end within the element
            ".xxxxxxxxxxxxxxxxxxx|.xxxxxxxxx.xxxxxxxxx|none.xxxxxnone.xxxxxnone.xxxxxnone.xxxxx|a long .");

  order.qty = 9;
  order.small[2] = 1;
  EXPECT_EQ(fbstelinit(&order, "small", "order"), 1);
  EXPECT_EQ(fbstelinit(&order, "smal", "order"), 1);
  EXPECT_EQ(numbers(order), "-7 -7 -7 9 - 5000000000 0.1 0.1 -1 -1");
  EXPECT_EQ(fbstelinit(&order, nullptr, "order"), 1);
  EXPECT_EQ(order.qty, 0) << "no name means all members";
  EXPECT_EQ(fbstinit(&order, "odd"), 1);
  EXPECT_EQ(order.small[0], 4464) << "70000 in 16 bits";
  EXPECT_EQ(order.label[0], '\0') << "a text without an element length has no elements";
}

TEST_F(StructFields, OccurrencesFillElements) {
  Buffer buffer;
  buffer.put(kString, "ab");
  Order order = empty_order();
  std::memset(order.label, 'x', sizeof order.label);
  std::memset(order.blob, 'x', sizeof order.blob);
  order.qty = 4;
  EXPECT_EQ(outcome(fbftos(buffer, &order, "pair")), std::pair(1, 0)) << "with the code that the last lookup left";
  EXPECT_EQ(numbers(order), "-7 -7 -7 0 - 5000000000 0.1 0.1 -1 -1") << "only the first two members belong to a pair";
  EXPECT_EQ(std::string(order.label, 20), "ab" + std::string(18, '\0'));

  buffer.put(kInt, 77).put(kChar, 'F').put(kShort, 1).put(kShort, -2).put(kLong, -1L).put(kFloat, 2.5f);
  buffer.put(kDouble, 2.25).put_value(kCarray, "fifteen bytes..", 15).put_value(kCarray, "four", 4);
  buffer.put(kText, "one").put(kText, "exactly10!").put(kText, "more than ten").put(kText, "").put(kText, "fifth");
  EXPECT_EQ(fbftos(buffer.put(kDigits, "12 and more"), &order, "order"), 1);
  // Of a long the 32 bits that a field keeps, without sign.
  EXPECT_EQ(numbers(order), "1 -2 -7 77 F 4294967295 2.5 2.25 12 1");
  EXPECT_EQ(texts(order),
            "ab..................|fifteen byfourxxxxxx|one.......exactly10!more than ..........|2.250000");

  fbdelall(buffer, kShort);
  EXPECT_EQ(outcome(fbftos(buffer, &order, "order")), std::pair(1, FBENOENT));
  EXPECT_EQ(order.as_long, -1);
}

TEST_F(StructFields, ALongFieldLeavesNoOversizedScratchArea) {
  const std::string bytes(2 << 20, 'x');
  Buffer buffer(0, 3 << 20);
  buffer.put_value(kCarray, bytes.data(), static_cast<int>(bytes.size()));
  Order order = empty_order();
  EXPECT_EQ(fbftos(buffer, &order, "odd"), 1);
  EXPECT_EQ(std::string(order.blob, 11), "xxxxxxxxxx" + std::string(1, '\0'));
  EXPECT_EQ(st_len, 0);
}

TEST_F(StructFields, OnlyElementsThatAreNotNullAreAdded) {
  Order order = empty_order();
  Order filled = order;
  std::strcpy(filled.as_text, "1.5");
  std::memcpy(filled.parts + 10, "tencharsno", 10);
  filled.small[1] = 300;
  filled.as_long = 65538;
  filled.flag = 'f';
  std::memcpy(filled.blob + 10, "blob", 5);
  Order pair = order;
  std::strcpy(pair.label, "x");
  Order odd = order;
  fbstinit(&odd, "odd");
  struct Case {
    const char* name;
    const Order& order;
    std::string records;
  } cases[] = {{"pair", pair, bytes("07 00 00 1c 78 00 __ __")},
               // A null text that was cut equals its null value no longer: the text becomes the double 0.
               {"order", order, bytes("06 00 00 18 __ __ __ __ __ __ __ __ __ __ __ __")},
               // Nor is a short null that cannot hold its null value.
               {"odd", odd, bytes("02 00 00 08 70 11 __ __")},
               {"order", filled,
                bytes("01 00 00 04 66 __ __ __  02 00 00 08 2c 01 __ __  08 00 00 20 0a 00 00 00 62 6c 6f 62 00") +
                    std::string(11, '\0') + bytes("09 00 00 1c") + "tencharsno" + bytes("00 __") +
                    bytes("06 00 00 18 __ __ __ __ 00 00 00 00 00 00 f8 3f  02 00 00 08 02 00 __ __")}};
  for (const Case& c : cases) {
    Buffer buffer;
    EXPECT_EQ(fbstof(buffer, &c.order, 4, c.name), 1);
    EXPECT_EQ(buffer.records(), c.records) << c.name;
  }
  Buffer full;
  full.put(key(FB_STRING, 99), std::string(1010, 'x').c_str());
  pair.qty = 5;
  std::strcpy(pair.label, "too long to fit");
  EXPECT_EQ(outcome(fbstof(full, &pair, 4, "pair")), std::pair(1, FBENOSPACE));
  EXPECT_EQ(fbkeyoccur(full, kInt), 1);
  EXPECT_EQ(fbkeyoccur(full, kString), 0);
}

TEST_F(StructFields, JoinsGoThroughAWorkBuffer) {
  Order order = empty_order();
  order.qty = 5;
  const std::string other = bytes("09 00 00 1c 6f 74 68 65 72 00 __ __ __ __ __ __");
  const std::string old_qty = bytes("03 00 00 0c 01 00 00 00");
  const std::string new_qty = bytes("03 00 00 0c 05 00 00 00");
  for (const auto& [mode, records] : {std::pair{5, new_qty},
                                      {6, new_qty + other},
                                      {7, new_qty + other},
                                      {3, old_qty + other},
                                      {8, old_qty + other},
                                      {-1, old_qty + other}}) {
    const bool known = mode >= 5 && mode <= 7;
    Buffer buffer;
    buffer.put(kInt, 1).put(kText, "other");
    EXPECT_EQ(outcome(fbstof(buffer, &order, mode, "pair")), known ? std::pair(1, 0) : std::pair(-1, FBEINVAL));
    EXPECT_EQ(buffer.records(), records) << mode;
  }
  Buffer full;
  full.put(kText, std::string(1018, 'x').c_str());
  const host::Tracing tracing;
  EXPECT_EQ(refusal(fbstof(full, &order, 7, "pair")), FBENOSPACE);
  EXPECT_EQ(host::take_trace().back(), (TraceEvent{"fbstof", 2, "fbstof = -1"})) << "reported as a return";
}

TEST_F(StructFields, ZeroIsTestedWhateverTheNullValue) {
  Order order = empty_order();
  order.small[2] = 0;
  order.price = -0.0;
  std::strcpy(order.label, "ab");
  struct Case {
    const char* member;
    int occurrence;
    std::pair<int, int> zero;  // the result and fberror
    const char* name = "order";
  } cases[] = {{"qty", 0, {1, 0}},
               {"small", 1, {0, 0}},  // null, but not zero
               {"small", 2, {1, 0}},
               {"price", 0, {1, 0}},
               {"rate", 0, {0, 0}},
               {"big", 0, {0, 0}},
               {"flag", 0, {0, 0}},
               {"label", 1, {0, 0}},  // occurrences of a text are its bytes
               {"label", 2, {1, 0}},
               {"label", -1, {-1, FBEBADSTRUCT}},
               {"label", 20, {-1, FBEBADSTRUCT}},
               {"labe", 0, {-1, 0}},
               {"unknown", 0, {-1, 0}, "odd"},  // a row of unknown type is passed over
               {"qty", 0, {-1, FBEBADSTRUCT}, "none"}};
  for (const Case& c : cases) {
    EXPECT_EQ(outcome(fbsnull(&order, c.member, c.occurrence, c.name)), c.zero) << c.member << " " << c.occurrence;
  }
}

TEST_F(StructFields, RefusesWhatItCannotUse) {
  Buffer buffer;
  Order order = empty_order();
  expect_refusals({{"fbftos = -1", FBEINVAL, [&] { fbftos(nullptr, &order, "none"); }},
                   {"fbftos = -1", FBEBADSTRUCT, [&] { fbftos(buffer, &order, "none"); }},
                   {"fbftos = -1", FBEBADSTRUCT, [&] { fbftos(buffer, &order, nullptr); }},
                   {"fbftos = -1", FBEINVAL, [&] { fbftos(buffer, nullptr, "order"); }},
                   {"fbstof = -1", FBEINVAL, [&] { fbstof(nullptr, &order, 4, "order"); }},
                   {"fbstof = -1", FBEINVAL, [&] { fbstof(buffer, nullptr, 4, "order"); }}});
  EXPECT_EQ(refusal(fbstinit(&order, "none")), FBEBADSTRUCT);
  EXPECT_EQ(refusal(fbstinit(nullptr, "order")), FBEINVAL);
  EXPECT_EQ(refusal(fbstelinit(&order, nullptr, "none")), FBEBADSTRUCT);
}

}  // namespace
