#include "gateway/assignment_text.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <optional>

#include "fb/fbcommon.h"
#include "gateway/text.h"
#include "vxa/fbuf.h"

namespace vxa::gateway {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

struct ShortEscape {
  char letter;
  char stands_for;
};
constexpr ShortEscape kShortEscapes[] = {{'t', '\t'}, {'n', '\n'}, {'r', '\r'}, {'\\', '\\'}};

// Bytes from 0x80 on are part of some character of a string, but just bytes in a carray.
void append_escaped(std::string& out, char byte, bool characters) {
  for (const ShortEscape& escape : kShortEscapes)
    if (byte == escape.stands_for) {
      out += {'\\', escape.letter};
      return;
    }
  const auto code = static_cast<unsigned char>(byte);
  const bool printable = (code >= 0x20 && code < 0x7f) || (characters && code >= 0x80);
  if (printable)
    out += byte;
  else
    out += {'\\', 'x', kHexDigits[code >> 4], kHexDigits[code & 15]};
}

std::string unescaped(std::string_view text) {
  std::string out;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\\') {
      out += text[at];
      continue;
    }
    const std::string_view rest = text.substr(at + 1);
    if (rest.size() >= 3 && rest[0] == 'x') {
      unsigned code = 0;
      const auto [end, error] = std::from_chars(rest.data() + 1, rest.data() + 3, code, 16);
      if (error == std::errc{} && end == rest.data() + 3) {
        out += static_cast<char>(code);
        at += 3;
        continue;
      }
    }
    const ShortEscape* found = nullptr;
    for (const ShortEscape& escape : kShortEscapes)
      if (!rest.empty() && rest[0] == escape.letter) found = &escape;
    if (!found) throw TextError("a backslash that begins no escape");
    out += found->stands_for;
    ++at;
  }
  return out;
}

// ---- Writing ----

std::string name_of(int key) {
  const char* name = fbget_fldname(key);
  return name ? name : joined("#", key);
}

template <class T>
T value_as(const char* buffer, int key, int occurrence, int type) {
  T value{};
  if (fbget_tut(const_cast<char*>(buffer), key, occurrence, &value, nullptr, type) != 1)
    throw TextError("field " + name_of(key) + " cannot be read: " + fbstrerror(fberror));
  return value;
}

// The shortest digits that give the same number again.
template <class T>
std::string digits(T number) {
  char text[64];
  const auto [end, error] = std::to_chars(text, text + sizeof text, number);
  return std::string(text, end);
}

// Of a long, a field buffer keeps 32 bits; as an int they keep their sign.
std::string value_text(const char* buffer, fb::Record record, int key, int occurrence) {
  switch (record.type()) {
    case fb::kShort:
      return digits(value_as<short>(buffer, key, occurrence, FB_SHORT));
    case fb::kInt:
    case fb::kLong:
      return digits(value_as<int>(buffer, key, occurrence, FB_INT));
    case fb::kFloat:
      return digits(value_as<float>(buffer, key, occurrence, FB_FLOAT));
    case fb::kDouble:
      return digits(value_as<double>(buffer, key, occurrence, FB_DOUBLE));
    default:
      break;
  }
  std::string out;
  const char* value = record.value();
  const bool is_char = record.type() == fb::kChar;
  const std::int64_t length = is_char && *value == '\0' ? 0 : record.value_length();
  for (std::int64_t i = 0; i < length; ++i) append_escaped(out, value[i], record.type() == fb::kString);
  return out;
}

// ---- Reading ----

int key_of(std::string_view name) {
  if (name.starts_with('#')) {
    int key = 0;
    const auto [end, error] = std::from_chars(name.data() + 1, name.data() + name.size(), key);
    if (error == std::errc{} && end == name.data() + name.size() && fb::type_known(key >> 26)) return key;
    throw TextError("not the number of a field: " + std::string(name));
  }
  const int key = fbget_fldkey(std::string(name).c_str());
  if (key == 0 && fberror == 0) throw TextError("the field table cannot be loaded: FDLFILE must name its files");
  if (key == 0) throw TextError("no field of that name in the field table (FDLFILE): " + std::string(name));
  return key;
}

