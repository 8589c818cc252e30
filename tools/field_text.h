// Field tables as people write them: a field a line, as
//
//   # a comment
//   $/* a line for the C header */
//   *base 100
//   AMOUNT    1   double   what follows the type is a comment
//
// Columns are separated by blanks or tabs; "-" stands for an absent one. *base shifts the numbers of the lines below
// it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vxa::tools {

struct Field {
  std::string name;
  int type;  // 1 to 8
  int number;
  int line = 0;  // where the name stands; 0 when it comes from a binary file
  int column = 0;

  std::uint32_t key() const;
};

// A line for the C header, and the number of fields that stand before it.
struct CopiedLine {
  std::size_t fields_before;
  std::string text;
};

struct FieldTable {
  std::vector<Field> fields;
  std::vector<CopiedLine> copied;
};

inline constexpr std::uint32_t kHighestFieldNumber = 0xFFFFFF;
inline constexpr std::size_t kLongestFieldName = 47;

// Throws SourceErrors with all that is wrong.
FieldTable parse_field_text(std::string_view text);

// What is wrong with a name; empty when nothing is.
std::string fault_of_name(std::string_view name);

// The fields as a text that parses to them, in the order given.
std::string field_text(const std::vector<Field>& fields);

// The C header: "#define NAME ((int)key)" for each field, the copied lines between them. Throws SourceErrors when a
// name is no C identifier.
std::string field_header(const FieldTable& table, const std::string& source);

}  // namespace vxa::tools
