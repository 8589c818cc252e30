// The line parser of environment files: comments, section labels, and assignments whose value may end with a quoted
// part or with one reference to a variable.
#include "env/envline.h"

#include <unistd.h>

#include <cstring>
#include <string_view>

#include "base/log.h"
#include "base/text.h"

namespace vxa::env {

namespace {

Line line_of(LineKind kind) {
  Line line;
  line.kind = kind;
  line.text[0] = '\0';
  return line;
}

Line malformed(const char* code, const char* reason) {
  log_record(SystemError::Omit, 2, code, "0212 env file error : %s", reason);
  return line_of(LineKind::Malformed);
}

Line line_of(LineKind kind, std::string_view text) {
  Line line = line_of(kind);
  std::memcpy(line.text, text.data(), text.size());
  line.text[text.size()] = '\0';
  return line;
}

Line parse_label(std::string_view rest) {
  rest.remove_prefix(1);
  const std::size_t length = rest.find(']');  // npos, beyond every size, when there is none
  if (length >= kLineSize) return malformed("COM0029", "label without ]");
  if (length == 0) return line_of(LineKind::Common);
  return line_of(LineKind::Section, std::string_view(rest.data(), length));
}

// Reads one assignment, character by character.
class AssignmentParser {
 public:
  explicit AssignmentParser(std::string_view rest) : rest_(rest) {}

  Line parse() {
    bool quoted = false;
    for (; !rest_.empty(); rest_.remove_prefix(1)) {
      const char c = rest_.front();
      if (at_reference()) return parse_reference();
      if (c == '"') {
        if (quoted) break;
        quoted = true;
        continue;
      }
      if (is_space(c) && !quoted) break;
      if (c == '=' && equals_seen_) return two_equals();
      if (c == '=') equals_seen_ = true;
      if (!append(std::string_view(&c, 1))) return too_long();
    }
    return equals_seen_ ? finished() : malformed("COM0034", "no = met");
  }

 private:
  bool at_reference() const { return rest_.starts_with('$') || rest_.starts_with("\\$"); }

  // The value of the variable ends the assignment; whatever follows its name is not looked at.
  Line parse_reference() {
    if (!equals_seen_) return malformed("COM0030", "$ or \\$ met without =");
    rest_.remove_prefix(rest_.front() == '$' ? 1 : 2);
    const bool braced = rest_.starts_with('(') || rest_.starts_with('{');
    if (braced) rest_.remove_prefix(1);

    std::size_t length = 0;
    while (length < rest_.size() && !is_space(rest_[length]) && !is_closing(rest_[length])) ++length;
    const bool closed = length < rest_.size() && is_closing(rest_[length]);
    if (closed && !braced) return malformed("COM0031", "no pair brace");
    if (braced && !closed) return malformed("COM0032", "no pair brace");

    const std::string_view name(rest_.data(), length);
    if (name.find('=') != name.npos) return two_equals();
    const char* value = value_of(name);
    if (value && !append(value)) return too_long();
    return finished();
  }

  static constexpr bool is_closing(char c) { return c == ')' || c == '}'; }

  // Looked up among the variables themselves, as the name in the line has no terminator and no bound.
  static const char* value_of(std::string_view name) {
    for (char** variable = environ; variable && *variable; ++variable) {
      const std::string_view entry(*variable);
      if (entry.starts_with(name) && entry.size() > name.size() && entry[name.size()] == '=')
        return *variable + name.size() + 1;
    }
    return nullptr;
  }

  bool append(std::string_view more) {
    if (more.size() >= kLineSize - length_) return false;
    std::memcpy(text_ + length_, more.data(), more.size());
    length_ += more.size();
    return true;
  }

  Line finished() const { return line_of(LineKind::Assignment, std::string_view(text_, length_)); }
  static Line two_equals() { return malformed("COM0033", "two = met"); }
  static Line too_long() { return malformed("COM0034", "assignment too long"); }

  std::string_view rest_;  // not yet read
  char text_[kLineSize];
  std::size_t length_ = 0;
  bool equals_seen_ = false;
};

}  // namespace

Line parse_line(const char* line) {
  std::string_view rest(line, std::strcspn(line, "\n"));
  while (!rest.empty() && is_space(rest.front())) rest.remove_prefix(1);
  if (rest.empty()) return line_of(LineKind::Blank);
  switch (rest.front()) {
    case '#':
    case '/':
    case ';':
    case '!':
      return line_of(LineKind::Comment);
    case '[':
      return parse_label(rest);
    default:
      return AssignmentParser(rest).parse();
  }
}

}  // namespace vxa::env
