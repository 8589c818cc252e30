// Payloads on the wire: every field type byte for byte, structs, trailers, and payloads that lie.
#include <optional>
#include <set>

#include "base/heap.h"
#include "tests/support/structs.h"
#include "tests/support/test.h"

namespace {

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

const char* const kHalvesKept = "00 00 00 00 3f f0 00 00";

std::string with_used(std::string fields, int used, bool wire) {
  const unsigned word = wire ? __builtin_bswap32(static_cast<unsigned>(used)) : static_cast<unsigned>(used);
  std::memcpy(fields.data() + 4, &word, 4);
  return fields;
}

// A message in a block that ends with its payload, so that a sanitizer sees every step beyond it.
struct Message : vxa::HeapPtr<vesk_msg_header> {
  Message(int type, const std::string& payload, unsigned reqctl = 0, const char* subtype = "")
      : Message(static_cast<vesk_msg_header*>(std::calloc(1, sizeof(vesk_msg_header) + payload.size()))) {
    _init_header(get());
    get()->type = type;
    get()->size = get()->datalen = static_cast<int>(payload.size());
    get()->reqctl = reqctl;
    std::memcpy(get()->subtype, subtype, strnlen(subtype, sizeof get()->subtype));
    std::memcpy(data(), payload.data(), payload.size());
  }
  explicit Message(vesk_msg_header* header) : unique_ptr(header) {}
  char* data() const { return reinterpret_cast<char*>(get() + 1); }
  std::string payload() const { return {data(), static_cast<std::size_t>(get()->datalen)}; }
};

// What became of a payload; nothing when the message was refused.
using Outcome = std::optional<std::string>;

using Encoder = vesk_msg_header* (*)(const vesk_msg_header*, int*);

Outcome encoded(Encoder encode, const Message& message) {
  int length = -1;
  const Message out{encode(message.get(), &length)};
  return out ? Outcome{{out.data(), static_cast<std::size_t>(length)}} : std::nullopt;
}
Outcome field_encoded(const std::string& payload, unsigned reqctl = 0) {
  return encoded(_hton_data_fdl, Message{kField, payload, reqctl});
}
Outcome struct_encoded(const std::string& payload, const char* name, unsigned reqctl = 0) {
  return encoded(_hton_data_sdl, Message{kStruct, payload, reqctl, name});
}

Outcome decoded(Message received) {
  const Message out{_vesk_decode_idata(received.get())};
  if (out) received.release();
  return out ? Outcome{out.payload()} : std::nullopt;
}

TEST(FieldPayload, ConvertsEveryTypeBothWays) {
  for (const auto& [endian, wire_double] :
       {std::pair{0, kHalvesKept}, {1, kHalvesKept}, {2, "3f f0 00 00 00 00 00 00"}}) {
    _endian = endian;
    const std::string wire = wire_fields(wire_double);
    const Message request{kField, kHostFields};
    EXPECT_EQ(encoded(_hton_data_fdl, request), wire);
    EXPECT_EQ(request.payload(), kHostFields);

    std::string apart(wire.size(), 'x');
    EXPECT_EQ(_ntoh_data_fdl(nullptr, wire.data(), apart.data()), apart.data());
    EXPECT_EQ(decoded({kField, wire}), apart);
    EXPECT_EQ(field_encoded(apart), wire);
    EXPECT_EQ(apart.substr(8, 16), bytes("01 00 00 04 41 __ __ __ 02 00 00 08 02 01 __ __"));
    EXPECT_EQ(apart.substr(88), bytes("08 00 00 21 03 00 00 00 01 02 03 __ __ __ __ __"));
  }
  _endian = 0;
}

// Slots of the number types 1 to 5, their values the bytes 1 to 4 as far as a type has them; here and on the wire.
const std::string kNumberSlots[][2] = {{},
                                       {bytes("07 00 00 04 01 __ __ __"), bytes("04 00 00 07 01 __ __ __")},
                                       {bytes("07 00 00 08 02 01 __ __"), bytes("08 00 00 07 01 02 __ __")},
                                       {bytes("07 00 00 0c 04 03 02 01"), bytes("0c 00 00 07 01 02 03 04")},
                                       {bytes("07 00 00 10 04 03 02 01"), bytes("10 00 00 07 01 02 03 04")},
                                       {bytes("07 00 00 14 04 03 02 01"), bytes("14 00 00 07 01 02 03 04")}};

// Runs of every length, at every alignment, up to the end or up to a record of another kind.
TEST(FieldPayload, ConvertsRunsOfNumbersWhereverTheyLieAndEnd) {
  for (int numbers = 0; numbers < 40; ++numbers)
    for (const bool followed : {false, true}) {
      std::string host = bytes("b8 22 00 00 __ __ __ __");
      std::string wire = bytes("00 00 22 b8 __ __ __ __");
      for (int i = 0; i < numbers; ++i) {
        host += kNumberSlots[1 + i * 7 % 5][0];
        wire += kNumberSlots[1 + i * 7 % 5][1];
      }
      if (followed) host += bytes("09 00 00 1c 61 62 63 00") + kNumberSlots[2][0];
      if (followed) wire += bytes("1c 00 00 09 61 62 63 00") + kNumberSlots[2][1];
      host = with_used(host, static_cast<int>(host.size()), false);
      wire = with_used(wire, static_cast<int>(wire.size()), true);
      EXPECT_EQ(field_encoded(host), wire) << numbers;
      for (std::size_t offset = 0; offset < 64; offset += 8) {
        alignas(64) char area[512];
        std::memcpy(area + offset, wire.data(), wire.size());
        std::memset(area + offset + wire.size(), 0x5a, 64);
        ASSERT_EQ(_ntoh_data_fdl(nullptr, area + offset, area + offset), area + offset);
        EXPECT_EQ(std::string(area + offset, wire.size() + 64), host + std::string(64, 0x5a)) << numbers << offset;
      }
    }
}

TEST(FieldDamage, StopsARunOfNumbers) {
  for (int good = 0; good < 30; ++good) {
    std::string wire = bytes("00 00 22 b8 __ __ __ __");
    for (int i = 0; i < 40; ++i) wire += i == good ? bytes("28 00 00 01 01 02 03 04") : kNumberSlots[3][1];
    take_log();
    const Message reply{kField, with_used(wire, static_cast<int>(wire.size()), true)};
    const std::string rest = wire.substr(8 + static_cast<std::size_t>(good) * 8);
    EXPECT_EQ(_vesk_decode_idata(reply.get()), nullptr);
    EXPECT_EQ(reply.payload().substr(reply.payload().size() - rest.size()), rest) << "nothing behind it is touched";
    EXPECT_TRUE(logged({{0, 2, "CSC6406", "0209 internal error : type error: 10"}}));
  }
}

const std::string kShortField = bytes("b8 22 00 00 10 00 00 00 0a 00 00 08 02 01 00 00");
const std::string kShortOnWire = bytes("00 00 22 b8 00 00 00 10 08 00 00 0a 01 02 __ __");

TEST(FieldPayload, TrailerIsCopiedBehindTheFields) {
  const std::string trailer = bytes("07 01 99");
  EXPECT_EQ(field_encoded(kShortField + trailer, kTrailer | 3), kShortOnWire + trailer);
  EXPECT_EQ(decoded({kField, kShortOnWire + trailer, kTrailer | 3}), kShortField + trailer);
  EXPECT_EQ(field_encoded(trailer, kTrailer | 3), trailer) << "nothing but the trailer";
  EXPECT_EQ(decoded({kField, trailer, kTrailer | 3}), trailer);
  take_log();
  EXPECT_EQ(field_encoded(kHostFields, kTrailer | 65), std::nullopt) << "longer than the reserve";
  EXPECT_EQ(field_encoded(kHostFields.substr(0, 40), kTrailer | 41), std::nullopt) << "longer than the payload";
  EXPECT_TRUE(logged({{0, 2, "CSC6404", "0003 memory allocation error : size = 304"},
                      {0, 2, "CSC6404", "0003 memory allocation error : size = 200"}}));
}

TEST(FieldDamage, UnknownTypesAreNamedInTheLog) {
  const std::tuple<const char*, const char*, int> cases[] = {
      {"05 00 00 24", "24 00 00 05", 9}, {"05 00 00 00", "00 00 00 05", 0}, {"05 00 00 a4", "a4 00 00 05", -23}};
  for (const auto& [key, wire_key, type] : cases) {
    take_log();
    EXPECT_EQ(field_encoded(bytes("b8 22 00 00 10 00 00 00") + bytes(key) + bytes("01 00 00 00")), std::nullopt);
    EXPECT_EQ(decoded({kField, bytes("00 00 22 b8 00 00 00 10") + bytes(wire_key) + bytes("00 00 00 01")}),
              std::nullopt);
    const std::string text = "0209 internal error : type error: " + std::to_string(type);
    EXPECT_TRUE(logged({{0, 2, "CSC6405", text}, {0, 2, "CSC6406", text}}));
  }
}

// The used length cut at every byte: only where a record ends is the payload sound.
TEST(FieldDamage, LengthsThatLieAreRefused) {
  const std::string wire = wire_fields(kHalvesKept);
  const std::set<int> ends{8, 16, 24, 32, 40, 48, 64, 72, 88, 104};
  for (int used = 1; used <= 104; ++used) {
    const auto length = static_cast<std::size_t>(used);
    EXPECT_EQ(decoded({kField, with_used(wire, used, true).substr(0, length)}).has_value(), ends.contains(used));
    EXPECT_EQ(field_encoded(with_used(kHostFields, used, false).substr(0, length)).has_value(), ends.contains(used))
        << used;
  }
  for (const int used : {105, 112, 1 << 30, -1, -(1 << 30), 7, 0}) {
    EXPECT_EQ(decoded({kField, with_used(wire, used, true)}), std::nullopt) << used;
    EXPECT_EQ(field_encoded(with_used(kHostFields, used, false)), used == 0 ? Outcome{""} : std::nullopt) << used;
  }
  for (const char* length : {"00 00 00 01", "00 00 00 09", "7f ff ff ff", "80 00 00 00", "ff ff ff ff"})
    EXPECT_EQ(decoded({kField, bytes("00 00 22 b8 00 00 00 10 20 00 00 01") + bytes(length)}), std::nullopt) << length;
  EXPECT_EQ(decoded({kField, bytes("00 00 22 b8 00 00 00 08")}), bytes("b8 22 00 00 08 00 00 00"));
}

// Struct "pair": 100 bytes here, 60 on the wire; its routines mark the elements that they have seen.
void pair_to_wire(const void* src, void* dst) { std::memset(dst, *static_cast<const char*>(src) + 1, 59); }
void pair_to_host(const void* src, void* dst) { std::memset(dst, *static_cast<const char*>(src) - 1, 99); }

class StructPayload : public testing::Test {
 protected:
  StructPayload() {
    _sdl_table[0].hton = pair_to_wire;
    _sdl_table[0].ntoh = pair_to_host;
  }
  static vesk_sdl_struct described(const char* name, int host_size, int network_size) {
    return host::struct_row(name, host_size, network_size, 0, -1, host::reverse_four);
  }
  host::Structs structs_{
      {described("pair", 100, 60), described("same", 4, 4), described("nohost", 0, 4), described("nowire", 4, -4),
       described("huge", 1 << 30, 1), host::struct_row("undescribed", 4, 4)},
      {}};
};

TEST_F(StructPayload, WholeElementsAreEncodedAndTheRestDropped) {
  const std::string a = std::string(59, 'b') + '\0';  // bytes that the routine leaves alone are zero
  const std::string b = std::string(59, 'c') + '\0';
  EXPECT_EQ(struct_encoded(std::string(100, 'a') + std::string(100, 'b') + std::string(50, 'c'), "pair"), a + b);
  EXPECT_EQ(struct_encoded(std::string(100, 'a') + "xyz", "pair", kTrailer | 3), a + "xyz");
}

TEST_F(StructPayload, OfOtherSizeIsDecodedIntoANewMessage) {
  Message received{kStruct, std::string(60, 'b') + std::string(60, 'c'), kTrailer | 8, "pair"};
  received->size = 5000;
  received->seqno = 77;
  const Message reply{_vesk_decode_idata(received.release())};
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply.payload(), std::string(99, 'a') + '\0' + std::string(99, 'b') + '\0');
  EXPECT_EQ(reply->seqno, 77);
  EXPECT_EQ(reply->size, 5000);
  EXPECT_EQ(reply->reqctl, kTrailerFree);
  std::memset(reply.data(), 'x', 5000 + 64);