struct Range {
  long lowest;
  long highest;
};

std::optional<Range> integer_range(int type) {
  switch (type) {
    case fb::kShort:
      return Range{std::numeric_limits<short>::min(), std::numeric_limits<short>::max()};
    case fb::kInt:
    case fb::kLong:
      return Range{std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
    default:
      return {};
  }
}

void check_number(int type, const std::string& value) {
  const char* begin = value.c_str();
  char* end = nullptr;
  errno = 0;
  if (const std::optional<Range> range = integer_range(type)) {
    const long number = std::strtol(begin, &end, 10);
    if (errno || number < range->lowest || number > range->highest)
      throw TextError("out of the range of the field's type: " + value);
  } else {
    const double number = std::strtod(begin, &end);
    const bool too_large = type == fb::kFloat && std::isfinite(number) && std::isinf(static_cast<float>(number));
    if (too_large || (errno == ERANGE && std::isinf(number)))
      throw TextError("out of the range of the field's type: " + value);
  }
  if (end == begin || end != begin + value.size()) throw TextError("not a number: " + value);
}

void put(char* buffer, int key, const std::string& value) {
  const int type = fb::FieldKey{key}.type();
  const int length = static_cast<int>(value.size());
  bool stored = false;
  if (type == fb::kCarray) {
    if (value.empty()) throw TextError("a carray has at least one byte");
    stored = fbput(buffer, key, value.data(), length) == 1;
  } else if (type == fb::kChar) {
    if (length > 1) throw TextError("more than one character: " + value);
    stored = fbput(buffer, key, value.c_str(), 1) == 1;
  } else if (type == fb::kString) {
    if (value.find('\0') != value.npos) throw TextError("a string cannot hold a byte 0");
    stored = fbput(buffer, key, value.c_str(), 0) == 1;
  } else {
    check_number(type, value);
    stored = fbputt(buffer, key, value.c_str(), length, FB_STRING) == 1;
  }
  if (!stored) throw TextError(std::string("cannot be stored: ") + fbstrerror(fberror));
}

void put_line(char* buffer, std::string_view line) {
  const auto tab = line.find('\t');
  if (tab == line.npos) throw TextError("a name, a tab and a value are expected");
  put(buffer, key_of(line.substr(0, tab)), unescaped(line.substr(tab + 1)));
}

// Room for every field of the text: a slot is its value and at most 16 bytes.
Buffer room_for(std::string_view text) {
  std::int64_t bytes = static_cast<std::int64_t>(text.size()) + 16;
  for (const char c : text) bytes += c == '\n' ? 16 : 0;
  if (bytes > kLargestPayload) throw TextError("the text is too long");
  return make_buffer("FIELD", bytes);
}

}  // namespace

std::string assignment_text(const char* field_buffer) {
  std::string out;
  const fb::FieldBuffer buffer{field_buffer};
  std::map<int, int> seen;
  for (const fb::Record record : buffer.records()) {
    const int key = static_cast<int>(record.key().word());
    const int plain = static_cast<int>(record.key().unmarked().word());
    if (!fb::type_known(record.type())) throw TextError(joined("a field of unknown type: key ", key));
    out += name_of(plain) + '\t' + value_text(field_buffer, record, key, seen[key]++) + '\n';
  }
  return out;
}

Buffer parse_assignments(std::string_view text) {
  Buffer buffer = room_for(text);
  for (int number = 1; !text.empty(); ++number) {
    const auto end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    if (line.empty()) continue;
    try {
      put_line(buffer.get(), line);
    } catch (const TextError& error) {
      throw TextError(joined("line ", number, ": ", error.what()));
    }
  }
  set_field_length(buffer);
  return buffer;
}

void set_field_length(Buffer& field_buffer) {
  header_of(field_buffer).datalen = static_cast<std::int32_t>(fbget_used(field_buffer.get()));
}

}  // namespace vxa::gateway
