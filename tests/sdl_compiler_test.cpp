// Struct descriptions: the bytes a text compiles to, what is refused and where, and that the library converts the
// structs that the compiler lays out.
#include "tools/sdl_compiler.h"

#include "tests/support/test.h"
#include "tools/source_error.h"

namespace {

using namespace vxa::tools;

// Keys in decimal: short number 1, carray number 2, double number 3.
constexpr const char* kText =
    "struct item\n"
    "  short  code  134217729\n"
    "  carray tag   536870914 2 3 \"x\\\"\"\n"
    "  double price 402653187 1 - -0.5\n"
    "end\n";

std::string padded(const std::string& text, std::size_t size) { return text + std::string(size - text.size(), '\0'); }

std::string member(const char* name, const char* key_and_type, const char* null_value, const char* numbers) {
  return padded(name, 32) + bytes(key_and_type) + padded(null_value, 36) + bytes(numbers) + std::string(4, '\0');
}

TEST(SdlCompiler, MakesTheFileByteForByte) {
  // short at 0, six bytes of tags at 2, double at 8: 16 bytes in memory, 2 + 6 + 8 = 16 on the wire.
  const std::string expected =
      bytes("61 1e 00 00  01 00 00 00  03 00 00 00") + padded("item", 16) + std::string(16, '\0') +
      bytes("00 00 00 00  02 00 00 00") + std::string(8, '\0') +
      bytes("10 00 00 00  00 00 00 00  10 00 00 00  00 00 00 00") +
      member("code", "01 00 00 08  02 00 00 00", "", "01 00 00 00  00 00 00 00  00 00 00 00") +
      member("tag", "02 00 00 20  08 00 00 00", "x\"", "06 00 00 00  03 00 00 00  02 00 00 00") +
      member("price", "03 00 00 18  06 00 00 00", "-0.5", "01 00 00 00  00 00 00 00  08 00 00 00");
  EXPECT_EQ(compile_structs(parse_struct_text(kText)), expected);
}

TEST(SdlCompiler, CompileAndDumpAreInverse) {
  Environment unset("FDLFILE", nullptr);
  const std::string image = compile_structs(parse_struct_text(kText));
  EXPECT_EQ(compile_structs(parse_struct_text(struct_text(structs_of_image(image)))), image);
  for (std::size_t length = 0; length < image.size(); ++length)
    EXPECT_THROW(structs_of_image(image.substr(0, length)), std::runtime_error) << length;
}

TEST(SdlCompiler, SaysWhereTheTextIsWrong) {
  Environment unset("FDLFILE", nullptr);
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"short a 134217729\n", "t:1:1: ", "expected struct and its name"},
      {"struct seventeen_letters\nshort a 134217729\nend\n", "t:1:8: ", "at most 16 characters"},
      {"struct a\n  short b 134217729\n", "t:2:1: ", "expected end of struct a"},
      {"struct a\n  shirt b 134217729\nend\n", "t:2:3: ", "expected a member type"},
      {"struct a\n  short b NAME\nend\n", "t:2:11: ", "expected a field name"},
      {"struct a\n  short b 134217729\n  int b 134217729\nend\n", "t:3:7: ", "expected a new member name"},
      {"struct a\n  short b 134217729 0\nend\n", "t:2:21: ", "expected an element count"},
      {"struct a\n  string b 134217729 1 -\nend\n", "t:2:24: ", "expected the bytes of one element"},
      {"struct a\n  string b 134217729 1 3 abc\nend\n", "t:2:26: ", "fits one element"},
      {"struct a\n  int class 134217729\nend\n", "t:2:7: ", "expected a member name"},
      {"struct a\n  int b 134217729 1 - 1x\nend\n", "t:2:23: ", "expected a number"},
      {"struct a\n  int b 134217729 1 - 2147483648\nend\n", "t:2:23: ", "expected a number"},
      {"struct a\n  string b 134217729 1 30 \"open\nend\n", "t:2:27: ", "expected a null value"},
  };
  for (const auto& [text, place, says] : cases) {
    try {
      parse_struct_text(text);
      ADD_FAILURE() << "accepted: " << text;
    } catch (const SourceErrors& errors) {
      EXPECT_THAT(errors.report("t"), testing::AllOf(testing::StartsWith(place), HasSubstr(says)));
    }
  }
}

TEST(SdlCompiler, HeaderDeclaresWhatTheCompilerLaysOut) {
  const std::string header = struct_header(parse_struct_text(kText), "item.txt");
  EXPECT_THAT(header, HasSubstr("struct item {\n  short code;\n  char tag[2][3];\n  double price;\n};\n"));
  EXPECT_THAT(header, HasSubstr("(sizeof(struct item) == 16) ? 1 : -1"));
  EXPECT_THAT(header, HasSubstr("(offsetof(struct item, price) == 8) ? 1 : -1"));
}

struct item {
  short code;
  char tag[2][3];
  double price;
};

TEST(SdlCompiler, LibraryConvertsWithTheCompiledDescription) {
  const TempDir folder;
  const std::string file = folder.file("item.sdl", compile_structs(parse_struct_text(kText)));
  const Environment list("SDLFILE64", file.c_str());
  ASSERT_EQ(_sdlfile_load(), 1);
  auto* data = reinterpret_cast<item*>(tpalloc("STRUCT", "item", 0));
  ASSERT_NE(data, nullptr);
  *data = {258, {"ab", "c"}, 1.0};
  auto* message = reinterpret_cast<vesk_msg_header*>(data) - 1;
  message->datalen = sizeof(item);
  auto* encoded = static_cast<vesk_msg_header*>(_vesk_encode_odata(message));
  ASSERT_NE(encoded, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(encoded + 1), 16),
            bytes("01 02  61 62 00 63 00 00  3f f0 00 00 00 00 00 00"));
  std::free(encoded);
}

}  // namespace
