#include "tools/struct_text.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <set>
#include <sstream>

#include "tools/source_columns.h"
#include "tools/source_error.h"
#include "vxa/fbuf.h"

namespace vxa::tools {

namespace {

constexpr std::size_t kLongestStructName = 16;
constexpr std::size_t kLongestMemberName = 31;
constexpr std::size_t kLongestNullValue = 35;
constexpr int kLargestMember = 1 << 24;  // bytes; keeps every sum of sizes far from the limits of an int
constexpr std::int64_t kLargestStruct = 1 << 30;

// By member type: what C calls it, and its bytes, which are its alignment too.
struct HostType {
  const char* c_name;
  int size;
};
constexpr HostType kHostTypes[] = {{"", 0},      {"char", 1},   {"short", 2}, {"int", 4}, {"long", 8},
                                   {"float", 4}, {"double", 8}, {"char", 1},  {"char", 1}};
const HostType& host_type(int type) { return kHostTypes[type]; }

int aligned(int offset, int alignment) { return (offset + alignment - 1) / alignment * alignment; }

class Parser {
 public:
  std::vector<Struct> parse(std::string_view text) {
    for_each_line(text, [this](std::string_view line) {
      ++line_;
      parse_line(line);
    });
    if (open_) errors_.push_back({line_, 1, "expected end of struct " + structs_.back().name});
    if (!errors_.empty()) throw SourceErrors{std::move(errors_)};
    return std::move(structs_);
  }

 private:
  void parse_line(std::string_view line) {
    Columns columns{line};
    const Column first = columns.next();
    if (first.text.empty() || first.text.front() == '#') return;
    if (first.text == "struct") return begin_struct(first, columns.next());
    if (!open_) return fail(first, "expected struct and its name" + found(first));
    if (first.text == "end") return end_struct(first);
    parse_member(first, columns);
  }

  void begin_struct(const Column& word, const Column& name) {
    if (open_) fail(word, "expected end of struct " + structs_.back().name + found(word));
    if (!is_c_identifier(name.text) || name.text.size() > kLongestStructName)
      fail(name, "expected a struct name: a C identifier of at most 16 characters" + found(name));
    else if (!struct_names_.insert(std::string(name.text)).second)
      fail(name, "expected a new struct name" + found(name));
    structs_.push_back({std::string(name.text), {}});
    member_names_.clear();
    open_ = true;
    errors_before_ = errors_.size();
  }

  void end_struct(const Column& word) {
    if (structs_.back().members.empty() && errors_.size() == errors_before_)
      fail(word, "expected a member" + found(word));
    open_ = false;
  }

  void parse_member(const Column& type_column, Columns& columns) {
    const auto type = field_type_in(type_column.text);
    if (!type)
      return fail(type_column, "expected a member type (" + std::string(kFieldTypes) + ")" + found(type_column));
    const Column name = columns.next();
    if (!is_c_identifier(name.text) || name.text.size() > kLongestMemberName)
      return fail(name, "expected a member name: a C identifier of at most 31 characters" + found(name));
    if (!member_names_.insert(std::string(name.text)).second)
      return fail(name, "expected a new member name" + found(name));
    const Column field = columns.next();
    const auto key = key_in(field.text);
    if (!key) return fail(field, "expected a field name of the tables in FDLFILE, or a field key" + found(field));

    Member member{std::string(name.text), *type, *key, 1, 0, {}};
    const Column count = columns.next();
    const Column length = columns.next();
    if (!parse_sizes(member, count, length)) return;
    if (!parse_null_value(member, columns.rest())) return;
    structs_.back().members.push_back(std::move(member));
    if (total_size() > kLargestStruct) fail(name, "expected a struct of at most 1 GiB" + found(name));
  }

  bool parse_sizes(Member& member, const Column& count, const Column& length) {
    const auto elements = count.absent() ? std::optional{1} : number_in(count.text);
    if (!elements) return refuse(count, "expected an element count from 1 to 16777216" + found(count));
    const auto bytes = member.text() ? number_in(length.text) : std::optional{member.element_size()};
    if (!bytes || (!member.text() && !length.absent()))
      return refuse(length, (member.text() ? "expected the bytes of one element, from 1 to 16777216"
                                           : "expected no element length for a number or char") +
                                found(length));
    if (std::int64_t{*elements} * *bytes > kLargestMember)
      return refuse(count, "expected a member of at most 16777216 bytes" + found(count));
    member.elements = *elements;
    member.element_length = member.text() ? *bytes : 0;
    return true;
  }

  bool parse_null_value(Member& member, const Column& rest) {
    const auto value = unquoted(rest.text);
    if (!value)
      return refuse(rest, "expected a null value, in quotes where it holds blanks, without zero bytes" + found(rest));
    if (value->size() > kLongestNullValue)
      return refuse(rest, "expected a null value of at most 35 characters" + found(rest));
    if (member.text() && static_cast<int>(value->size()) >= member.element_length)
      return refuse(rest, "expected a null value that fits one element with its terminator" + found(rest));
    if (!member.text() && member.type != FB_CHAR && !value->empty() && !is_number(*value, member.type))
      return refuse(rest, "expected a number of the member's type as null value" + found(rest));
    if (member.type == FB_CHAR && value->size() > 1)
      return refuse(rest, "expected one character as null value" + found(rest));
    member.null_value = *value;
    return true;
  }

