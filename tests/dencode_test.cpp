// Payloads on the wire: every field type byte for byte, structs, trailers, and payloads that lie.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "tests/support/host.h"
#include "tests/support/structs.h"
#include "vxa/vxa_host.h"

namespace {

using host::bytes;
using host::LogRecord;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kStruct = 1;
constexpr int kField = 2;
constexpr unsigned kTrailerFree = 0x02000000;
constexpr unsigned kTrailer = 0x04000000;

// A record of each type, with dirt where bytes carry no meaning.
const std::string kHostFields = bytes(
    "b8 22 00 00  68 00 00 00"                             // magic 8888, used length 104
    "01 00 00 04  41 ee ee ee"                             // char 1 = 'A'
    "02 00 00 08  02 01 ee ee"                             // short 2 = 0x0102
    "03 00 00 0c  04 03 02 01"                             // int 3 = 0x01020304
    "04 00 00 10  fb ff ff ff"                             // long 4 = -5
    "05 00 00 14  00 00 80 3f"                             // float 5 = 1.0
    "06 00 00 18  ee ee ee ee  00 00 00 00 00 00 f0 3f"    // double 6 = 1.0
    "07 00 00 1c  61 62 63 00"                             // string 7 = "abc"
    "07 00 00 1c  61 62 63 64 00 ee ee ee ee ee ee ee"     // string 7 = "abcd"
    "08 00 00 21  03 00 00 00  01 02 03 ee ee ee ee ee");  // carray 8 = 1 2 3, marked as fetched

std::string wire_fields(const char* wire_double) {
  return bytes(
             "00 00 22 b8  00 00 00 68  04 00 00 01  41 __ __ __  08 00 00 02  01 02 __ __"
             "0c 00 00 03  01 02 03 04  10 00 00 04  ff ff ff fb  14 00 00 05  3f 80 00 00"
             "18 00 00 06  __ __ __ __") +
         bytes(wire_double) +
         bytes(
             "1c 00 00 07  61 62 63 00  1c 00 00 07  61 62 63 64 00 __ __ __ __ __ __ __"
             "21 00 00 08  00 00 00 03  01 02 03 __ __ __ __ __");
}

std::string with_used(std::string fields, int used, bool wire) {
  const unsigned word = wire ? __builtin_bswap32(static_cast<unsigned>(used)) : static_cast<unsigned>(used);
  std::memcpy(fields.data() + 4, &word, 4);
  return fields;
}

class EndianSetting {
 public:
  explicit EndianSetting(int endian) : before_(_endian) { _endian = endian; }
  ~EndianSetting() { _endian = before_; }

 private:
  int before_;
};

// A message in a block that ends with its payload, so that a sanitizer sees every step beyond it.
class Message {
 public:
  Message(int type, const std::string& payload, unsigned reqctl = 0, const char* subtype = "")
      : header_(static_cast<vesk_msg_header*>(std::calloc(1, sizeof(vesk_msg_header) + payload.size()))) {
    _init_header(header_);
    header_->type = type;
    header_->size = header_->datalen = static_cast<int>(payload.size());
    header_->reqctl = reqctl;
    std::memcpy(header_->subtype, subtype, strnlen(subtype, sizeof header_->subtype));
    std::memcpy(header_ + 1, payload.data(), payload.size());
  }
  explicit Message(vesk_msg_header* header) : header_(header) {}
  ~Message() { std::free(header_); }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  explicit operator bool() const { return header_ != nullptr; }
  vesk_msg_header* get() const { return header_; }
  vesk_msg_header* operator->() const { return header_; }
  vesk_msg_header* release() { return std::exchange(header_, nullptr); }
  char* data() const { return reinterpret_cast<char*>(header_ + 1); }
  std::string payload() const { return {data(), static_cast<std::size_t>(header_->datalen)}; }