  const Message grown{_vesk_decode_idata(Message{kStruct, std::string(60, 'b'), 0, "pair"}.release())};
  EXPECT_EQ(grown->size, 100);
}

TEST_F(StructPayload, OfTheSameSizeIsDecodedInPlace) {
  const Message message{kStruct, "abcdefghij", 0, "same"};
  EXPECT_EQ(_vesk_decode_idata(message.get()), message.get());
  EXPECT_EQ(message.payload(), "dcbahgfe");
  EXPECT_EQ(message->size, 10);
  EXPECT_EQ(std::string(message.data() + 8, 2), "ij");
}

TEST_F(StructPayload, ThatCannotTravelIsRefused) {
  take_log();
  for (const char* name : {"unknown", "nohost", "nowire", "undescribed"}) {
    EXPECT_EQ(struct_encoded("abcd", name), std::nullopt) << name;
    EXPECT_EQ(decoded({kStruct, "abcd", 0, name}), std::nullopt) << name;
    int length = -7;
    char area[8];
    EXPECT_EQ(_ntoh_data_sdl(Message(kStruct, "abcd", 0, name).get(), "abcd", area, &length), nullptr);
    EXPECT_EQ(length, -7);
  }
  EXPECT_EQ(decoded({kStruct, "abcdefgh", 0, "huge"}), std::nullopt) << "8 elements of 1 GiB";
  EXPECT_TRUE(logged({}));
  EXPECT_EQ(struct_encoded(std::string(100, 'a'), "pair", kTrailer | 65), std::nullopt);
  EXPECT_TRUE(logged({{0, 2, "CSC6402", "0003 memory allocation error : size = 200"}}));
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
  EXPECT_EQ(struct_encoded(element + element, "row"), wire + wire);
  EXPECT_EQ(decoded({kStruct, wire, 0, "row"}), element);
  EXPECT_EQ(struct_encoded(element, "wrong"), std::nullopt);
  EXPECT_EQ(struct_encoded(element, "outside"), std::nullopt);
  EXPECT_EQ(struct_encoded(element, "beyond"), wire) << "rows beyond the table are cut";
}

