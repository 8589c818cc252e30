#include "tools/field_text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iomanip>
#include <map>
#include <optional>
#include <sstream>

#include "fb/fbcommon.h"
#include "tools/source_columns.h"
#include "tools/source_error.h"
#include "vxa/fbuf.h"

namespace vxa::tools {

namespace {

// A decimal number that a field may have.
std::optional<std::uint32_t> number_in(std::string_view text) {
  std::uint32_t number = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || rest != end || number > kHighestFieldNumber) return std::nullopt;
  return number;
}

class Parser {
 public:
  FieldTable parse(std::string_view text) {
    for_each_line(text, [this](std::string_view line) {
      ++line_;
      parse_line(line);
    });
    if (!errors_.empty()) throw SourceErrors{std::move(errors_)};
    return std::move(table_);
  }

 private:
  void parse_line(std::string_view line) {
    if (line.starts_with('$')) {
      if (line.ends_with('\r')) line.remove_suffix(1);
      table_.copied.push_back({table_.fields.size(), std::string(line.substr(1))});
      return;
    }
    Columns columns{line};
    const Column first = columns.next();
    if (first.text.empty() || first.text.front() == '#') return;
    if (first.text.front() == '*')
      parse_base(first, columns);
    else
      parse_field(first, columns);
  }

  void parse_base(const Column& word, Columns& columns) {
    if (word.text != "*base") return fail(word, "expected *base or a field name" + found(word));
    const Column column = columns.next();
    const auto base = number_in(column.text);
    if (!base) return fail(column, "expected a base number from 0 to 16777215" + found(column));
    base_ = *base;
  }

  void parse_field(const Column& name, Columns& columns) {
    if (const std::string fault = fault_of_name(name.text); !fault.empty()) return fail(name, fault + found(name));
    const Column number_column = columns.next();
    const auto number = number_in(number_column.text);
    if (!number) return fail(number_column, "expected a field number from 0 to 16777215" + found(number_column));
    if (base_ + *number > kHighestFieldNumber)
      return fail(number_column, "expected a field number that with the base " + std::to_string(base_) +
                                     " comes to at most 16777215" + found(number_column));
    const Column type_column = columns.next();
    const auto type = field_type_in(type_column.text);
    if (!type) return fail(type_column, "expected a type (" + std::string(kFieldTypes) + ")" + found(type_column));

    Field field{std::string(name.text), *type, static_cast<int>(base_ + *number), line_, name.at};
    if (const auto [at, added] = lines_by_name_.emplace(field.name, line_); !added)
      return fail(name,
                  "expected a new name, found " + in_quotes(field.name) + " of line " + std::to_string(at->second));
    if (const auto [at, added] = lines_by_key_.emplace(field.key(), line_); !added)
      return fail(number_column, "expected a new number for type " + field_type_name(field.type) + ", found " +
                                     std::to_string(field.number) + " of line " + std::to_string(at->second));
    table_.fields.push_back(std::move(field));
  }

  void fail(const Column& column, std::string text) { errors_.push_back({line_, column.at, std::move(text)}); }

  FieldTable table_;
  std::vector<SourceError> errors_;
  std::map<std::string, int> lines_by_name_;
  std::map<std::uint32_t, int> lines_by_key_;
  std::uint32_t base_ = 0;
  int line_ = 0;
};

void check_identifiers(const std::vector<Field>& fields) {
  std::vector<SourceError> errors;
  for (const Field& field : fields)
    if (!is_c_identifier(field.name))
      errors.push_back(
          {field.line, field.column, "expected a C identifier for the header, found " + in_quotes(field.name)});
  if (!errors.empty()) throw SourceErrors{std::move(errors)};
}

}  // namespace

std::uint32_t Field::key() const { return static_cast<std::uint32_t>(fb::FieldKey::made_of(type, number)); }

FieldTable parse_field_text(std::string_view text) { return Parser{}.parse(text); }

// The marks and digits are what other lines and the assignment text of field buffers begin with.
std::string fault_of_name(std::string_view name) {
  if (name.empty() || name == kAbsentColumn) return "expected a field name";
  if (name.size() > kLongestFieldName) return "expected a field name of at most 47 characters";
  if (std::string_view("#$*+-=0123456789").find(name.front()) != std::string_view::npos)
    return "expected a field name, which begins with none of # $ * + - = and no digit";
  const auto printable = [](char c) { return static_cast<unsigned char>(c) > ' ' && c != 0x7f; };
  if (!std::all_of(name.begin(), name.end(), printable)) return "expected a field name of printable characters";
  return {};
}

std::string field_text(const std::vector<Field>& fields) {
  std::size_t width = 0;
  for (const Field& field : fields) width = std::max(width, field.name.size());
  std::ostringstream text;
  text << "# name, number, type\n" << std::left;
  for (const Field& field : fields)
    text << std::setw(static_cast<int>(width)) << field.name << "  " << std::setw(8) << field.number << "  "
         << field_type_name(field.type) << '\n';
  return text.str();
}

std::string field_header(const FieldTable& table, const std::string& source) {
  check_identifiers(table.fields);
  std::ostringstream header;
  header << "/* Field keys, made from " << source << " by vxa fdl. */\n";
  auto copied = table.copied.begin();
  const auto copy_up_to = [&](std::size_t fields) {
    for (; copied != table.copied.end() && copied->fields_before <= fields; ++copied) header << copied->text << '\n';
  };
  for (std::size_t at = 0; at < table.fields.size(); ++at) {
    const Field& field = table.fields[at];
    copy_up_to(at);
    header << "#define " << field.name << " ((int)" << field.key() << ") /* " << field_type_name(field.type)
           << ", number " << field.number << " */\n";
  }
  copy_up_to(table.fields.size());
  return header.str();
}

}  // namespace vxa::tools