 private:
  vesk_msg_header* header_;
};

using Encoder = vesk_msg_header* (*)(const vesk_msg_header*, int*);

// The encoded payload; nothing when the message could not be encoded.
std::optional<std::string> encoded(Encoder encode, const Message& message) {
  int length = -1;
  const Message out{encode(message.get(), &length)};
  if (!out) return std::nullopt;
  return std::string(out.data(), static_cast<std::size_t>(length));
}

// The payload as _vesk_decode_idata leaves it; nothing when it refuses the message.
std::optional<std::string> decoded(Message& message) {
  vesk_msg_header* received = message.release();
  const Message out{_vesk_decode_idata(received)};
  if (!out) std::free(received);
  return out ? std::optional{out.payload()} : std::nullopt;
}

struct DoubleCase {
  int endian;
  const char* wire;
};
class FieldPayload : public testing::TestWithParam<DoubleCase> {};
INSTANTIATE_TEST_SUITE_P(ByEndian, FieldPayload,
                         testing::Values(DoubleCase{0, "00 00 00 00 3f f0 00 00"},
                                         DoubleCase{1, "00 00 00 00 3f f0 00 00"},
                                         DoubleCase{2, "3f f0 00 00 00 00 00 00"}));

TEST_P(FieldPayload, ConvertsEveryTypeBothWays) {
  const EndianSetting endian{GetParam().endian};
  const std::string wire = wire_fields(GetParam().wire);
  const Message request{kField, kHostFields};
  EXPECT_EQ(encoded(_hton_data_fdl, request), wire);
  EXPECT_EQ(request.payload(), kHostFields);

  std::string apart(wire.size(), 'x');
  EXPECT_EQ(_ntoh_data_fdl(nullptr, wire.data(), apart.data()), apart.data());
  Message reply{kField, wire};
  EXPECT_EQ(decoded(reply), apart);
  EXPECT_EQ(encoded(_hton_data_fdl, Message{kField, apart}), wire);
  EXPECT_EQ(apart.substr(8, 16), bytes("01 00 00 04 41 __ __ __ 02 00 00 08 02 01 __ __"));
  EXPECT_EQ(apart.substr(88), bytes("08 00 00 21 03 00 00 00 01 02 03 __ __ __ __ __"));
}

// A slot of a number type, its value the bytes 1 to 4 as far as the type has them.
std::string host_slot(int type) {
  const char* const slots[] = {"",
                               "07 00 00 04 01 __ __ __",
                               "07 00 00 08 02 01 __ __",
                               "07 00 00 0c 04 03 02 01",
                               "07 00 00 10 04 03 02 01",
                               "07 00 00 14 04 03 02 01"};
  return bytes(slots[type]);
}
std::string wire_slot(int type) {
  const char* const slots[] = {"",
                               "04 00 00 07 01 __ __ __",
                               "08 00 00 07 01 02 __ __",
                               "0c 00 00 07 01 02 03 04",
                               "10 00 00 07 01 02 03 04",
                               "14 00 00 07 01 02 03 04"};
  return bytes(slots[type]);
}

// Runs of every length, at every alignment, up to the end or up to a record of another kind.
TEST(FieldPayloadRuns, OfNumbersAreConvertedWhereverTheyLieAndEnd) {
  for (int numbers = 0; numbers < 40; ++numbers) {
    std::string host = bytes("b8 22 00 00 __ __ __ __");
    std::string wire = bytes("00 00 22 b8 __ __ __ __");
    for (int i = 0; i < numbers; ++i) {
      const int type = 1 + i * 7 % 5;
      host += host_slot(type);
      wire += wire_slot(type);
    }
    for (const bool followed : {false, true}) {
      if (followed) host += bytes("09 00 00 1c 61 62 63 00") + host_slot(2);
      if (followed) wire += bytes("1c 00 00 09 61 62 63 00") + wire_slot(2);
      host = with_used(host, static_cast<int>(host.size()), false);
      wire = with_used(wire, static_cast<int>(wire.size()), true);
      EXPECT_EQ(encoded(_hton_data_fdl, Message{kField, host}), wire) << numbers;
      for (std::size_t offset = 0; offset < 64; offset += 8) {
        alignas(64) char area[512];
        std::memcpy(area + offset, wire.data(), wire.size());
        std::memset(area + offset + wire.size(), 0x5a, 64);
        ASSERT_EQ(_ntoh_data_fdl(nullptr, area + offset, area + offset), area + offset);
        EXPECT_EQ(std::string(area + offset, wire.size() + 64), host + std::string(64, 0x5a)) << numbers << offset;
      }
    }
  }
}

TEST(FieldPayloadRuns, StopAtARecordOfUnknownType) {
  for (int good = 0; good < 30; ++good) {
    std::string wire = bytes("00 00 22 b8 __ __ __ __");
    for (int i = 0; i < 40; ++i) wire += i == good ? bytes("28 00 00 01 01 02 03 04") : wire_slot(3);
    host::take_log();
    Message reply{kField, with_used(wire, static_cast<int>(wire.size()), true)};
    const std::string rest = wire.substr(8 + static_cast<std::size_t>(good) * 8);
    EXPECT_EQ(_vesk_decode_idata(reply.get()), nullptr);
    EXPECT_EQ(reply.payload().substr(reply.payload().size() - rest.size()), rest) << "nothing behind it is touched";
    EXPECT_THAT(host::take_log(), ElementsAre(LogRecord{0, 2, "CSC6406", "0209 internal error : type error: 10"}));
  }
}

TEST(FieldPayloadTrailer, IsCopiedBehindTheFields) {
  const std::string fields = bytes("b8 22 00 00 10 00 00 00 0a 00 00 08 02 01 00 00");
  const std::string trailer = bytes("07 01 99");
  EXPECT_EQ(encoded(_hton_data_fdl, Message{kField, fields + trailer, kTrailer | 3}),
            bytes("00 00 22 b8 00 00 00 10 08 00 00 0a 01 02 __ __ 07 01 99"));
  EXPECT_EQ(encoded(_hton_data_fdl, Message{kField, trailer, kTrailer | 3}), trailer) << "nothing but the trailer";
  Message received{kField, trailer, kTrailer | 3};
  EXPECT_EQ(decoded(received), trailer);
  Message reply{kField, bytes("00 00 22 b8 00 00 00 10 08 00 00 0a 01 02 __ __") + trailer, kTrailer | 3};
  EXPECT_EQ(decoded(reply), fields + trailer);
}

TEST(FieldPayloadTrailer, LongerThanTheReserveOrThePayloadIsRefused) {
  host::take_log();
  EXPECT_EQ(encoded(_hton_data_fdl, Message{kField, kHostFields, kTrailer | 65}), std::nullopt);
  EXPECT_EQ(encoded(_hton_data_fdl, Message{kField, kHostFields.substr(0, 40), kTrailer | 41}), std::nullopt);
  EXPECT_THAT(host::take_log(), ElementsAre(LogRecord{0, 2, "CSC6404", "0003 memory allocation error : size = 304"},
                                            LogRecord{0, 2, "CSC6404", "0003 memory allocation error : size = 200"}));
}

TEST(FieldPayloadDamage, UnknownTypesAreNamedInTheLog) {
  struct Case {
    const char* key;
    const char* wire_key;
    int type;
  } cases[] = {
      {"05 00 00 24", "24 00 00 05", 9}, {"05 00 00 00", "00 00 00 05", 0}, {"05 00 00 a4", "a4 00 00 05", -23}};
  for (const Case& c : cases) {
    host::take_log();
    const Message request{kField, bytes("b8 22 00 00 10 00 00 00") + bytes(c.key) + bytes("01 00 00 00")};
    EXPECT_EQ(encoded(_hton_data_fdl, request), std::nullopt);
    Message reply{kField, bytes("00 00 22 b8 00 00 00 10") + bytes(c.wire_key) + bytes("00 00 00 01")};
    EXPECT_EQ(decoded(reply), std::nullopt);
    const std::string text = "0209 internal error : type error: " + std::to_string(c.type);
    EXPECT_THAT(host::take_log(), ElementsAre(LogRecord{0, 2, "CSC6405", text}, LogRecord{0, 2, "CSC6406", text}));
  }
}

// The used length cut at every byte: only where a record ends is the payload sound.
TEST(FieldPayloadDamage, ASlotThatLeavesTheUsedPartIsRefused) {
  const EndianSetting endian{2};
  const std::string wire = wire_fields("3f f0 00 00 00 00 00 00");
  const std::set<int> ends{8, 16, 24, 32, 40, 48, 64, 72, 88, 104};
  for (int used = 0; used <= 104; ++used) {
    const auto length = static_cast<std::size_t>(used);
    Message reply{kField, with_used(wire, used, true).substr(0, length)};
    if (used == 0) continue;
    EXPECT_EQ(decoded(reply).has_value(), ends.contains(used)) << used;
    const Message request{kField, with_used(kHostFields, used, false).substr(0, length)};
    EXPECT_EQ(encoded(_hton_data_fdl, request).has_value(), ends.contains(used)) << used;
  }
}

TEST(FieldPayloadDamage, LengthsThatLieAreRefused) {
  const std::string wire = wire_fields("00 00 00 00 3f f0 00 00");
  for (const int used : {105, 112, 1 << 30, -1, -(1 << 30), 7, 0}) {
    Message reply{kField, with_used(wire, used, true)};
    EXPECT_EQ(decoded(reply), std::nullopt) << used;
    const std::optional<std::string> request =
        encoded(_hton_data_fdl, Message{kField, with_used(kHostFields, used, false)});
    EXPECT_EQ(request, used == 0 ? std::optional<std::string>{""} : std::nullopt) << used;
  }
  for (const char* length : {"00 00 00 01", "00 00 00 09", "7f ff ff ff", "80 00 00 00", "ff ff ff ff"}) {
    Message reply{kField, bytes("00 00 22 b8 00 00 00 10 20 00 00 01") + bytes(length)};
    EXPECT_EQ(decoded(reply), std::nullopt) << length;
  }
  Message empty{kField, bytes("00 00 22 b8 00 00 00 08")};
  EXPECT_EQ(decoded(empty), bytes("b8 22 00 00 08 00 00 00"));
}

// Struct "pair": 100 bytes here, 60 on the wire; "same": 4 and 4. Both mark the elements that they have seen.
void pair_to_wire(const void* src, void* dst) { std::memset(dst, *static_cast<const char*>(src) + 1, 59); }
void pair_to_host(const void* src, void* dst) { std::memset(dst, *static_cast<const char*>(src) - 1, 99); }
void same_reversed(const void* src, void* dst) {
  const auto* from = static_cast<const char*>(src);
  auto* to = static_cast<char*>(dst);
  for (int i = 0; i < 4; ++i) to[i] = from[3 - i];
}

class StructPayload : public testing::Test {
 protected:
  static vesk_sdl_struct with_routines(vesk_sdl_struct row, void (*hton)(const void*, void*),
                                       void (*ntoh)(const void*, void*)) {
    row.hton = hton;
    row.ntoh = ntoh;
    return row;
  }

