// The texts that the compilers read are lines of columns, separated by blanks or tabs; "-" stands for an absent one.
// Here is what their parsers share: columns, field types, numbers, quotes, and how an unexpected column is named.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vxa::tools {

inline constexpr std::string_view kAbsentColumn = "-";
inline constexpr std::string_view kFieldTypes = "char, short, int, long, float, double, string or carray";

struct Column {
  std::string_view text;  // empty behind the last one
  int at;                 // from 1

  bool absent() const { return text.empty() || text == kAbsentColumn; }
};

// The columns of a line, one after another.
class Columns {
 public:
  explicit Columns(std::string_view line) : line_(line) {}

  Column next();
  // All that is left of the line, blanks at both ends dropped.
  Column rest();

 private:
  std::size_t skip_blanks();

  std::string_view line_;
  std::size_t at_ = 0;
};

// Calls for every line, without its newline.
void for_each_line(std::string_view text, const std::function<void(std::string_view)>& take);

std::string in_quotes(std::string_view text);

// ", found ..." for an error's text.
std::string found(const Column& column);

// Field types (1 to 8) by name, and their names.
std::optional<int> field_type_in(std::string_view text);
std::string field_type_name(int type);

// A name that a program may give in C and in C++: no keyword of either.
bool is_c_identifier(std::string_view name);

// A value as it stands, or in double quotes with \" \\ and \xHH inside; "-" and nothing are the empty value. Nothing
// when a quote is not closed, an escape is unknown or zero, or text follows the closing quote.
std::optional<std::string> unquoted(std::string_view text);
// The quoted form that unquoted reads back.
std::string quoted(std::string_view value);

}  // namespace vxa::tools
