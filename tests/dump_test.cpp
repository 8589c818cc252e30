// What `vxa dump` says of messages and images, whole and damaged.
#include "tools/dump.h"

#include "tests/support/test.h"

namespace {

std::string dumped(const std::string& bytes) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* out = open_memstream(&text, &size);
  const std::string trouble = thrown([&] { vxa::tools::dump(bytes, out); });
  std::fclose(out);
  std::string shown(text, size);
  std::free(text);
  return trouble.empty() ? shown : shown + "! " + trouble;
}

// A call of ADD with that payload: type, datalen and payload as given.
std::string call(const char* type, const char* datalen, const std::string& payload) {
  return bytes("90 35 20 82  00 00 00 06") + bytes(type) + bytes("00 00 04 08  00 00 00 03") + std::string(20, '\0') +
         bytes("00 00 00 01  00 00 00 02  00 00 00 03") + std::string(16, '\0') + "ADD" + std::string(29, '\0') +
         bytes(datalen) + bytes("0a 00 00 00") + std::string(8, '\0') + bytes("10 00 00 00") + std::string(16, '\0') +
         payload;
}

const std::string kFields = bytes("00 00 22 b8  00 00 00 10  08 00 00 0a  01 02 __ __");

TEST(Dump, ShowsMessagesByKind) {
  Environment unset("FDLFILE", nullptr);
  EXPECT_EQ(dumped(call("00 00 00 03", "00 00 00 04", bytes("61 62 63 00"))),
            "tpcall ADD: msgtype 3, seqno 6, 4 bytes of STRING\n"
            "  txid 1 2 3  flags 0xa000000  result 0  cd 0  handle 0  rmid 0  reqctl 0x10000000\n"
            "  000000  61 62 63 00                                      abc.\n");
  EXPECT_THAT(dumped(call("00 00 00 02", "00 00 00 10", kFields)),
              HasSubstr("    fkey = 134217738, fname = , type = short, value = 258 \n"));
}

TEST(Dump, ShowsDamageAsItIs) {
  std::string damaged = kFields;
  damaged[11] = 0x7f;
  damaged[8] = 0x1c;  // a string that does not end
  damaged.replace(12, 4, "aaaa");
  EXPECT_THAT(dumped(call("00 00 00 02", "00 00 00 10", damaged)),
              HasSubstr("damaged field buffer:\n  000000  00 00 22"));
  const std::string whole = call("00 00 00 03", "00 00 00 04", "abc");
  EXPECT_THAT(dumped(whole), HasSubstr("! the last message is cut off inside its payload"));
  EXPECT_EQ(dumped(whole.substr(0, 100)), "! the last message is cut off inside its header");
  EXPECT_THAT(dumped(call("00 00 00 03", "ff ff ff ff", "")), HasSubstr("!"));
  EXPECT_THAT(dumped(std::string(200, 'x')), HasSubstr("!"));
}

}  // namespace