  host::Structs structs_{{with_routines(host::struct_row("pair", 100, 60), pair_to_wire, pair_to_host),
                          with_routines(host::struct_row("same", 4, 4), same_reversed, same_reversed),
                          with_routines(host::struct_row("nohost", 0, 4), same_reversed, same_reversed),
                          with_routines(host::struct_row("nowire", 4, -4), same_reversed, same_reversed),
                          with_routines(host::struct_row("huge", 1 << 30, 1), same_reversed, same_reversed),
                          host::struct_row("undescribed", 4, 4)},
                         {}};
};

TEST_F(StructPayload, WholeElementsAreEncodedAndTheRestDropped) {
  const Message request{kStruct, std::string(100, 'a') + std::string(100, 'b') + std::string(50, 'c'), 0, "pair"};
  const std::string expected = std::string(59, 'b') + '\0' + std::string(59, 'c') + '\0';
  EXPECT_EQ(encoded(_hton_data_sdl, request), expected) << "bytes that the routine leaves alone are zero";
  const Message trailed{kStruct, std::string(100, 'a') + "xyz", kTrailer | 3, "pair"};
  EXPECT_EQ(encoded(_hton_data_sdl, trailed), std::string(59, 'b') + '\0' + "xyz");
}

TEST_F(StructPayload, OfOtherSizeIsDecodedIntoANewMessage) {
  vesk_msg_header* received =
      Message{kStruct, std::string(60, 'b') + std::string(60, 'c'), kTrailer | 8, "pair"}.release();
  received->size = 5000;
  received->seqno = 77;
  const Message reply{_vesk_decode_idata(received)};
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply.payload(), std::string(99, 'a') + '\0' + std::string(99, 'b') + '\0');
  EXPECT_EQ(reply->seqno, 77);
  EXPECT_EQ(reply->size, 5000);
  EXPECT_EQ(reply->reqctl, kTrailerFree);
  std::memset(reply.data(), 'x', 5000 + 64);