  static std::optional<int> number_in(std::string_view text) {
    int number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || rest != text.data() + text.size() || number < 1 || number > kLargestMember)
      return std::nullopt;
    return number;
  }

  template <class Number>
  static bool holds(std::string_view text) {
    Number number{};
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && rest == text.data() + text.size();
  }

  static bool is_number(std::string_view text, int type) {
    switch (type) {
      case FB_SHORT:
        return holds<std::int16_t>(text);
      case FB_INT:
        return holds<std::int32_t>(text);
      case FB_LONG:
        return holds<std::int64_t>(text);
      case FB_FLOAT:
        return holds<float>(text);
      default:
        return holds<double>(text);
    }
  }

  static std::optional<std::uint32_t> key_in(std::string_view text) {
    if (text.empty() || text == kAbsentColumn) return std::nullopt;
    std::uint32_t key = 0;
    if (text.front() >= '1' && text.front() <= '8') {
      const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), key);
      if (error != std::errc{} || rest != text.data() + text.size()) return std::nullopt;
    } else {
      key = static_cast<std::uint32_t>(fbget_fldkey(std::string(text).c_str()));
    }
    const int type = fbget_fldtype(static_cast<int>(key));
    return type >= FB_CHAR && type <= FB_CARRAY ? std::optional{key} : std::nullopt;
  }

  std::int64_t total_size() const {
    std::int64_t bytes = 0;
    for (const Member& member : structs_.back().members) bytes += member.bytes() + std::int64_t{8};
    return bytes;
  }

  void fail(const Column& column, std::string text) { errors_.push_back({line_, column.at, std::move(text)}); }
  bool refuse(const Column& column, std::string text) {
    fail(column, std::move(text));
    return false;
  }

  std::vector<Struct> structs_;
  std::vector<SourceError> errors_;
  std::set<std::string> struct_names_;
  std::set<std::string> member_names_;
  bool open_ = false;
  std::size_t errors_before_ = 0;  // the struct that is open
  int line_ = 0;
};

std::string declaration(const Member& member) {
  std::string text = std::string(host_type(member.type).c_name) + ' ' + member.name;
  if (member.elements > 1) text += '[' + std::to_string(member.elements) + ']';
  if (member.text()) text += '[' + std::to_string(member.element_length) + ']';
  return text;
}

// A declaration that no compiler accepts unless the condition holds, in C99 as in C++.
std::string check(const std::string& name, const std::string& condition) {
  return "typedef char " + name + "[(" + condition + ") ? 1 : -1];\n";
}

std::string field_of(const Member& member) {
  const char* name = fbget_fldname(static_cast<int>(member.key));
  return name ? name : std::to_string(member.key);
}

}  // namespace

bool Member::text() const { return type == FB_STRING || type == FB_CARRAY; }
int Member::element_size() const { return text() ? element_length : host_type(type).size; }
int Member::bytes() const { return elements * element_size(); }

std::vector<int> Struct::offsets() const {
  std::vector<int> at;
  int end = 0;
  for (const Member& member : members) {
    at.push_back(aligned(end, host_type(member.type).size));
    end = at.back() + member.bytes();
  }
  return at;
}

int Struct::host_size() const {
  int alignment = 1;
  for (const Member& member : members) alignment = std::max(alignment, host_type(member.type).size);
  return members.empty() ? 0 : aligned(offsets().back() + members.back().bytes(), alignment);
}

int Struct::network_size() const {
  int bytes = 0;
  for (const Member& member : members) bytes += member.bytes();
  return bytes;
}

std::vector<Struct> parse_struct_text(std::string_view text) { return Parser{}.parse(text); }

std::string struct_text(const std::vector<Struct>& structs) {
  std::ostringstream text;
  text << "# member type, C name, field, element count, element length, null value\n";
  for (const Struct& described : structs) {
    text << "struct " << described.name << '\n';
    for (const Member& member : described.members)
      text << "  " << field_type_name(member.type) << ' ' << member.name << ' ' << field_of(member) << ' '
           << member.elements << ' ' << (member.text() ? std::to_string(member.element_length) : "-") << ' '
           << quoted(member.null_value) << '\n';
    text << "end\n";
  }
  return text.str();
}

std::string struct_header(const std::vector<Struct>& structs, const std::string& source) {
  std::ostringstream header;
  const std::string guard = "VXA_STRUCT_" + structs.front().name;
  header << "/* Structs, made from " << source << " by vxa sdl. */\n";
  header << "#ifndef " << guard << "\n#define " << guard << "\n\n#include <stddef.h>\n";
  for (const Struct& described : structs) {
    header << "\nstruct " << described.name << " {\n";
    for (const Member& member : described.members) header << "  " << declaration(member) << ";\n";
    header << "};\n";
    const std::string type = "struct " + described.name;
    header << check(described.name + "_size_is_as_described",
                    "sizeof(" + type + ") == " + std::to_string(described.host_size()));
    const std::vector<int> offsets = described.offsets();
    for (std::size_t i = 0; i < offsets.size(); ++i)
      header << check(described.name + '_' + described.members[i].name + "_lies_as_described",
                      "offsetof(" + type + ", " + described.members[i].name + ") == " + std::to_string(offsets[i]));
  }
  header << "\n#endif\n";
  return header.str();
}

}  // namespace vxa::tools
