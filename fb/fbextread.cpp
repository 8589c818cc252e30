// Text assignments applied to a field buffer, one a line: NAME, a tab, VALUE; a mark before NAME says what to do else
// than to add the value.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "env/semantics.h"
#include "fb/fberror.h"
#include "fb/fbmap.h"
#include "fb/fields.h"

namespace vxa::fb {

namespace {

constexpr int kLineSize = 8100;  // with the terminator; a longer line is read in pieces, each a line of its own
constexpr int kPadding = 8;      // zeros behind every text, as a number takes its bytes from the text as they are

enum Mark : char { kNone = 0, kInsert = '+', kErase = '-', kCopy = '=' };

struct Assignment {
  Mark mark = kNone;
  const char* name = nullptr;
  Value value{};
};

Mark mark_of(char first) {
  return first == kInsert || first == kErase || first == kCopy ? static_cast<Mark>(first) : kNone;
}

// Splits the line, whose buffer has room for the padding. False when it assigns nothing.
bool split(char* line, Assignment& assignment) {
  if (*line == '\n' || *line == '#') return false;
  assignment.mark = mark_of(*line);
  char* name = assignment.mark == kNone ? line : line + 1;
  char* tab = std::strchr(name, '\t');
  if (!tab || *name == ' ' || *name == '\n') return false;
  *tab = '\0';
  char* value = tab + 1;
  const std::size_t length = std::strcspn(value, "\t\n");
  std::memset(value + length, 0, kPadding);
  assignment.name = name;
  assignment.value = {value, static_cast<int>(length)};
  return true;
}

// Key 0 for a name that is not in the table: every operation refuses it.
FieldKey key_named(const char* name) {
  const Result<int> key = key_of(name);
  return FieldKey{key ? key.value() : 0};
}

FieldKey key_written(const char* name) {
  const bool number = *name >= '1' && *name <= '8';
  return number ? FieldKey{static_cast<int>(std::strtol(name, nullptr, 10))} : key_named(name);
}

// The bytes of the source are taken as a value of the key's type, whatever type they had.
Outcome copy(FieldBuffer buffer, FieldKey key, FieldKey source) {
  const Result<Record> record = require(buffer, source, 0);
  if (record.failed()) return record.error();
  const bool too_long = record.value().value_length() + (source.type() == kString ? 1 : 0) > kLineSize;
  if (too_long && semantics::length_policy() != semantics::LengthPolicy::Truncate) return Error{FBENOSPACE};

  char bytes[kLineSize + kPadding] = {};
  int length = kLineSize;
  const Outcome copied = copy_out(record.value(), bytes, &length);
  return copied ? update_or_insert(buffer, key, 0, Value{bytes, length}) : copied;
}

Outcome apply(FieldBuffer buffer, const Assignment& assignment) {
  const FieldKey key = key_written(assignment.name);
  switch (assignment.mark) {
    case kInsert:
      return insert(buffer, key, 0, assignment.value);
    case kErase:
      return erase(buffer, key, 0);
    case kCopy:
      return copy(buffer, key, key_named(static_cast<const char*>(assignment.value.at)));
    default:
      return put(buffer, key, assignment.value);
  }
}

// The number of assignments, up to the end of the stream or the first that fails.
Result<long> apply_all(FieldBuffer buffer, std::FILE* stream) {
  char line[kLineSize + kPadding];
  long applied = 0;
  while (std::fgets(line, kLineSize, stream)) {
    Assignment assignment;
    if (!split(line, assignment)) continue;
    const Outcome outcome = apply(buffer, assignment);
    if (outcome.failed()) return outcome.error();
    ++applied;
  }
  return applied;
}

}  // namespace

}  // namespace vxa::fb

using namespace vxa;
using namespace vxa::fb;

// The error code is that of the last assignment; without one it stays as it was.
extern "C" int fbextread(void* buf, FILE* stream) {
  static constexpr ApiTexts texts{"fbextread", "fbextread(%#x, %#x)", "fbextread = %d", "fbextread = -1 [%d : %s]"};
  const FbCall call{keep_code, texts, buf, stream};
  if (!buf || !stream) return call.fail(FBEINVAL);
  const Result<long> applied = apply_all(FieldBuffer{buf}, stream);
  if (applied.failed()) return call.fail(applied.code());
  if (applied.value() > 0) fberror = 0;
  return call.done(1);
}
