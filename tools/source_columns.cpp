#include "tools/source_columns.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "vxa/fbuf.h"

namespace vxa::tools {

namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";

// A generated header is for C and C++, so a name must be free in both.
constexpr std::string_view kKeywords =
    " _Bool _Complex _Imaginary alignas alignof and and_eq asm auto bitand bitor bool break case catch char char16_t "
    "char32_t char8_t class co_await co_return co_yield compl concept const const_cast consteval constexpr constinit "
    "continue decltype default delete do double dynamic_cast else enum explicit export extern false float for friend "
    "goto if inline int long mutable namespace new noexcept not not_eq nullptr operator or or_eq private protected "
    "public register requires reinterpret_cast restrict return short signed sizeof static static_assert static_cast "
    "struct switch template this thread_local throw true try typedef typeid typename union unsigned using virtual "
    "void volatile wchar_t while xor xor_eq ";

bool in_word(char c) { return c == '_' || (c > 0 && std::isalnum(static_cast<unsigned char>(c))); }

// The character that "\xHH" at the front of the text stands for.
std::optional<char> hex_escape(std::string_view text) {
  unsigned value = 0;
  if (text.size() < 4) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data() + 2, text.data() + 4, value, 16);
  if (error != std::errc{} || end != text.data() + 4 || value == 0) return std::nullopt;
  return static_cast<char>(value);
}

}  // namespace

std::size_t Columns::skip_blanks() { return at_ = std::min(line_.find_first_not_of(kBlanks, at_), line_.size()); }

Column Columns::next() {
  const std::size_t begin = skip_blanks();
  at_ = std::min(line_.find_first_of(kBlanks, begin), line_.size());
  return {line_.substr(begin, at_ - begin), static_cast<int>(begin) + 1};
}

Column Columns::rest() {
  const std::size_t begin = skip_blanks();
  at_ = line_.size();
  const std::string_view text = line_.substr(begin);
  return {text.substr(0, text.find_last_not_of(kBlanks) + 1), static_cast<int>(begin) + 1};
}

void for_each_line(std::string_view text, const std::function<void(std::string_view)>& take) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    take(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

std::string in_quotes(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string found(const Column& column) {
  if (column.text.empty()) return ", found the end of the line";
  if (column.text == kAbsentColumn) return ", found \"-\" (an absent column)";
  return ", found " + in_quotes(column.text);
}

std::string field_type_name(int type) { return fbget_strfldtype(fbmake_fldkey(type, 0)); }

std::optional<int> field_type_in(std::string_view text) {
  for (int type = FB_CHAR; type <= FB_CARRAY; ++type)
    if (field_type_name(type) == text) return type;
  return std::nullopt;
}

bool is_c_identifier(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), in_word) &&
         !std::isdigit(static_cast<unsigned char>(name.front())) &&
         kKeywords.find(' ' + std::string(name) + ' ') == kKeywords.npos;
}

std::optional<std::string> unquoted(std::string_view text) {
  if (text.empty() || text == kAbsentColumn) return std::string();
  if (text.front() != '"') return std::string(text);
  std::string value;
  for (text.remove_prefix(1); !text.empty() && text.front() != '"';) {
    std::size_t taken = 1;
    char c = text.front();
    if (c == '\\') {
      if (text.size() < 2) return std::nullopt;
      c = text[1];
      taken = c == 'x' ? 4 : 2;
      const std::optional<char> coded = c == 'x' ? hex_escape(text) : std::optional{c};
      if (!coded || (c != 'x' && c != '"' && c != '\\')) return std::nullopt;
      c = *coded;
    }
    value.push_back(c);
    text.remove_prefix(taken);
  }
  if (text.size() != 1) return std::nullopt;
  return value;
}

std::string quoted(std::string_view value) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string text = "\"";
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte == 0x7f) {
      text += {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
    } else {
      if (c == '"' || c == '\\') text += '\\';
      text += c;
    }
  }
  return text + '"';
}

}  // namespace vxa::tools