  vesk_msg_header* small = Message{kStruct, std::string(60, 'b'), 0, "pair"}.release();
  const Message grown{_vesk_decode_idata(small)};
  EXPECT_EQ(grown->size, 100);
}

TEST_F(StructPayload, OfTheSameSizeIsDecodedInPlace) {
  Message message{kStruct, "abcdefghij", 0, "same"};
  EXPECT_EQ(_vesk_decode_idata(message.get()), message.get());
  EXPECT_EQ(message.payload(), "dcbahgfe");
  EXPECT_EQ(message->size, 10);
  EXPECT_EQ(std::string(message.data() + 8, 2), "ij");
}

TEST_F(StructPayload, ThatCannotTravelIsRefused) {
  host::take_log();
  for (const char* name : {"unknown", "nohost", "nowire", "undescribed"}) {
    Message message{kStruct, "abcd", 0, name};
    EXPECT_EQ(encoded(_hton_data_sdl, message), std::nullopt) << name;
    EXPECT_EQ(decoded(message), std::nullopt) << name;
    int length = -7;
    char area[8];
    EXPECT_EQ(_ntoh_data_sdl(Message{kStruct, "abcd", 0, name}.get(), "abcd", area, &length), nullptr);
    EXPECT_EQ(length, -7);
  }
  Message exploding{kStruct, "abcdefgh", 0, "huge"};
  EXPECT_EQ(decoded(exploding), std::nullopt) << "8 elements of 1 GiB";
  EXPECT_THAT(host::take_log(), IsEmpty());
  EXPECT_EQ(encoded(_hton_data_sdl, Message{kStruct, std::string(100, 'a'), kTrailer | 65, "pair"}), std::nullopt);
  EXPECT_THAT(host::take_log(), ElementsAre(LogRecord{0, 2, "CSC6402", "0003 memory allocation error : size = 200"}));
}

