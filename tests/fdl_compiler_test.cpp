// The compiler of field tables: text to binary file and back, the C header, and what it refuses.
#include "tools/fdl_compiler.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Error.hpp>
#include <CLI/Formatter.hpp>

#include "fb/fbmap.h"
#include "tests/support/test.h"
#include "tools/commands.h"
#include "tools/field_text.h"
#include "tools/source_error.h"

namespace {

using namespace vxa::tools;

FdlImage compiled(std::string_view text) { return compile_fields(parse_field_text(text).fields); }

std::string errors_of(std::string_view text) {
  try {
    parse_field_text(text);
  } catch (const SourceErrors& errors) {
    return errors.report("t");
  }
  return "";
}

std::string dumped(const std::string& image) {
  try {
    return field_text(fields_of_image(image));
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

// Names whose sums collide at every size, numbers with a base, every type.
std::string many_fields(int count) {
  std::string text = "*base 500\n";
  for (int i = 0; i < count; ++i)
    text += "FIELD_" + std::to_string(i) + ' ' + std::to_string(i) + ' ' + fbget_strfldtype((i % 8 + 1) << 26) + '\n';
  return text;
}

// Both names have the byte sum 131 and so the slot 1 of 2; the second wraps to slot 0. The keys fill theirs.
TEST(FdlCompiler, ACollidingNameTakesTheNextSlotInACircle) {
  const FdlImage image = compiled("BA 2 int\nAB 1 int\n");
  const std::string rest_of_name(46, '\0');
  EXPECT_EQ(image.bytes, bytes("b8 22 00 00  02 00 00 00  00 00 00 00") +  //
                             "BA" + rest_of_name + bytes("02 00 00 0c") +  //
                             "AB" + rest_of_name + bytes("01 00 00 0c") +  //
                             bytes("02 00 00 0c  00 00 00 00   01 00 00 0c  01 00 00 00"));
  EXPECT_EQ(image.slots, 2);
  EXPECT_EQ(image.name_probes, 1.5);
  EXPECT_EQ(image.key_probes, 1.0);
}

TEST(FdlCompiler, TheLibraryFindsEveryFieldOfItsTables) {
  for (int count : {10, 512, 513, 3000}) {
    const std::string text = many_fields(count);
    const FdlImage image = compiled(text);
    const TempDir folder;
    const Environment environment("FDLFILE", folder.file("table", image.bytes).c_str());
    fbkeynm_unload();
    double probes = 0;
    for (const Field& field : parse_field_text(text).fields) {
      EXPECT_EQ(fbget_fldkey(field.name.c_str()), static_cast<int>(field.key()));
      EXPECT_EQ(fbget_fldname(static_cast<int>(field.key())), field.name);
      const int slot = _find_fnamei_by_fname(field.name.c_str());
      probes += 1 + (slot - _fname_hash(field.name.c_str()) + image.slots) % image.slots;
    }
    EXPECT_DOUBLE_EQ(probes / count, image.name_probes) << "the records lie where a lookup passes them";
    fbkeynm_unload();
  }
}

TEST(FdlCompiler, GrowsATableUntilLookupsAreNearOneProbe) {
  std::string text;
  for (int i = 0; i < 600; ++i) {
    const auto letter = [i](int place) { return static_cast<char>('A' + (i * place + i / place) % 26); };
    text += std::string{letter(1), letter(7), letter(11), letter(17)} + std::to_string(i * 37) + ' ' +
            std::to_string(i) + " string\n";
  }
  const FdlImage image = compiled(text);
  EXPECT_LE(image.name_probes + image.key_probes, 2.4);
}

TEST(FdlCompiler, CompileAndDumpAreInverse) {
  EXPECT_EQ(dumped(compiled("LONGER 7 string\nA 16777215 char\n*base 5\nB\t0\tcarray\tremark").bytes),
            "# name, number, type\n"
            "A       16777215  char\n"
            "LONGER  7         string\n"
            "B       5         carray\n");
  const std::string image = compiled(many_fields(700)).bytes;
  EXPECT_EQ(compiled(dumped(image)).bytes, image);
}

TEST(FdlCompiler, DumpSaysWhatIsWrongWithAFile) {
  const std::string good = compiled("AMOUNT 1 double").bytes;
  const auto changed = [&](std::size_t at, const char* bytes) {
    return std::string(good).replace(at, std::strlen(bytes), bytes);
  };
  const std::pair<std::string, const char*> cases[] = {
      {good.substr(0, 11), "cut off within the header"},
      {good.substr(0, 71), "damaged: 1 slots make 72 bytes, the file has 71"},
      {changed(0, "a"), "no field table file: magic 8801, expected 8888"},
      {changed(7, "\x80"), "damaged: -2147483647 slots"},
      {changed(12, "+"),
       "damaged: expected a field name, which begins with none of # $ * + - = and no digit, found \"+MOUNT\""},
      {changed(68, "\1"), "damaged: key 402653185 leads to no name of its own"},
      {changed(68, "\xff\xff\xff\xff"), "damaged: no key leads to AMOUNT"}};
  for (const auto& [image, fault] : cases) EXPECT_EQ(dumped(image), fault);
}

TEST(FieldText, ErrorsCarryPlaceAndExpectation) {
  const std::string number = "expected a field number from 0 to 16777215, found ";
  const std::string type = "expected a type (char, short, int, long, float, double, string or carray), found ";
  const std::string longest(47, 'N');
  const std::pair<std::string, std::string> cases[] = {
      {"# all is well\n\n  \t\r\nA 1 int - x\r\n *base 16777215 x\nB 0 int", ""},
      {longest + " 2 int", ""},
      {longest + "N 2 int", "t:1:1: expected a field name of at most 47 characters, found \"" + longest + "N\"\n"},
      {"\n A", "t:2:3: " + number + "the end of the line\n"},
      {"A - int", "t:1:3: " + number + "\"-\" (an absent column)\n"},
      {"A 16777216 int\nB 1x int", "t:1:3: " + number + "\"16777216\"\nt:2:3: " + number + "\"1x\"\n"},
      {"A\t1\tmoney", "t:1:5: " + type + "\"money\"\n"},
      {"A 1 int\nA 2 int\nB 1 string\nC 1 int",
       "t:2:1: expected a new name, found \"A\" of line 1\n"
       "t:4:3: expected a new number for type int, found 1 of line 1\n"},
      {"*base 16777215\nA 1 int",
       "t:2:3: expected a field number that with the base 16777215 comes to at most 16777215, found \"1\"\n"},
      {"*base", "t:1:6: expected a base number from 0 to 16777215, found the end of the line\n"},
      {"*bass 1", "t:1:1: expected *base or a field name, found \"*bass\"\n"}};
  for (const auto& [text, errors] : cases) EXPECT_EQ(errors_of(text), errors);
}

TEST(FieldText, HeaderKeepsTheOrderOfTheText) {
  EXPECT_EQ(field_header(parse_field_text("$/* money */\nB 2 int\n$#define X 1\nA 1 double\n$"), "bank.txt"),
            "/* Field keys, made from bank.txt by vxa fdl. */\n"
            "/* money */\n"
            "#define B ((int)201326594) /* int, number 2 */\n"
            "#define X 1\n"
            "#define A ((int)402653185) /* double, number 1 */\n"
            "\n");
  EXPECT_THROW(field_header(parse_field_text("A.B 1 int"), ""), SourceErrors);
}

class FdlCommand : public testing::Test {
 protected:
  FdlCommand() { add_commands(vxa_); }

  void run(const std::string& arguments) { vxa_.parse("fdl " + arguments); }

  TempDir folder_;
  CLI::App vxa_;
};

TEST_F(FdlCommand, WritesTableAndHeader) {
  const std::string text = folder_.file("bank.txt", "AMOUNT 1 double\n");
  const std::string table = folder_.path("bank.fdl");
  EXPECT_EQ(printed([&] { run(text + " --header " + folder_.path("bank.h")); }),
            table + ": 1 fields in 1 slots; probes of a lookup: 1.00 by name, 1.00 by key\n");
  EXPECT_EQ(printed([&] { run("--dump " + table); }), "# name, number, type\nAMOUNT  1         double\n");
  EXPECT_THAT(folder_.contents(folder_.path("bank.h")), HasSubstr("\n#define AMOUNT ((int)402653185) "));
}

TEST_F(FdlCommand, LeavesEveryFileAsItWasWhenItFails) {
  const std::string table = folder_.file("bank.fdl", "old"), header = folder_.file("bank.h", "old");
  const std::string input = folder_.file("text.fdl", "A 1 int\n");
  const std::string outputs = " -o " + table + " --header " + header;
  testing::internal::CaptureStderr();
  EXPECT_THROW(run(folder_.file("bad.txt", "AMOUNT 1 money\n") + outputs), CLI::RuntimeError);
  EXPECT_THROW(run(folder_.file("name.txt", "A.B 1 int\n") + outputs), CLI::RuntimeError);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::AllOf(HasSubstr("bad.txt:1:10: "), HasSubstr("name.txt:1:1: ")));
  EXPECT_THROW(run(input + " -o " + table + " --header /dev/null"), std::runtime_error);
  EXPECT_THROW(run(input), std::runtime_error) << "would replace its own input";
  EXPECT_EQ(folder_.contents(input), "A 1 int\n");
  EXPECT_EQ(folder_.contents(table) + folder_.contents(header), "oldold");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.path()), {}), 5) << "nothing is left behind";
}

}  // namespace