TEST_F(StructPayload, BehindAControlBlock) {
  const Message request{11, std::string(168, '.') + "abcdefgh", 0, "same"};
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
  EXPECT_EQ(encoded(_hton_data_fdl, {12, block + kShortField}), block + kShortOnWire);
  EXPECT_EQ(encoded(_hton_data_fdl, {12, block}), block);
  EXPECT_EQ(encoded(_hton_data_fdl, {12, block.substr(1)}), std::nullopt);
}

TEST(ControlBlock, IsConvertedWordByWord) {
  std::string block;
  for (int i = 0; i < 42; ++i) block += bytes("04 03 02 01");
  std::string expected = block;
  const std::string turned = bytes("01 02 03 04");
  for (const std::size_t word : {0u, 4u, 8u, 12u, 144u, 148u, 152u, 156u, 160u}) expected.replace(word, 4, turned);
  for (const std::size_t slot : {112u, 120u, 128u, 136u}) expected.replace(slot, 8, turned + std::string(4, '\0'));

  const Message message{11, block};
  _endian = 1;
  _hton_data_rqctl(message.get());
  EXPECT_EQ(message.payload(), block);
  _endian = 2;
  _hton_data_rqctl(message.get());
  EXPECT_EQ(message.payload(), expected);
  _endian = 0;
}