// Two ints apart in memory, a short, a text and a long: packed in row order on the wire.
TEST(MemberwiseStruct, PacksMembersBigEndian) {
  const host::Structs structs{{host::struct_row("row", 32, 25, 1, 4), host::struct_row("wrong", 32, 24, 1, 4),
                               host::struct_row("outside", 31, 25, 1, 4), host::struct_row("beyond", 32, 25, 1, 9)},
                              {host::member_row("other", 3, 1, 0, 0), host::member_row("pair", 3, 2, 0, 4),
                               host::member_row("small", 2, 1, 0, 0), host::member_row("text", 7, 7, 7, 12),
                               host::member_row("big", 4, 1, 0, 24)}};
  const std::string element = bytes("02 01 __ __  04 03 02 01  08 07 06 05") + std::string("textual", 7) +
                              bytes("__ __ __ __ __  88 77 66 55 44 33 22 11");
  const std::string wire =
      bytes("01 02 03 04  05 06 07 08  01 02") + std::string("textual", 7) + bytes("11 22 33 44 55 66 77 88");
  EXPECT_EQ(encoded(_hton_data_sdl, Message{kStruct, element + element, 0, "row"}), wire + wire);
  Message reply{kStruct, wire, 0, "row"};
  EXPECT_EQ(decoded(reply), element);
  EXPECT_EQ(encoded(_hton_data_sdl, Message{kStruct, element, 0, "wrong"}), std::nullopt);
  EXPECT_EQ(encoded(_hton_data_sdl, Message{kStruct, element, 0, "outside"}), std::nullopt);
  EXPECT_EQ(encoded(_hton_data_sdl, Message{kStruct, element, 0, "beyond"}), wire) << "rows beyond the table are cut";
}