TEST(WholeMessage, EncodingReplacesItAndKeepsItsHeader) {
  Message request{kField, kShortField + "behind", 0, "note"};
  request->cd = 42;
  const Message sent{_vesk_encode_odata(request.release())};
  EXPECT_EQ(sent.payload(), kShortOnWire);
  EXPECT_EQ(sent->cd, 42);
  EXPECT_EQ(sent->type, kField);
  EXPECT_STREQ(sent->subtype, "note");

  const std::string damaged = bytes("b8 22 00 00 10 00 00 00 0a 00 00 1c 61 62 63 64");
  const Message kept{kField, damaged};
  EXPECT_EQ(_vesk_encode_odata(kept.get()), nullptr);
  EXPECT_EQ(kept.payload(), damaged);
}

TEST(WholeMessage, OtherKindsAndEmptyPayloadsTravelAsTheyAre) {
  const std::pair<int, const char*> kinds[] = {{0, "text"},  {3, "text"},   {4, "text"},  {5, "text"}, {9, "text"},
                                               {13, "text"}, {kStruct, ""}, {kField, ""}, {11, ""},    {12, ""}};
  for (const auto& [type, payload] : kinds) {
    const Message message{type, payload};
    EXPECT_EQ(_vesk_encode_odata(message.get()), message.get());
    EXPECT_EQ(_vesk_decode_idata(message.get()), message.get());
    EXPECT_EQ(message.payload(), payload);
  }
  EXPECT_EQ(_vesk_encode_odata(Message(12, "abcdefghijkl").get()), nullptr) << "type 12 goes to the struct encoder";
  EXPECT_EQ(decoded({11, bytes("00 00 22 b8 00 00 00 08")}), bytes("b8 22 00 00 08 00 00 00"))
      << "type 11 goes to the field decoder";
}

}  // namespace