TEST_F(StructPayload, BehindAControlBlock) {
  Message request{11, std::string(168, '.') + "abcdefgh", 0, "same"};
  request->datalen = 8;
  int length = 0;
  const Message out{_hton_data_sdl(request.get(), &length)};
  EXPECT_EQ(length, 8);
  EXPECT_EQ(std::string(out.data(), 176), std::string(168, '\0') + "dcbahgfe");
  request->datalen = 176;
  EXPECT_EQ(encoded(_hton_data_sdl, request), std::nullopt) << "44 elements do not lie behind the block";
}

TEST(ControlBlock, StandsInFrontOfFieldsUnchanged) {
  const std::string block(168, 'c');
  EXPECT_EQ(encoded(_hton_data_fdl, Message{12, block + bytes("b8 22 00 00 10 00 00 00 0a 00 00 08 02 01 00 00")}),
            block + bytes("00 00 22 b8 00 00 00 10 08 00 00 0a 01 02 __ __"));
  EXPECT_EQ(encoded(_hton_data_fdl, Message{12, block}), block);
  EXPECT_EQ(encoded(_hton_data_fdl, Message{12, block.substr(1)}), std::nullopt);
}

TEST(ControlBlock, IsConvertedWordByWord) {
  std::string block;
  for (int i = 0; i < 42; ++i) block += bytes("04 03 02 01");
  std::string expected = block;
  const std::string turned = bytes("01 02 03 04");
  for (const std::size_t word : {0u, 4u, 8u, 12u, 144u, 148u, 152u, 156u, 160u}) expected.replace(word, 4, turned);
  for (const std::size_t slot : {112u, 120u, 128u, 136u}) expected.replace(slot, 8, turned + std::string(4, '\0'));

  Message message{11, block};
  EndianSetting big{1};
  _hton_data_rqctl(message.get());
  EXPECT_EQ(message.payload(), block);
  _endian = 2;
  _hton_data_rqctl(message.get());
  EXPECT_EQ(message.payload(), expected);
}

TEST(WholeMessage, EncodingReplacesItAndKeepsItsHeader) {
  Message request{kField, bytes("b8 22 00 00 10 00 00 00 0a 00 00 08 02 01 00 00 ee ee"), 0, "note"};
  request->cd = 42;
  const Message sent{_vesk_encode_odata(request.release())};
  EXPECT_EQ(sent.payload(), bytes("00 00 22 b8 00 00 00 10 08 00 00 0a 01 02 __ __"));
  EXPECT_EQ(sent->cd, 42);
  EXPECT_EQ(sent->type, kField);
  EXPECT_STREQ(sent->subtype, "note");

  const std::string damaged = bytes("b8 22 00 00 10 00 00 00 0a 00 00 1c 61 62 63 64");
  Message kept{kField, damaged};
  EXPECT_EQ(_vesk_encode_odata(kept.get()), nullptr);
  EXPECT_EQ(kept.payload(), damaged);
}

TEST(WholeMessage, OtherKindsAndEmptyPayloadsTravelAsTheyAre) {
  for (const int type : {0, 3, 4, 5, 9, 13}) {
    Message message{type, "text"};
    EXPECT_EQ(_vesk_encode_odata(message.get()), message.get());
    EXPECT_EQ(_vesk_decode_idata(message.get()), message.get());
    EXPECT_EQ(message.payload(), "text");
  }
  for (const int type : {kStruct, kField, 11, 12}) {
    Message message{type, ""};
    EXPECT_EQ(_vesk_encode_odata(message.get()), message.get());
    EXPECT_EQ(_vesk_decode_idata(message.get()), message.get());
  }
  Message control{12, "abcdefghijkl"};
  EXPECT_EQ(_vesk_encode_odata(control.get()), nullptr) << "type 12 goes to the struct encoder";
  Message fields{11, bytes("00 00 22 b8 00 00 00 08")};
  EXPECT_EQ(decoded(fields), bytes("b8 22 00 00 08 00 00 00")) << "type 11 goes to the field decoder";
}

}  // namespace
