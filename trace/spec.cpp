// Fields and words of a trace specification, taken apart in place in the text that holds them.
#include "trace/spec.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/heap.h"
#include "base/log.h"
#include "base/text.h"

namespace vxa::trace {

namespace {

constexpr const char* kMalformedText = "5001 Invalid trace specification";
constexpr const char* kNoActionText = "5003 Invalid trace specification, no action spec : %s";

struct Word {
  std::string_view text;
  int value;
  const char* no_message_code = nullptr;  // of actions that take a message: logged when there is no room for one
};

constexpr Word levels[] = {{"atmi", kLevelAtmi}, {"iatmi", 0x3}, {"xa", 0x4}, {"trace", 0x8}};
constexpr Word destinations[] = {{"ulog", 1}};
constexpr Word actions[] = {
    {"abort", 0x10000},  {"ulog", 0x20000, "TRC5007"}, {"system", 0x40000, "TRC5008"}, {"trace", 0x80000, "TRC5009"},
    {"dye", kActionDye}, {"undye", kActionUndye},      {"sleep", 0x400000, "TRC5010"}};
constexpr int kActionSleep = 0x400000;

template <std::size_t kCount>
const Word* find(const Word (&words)[kCount], std::string_view text) {
  const Word* found = std::find_if(words, words + kCount, [&](const Word& word) { return word.text == text; });
  return found == words + kCount ? nullptr : found;
}

bool takes_no_message(std::string_view action) {
  const Word* word = find(actions, action);
  return word && !word->no_message_code;
}

char* malformed(const char* code) {
  log_record(SystemError::Omit, 2, code, kMalformedText);
  return nullptr;
}

int unknown(const char* code, const char* word) {
  log_record(SystemError::Omit, 2, code, kInvalidText, word);
  return -1;
}

int no_action(const char* code, const char* text) {
  log_record(SystemError::Omit, 2, code, kNoActionText, text);
  return -1;
}

// Advances to the ')' that closes the group, or to the end. One level of inner parentheses is told apart.
int skip_group(char*& cursor) {
  const char* start = cursor;
  for (bool inner = false; *cursor; ++cursor) {
    if (*cursor == ')' && !inner) break;
    if (*cursor == '(' || *cursor == ')') inner = *cursor == '(';
  }
  return static_cast<int>(cursor - start);
}

// The next token between slashes, terminated in place; the cursor moves behind it. Null when there is none.
char* take_token(char*& cursor) {
  cursor += std::strspn(cursor, "/");
  if (!*cursor) return nullptr;
  char* token = cursor;
  cursor += std::strcspn(cursor, "/");
  if (*cursor) *cursor++ = '\0';
  return token;
}

char* destination_word(char* field) {
  const std::size_t length = std::strlen(field);
  char* cursor = field;
  char* token = take_token(cursor);
  if (!token) return malformed("TRC5013");
  if (std::strlen(token) == length) return token;
  if (!replace_holder(_recv_spec, token, "TRC5014")) return nullptr;
  char* word = take_token(cursor);
  return word ? word : malformed("TRC5015");
}

void store_message(std::string_view message) {
  if (message.starts_with('"')) {
    message.remove_prefix(1);
    if (!message.empty()) message.remove_suffix(1);
  }
  if (!_act_msg) return;
  std::copy(message.begin(), message.end(), _act_msg);
  _act_msg[message.size()] = '\0';
}

// The word of "word" or "word(message)".
char* action_text_word(char* text) {
  const std::size_t length = std::strlen(text);
  if (length >= kHolderSize) return malformed("TRC5019");
  const std::size_t word_length = std::strcspn(text, "(");
  if (word_length == 0) return malformed("TRC5020");
  const bool ends_group = text[length - 1] == ')';
  const bool has_group = word_length < length;
  text[word_length] = '\0';
  if (takes_no_message(text)) return text;
  if (!ends_group) return malformed("TRC5021");
  if (has_group) store_message({text + word_length + 1, text + length - 1});
  return text;
}

char* action_word(char* field) {
  if (*field != '/') return action_text_word(field);
  char* cursor = field;
  char* token = take_token(cursor);
  if (!token) return malformed("TRC5016");
  if (takes_no_message(token)) return token;
  if (!replace_holder(_act_spec, token, "TRC5017")) return nullptr;
  char* text = take_token(cursor);
  return text ? action_text_word(text) : malformed("TRC5018");
}

template <std::size_t kCount>
int plain_value(const Word (&words)[kCount], const char* text, const char* code) {
  const Word* word = find(words, text);
  return word ? word->value : unknown(code, text);
}

int action_value(const char* text) {
  const Word* word = find(actions, text);
  if (!word) return unknown("TRC5012", text);
  if (word->no_message_code && !_act_msg) return no_action(word->no_message_code, text);
  if (word->value == kActionSleep) {
    if (is_letter(*_act_msg)) return no_action("TRC5011", _act_msg);
    _act_sleep = static_cast<std::int32_t>(std::clamp<long>(std::strtol(_act_msg, nullptr, 10), INT_MIN, INT_MAX));
  }
  return word->value;
}

}  // namespace

bool replace_holder(char*& holder, const char* text, const char* code) {
  std::free(holder);
  holder = heap_alloc<char>(kHolderSize).release();
  if (!holder) {
    log_record(SystemError::Omit, 2, code, "0001 memory allocation error : size = %d", kHolderSize);
    return false;
  }
  const std::size_t length = strnlen(text, kHolderSize - 1);
  std::memcpy(holder, text, length);
  holder[length] = '\0';
  return true;
}

int split_fields(char* text, char* fields[kFields]) {
  std::fill_n(fields, kFields, nullptr);
  int number = 0;
  char* start = nullptr;
  std::ptrdiff_t count = 0;  // characters of the field; blanks count in groups alone
  const auto end_field = [&] {
    if (number < kFields) fields[number] = start;
    ++number;
  };
  for (char* at = text; *at; ++at) {
    if (is_space(*at)) continue;
    if (*at == ':') {
      *at = '\0';
      end_field();
      start = nullptr;
      count = 0;
      continue;
    }
    if (!start) start = at;
    ++count;
    if (*at == '(') {
      char* group = at + 1;
      count += skip_group(group);
      at = group - 1;
    }
  }
  if (start) start[count] = '\0';
  end_field();
  return number;
}

char* word_of_field(char* field, int number) {
  if (field && number == kDestinationField) return destination_word(field);
  if (field && number == kActionField) return action_word(field);
  return nullptr;
}

int value_of_word(const char* word, int number) {
  if (!word) return -1;
  if (number == kActionField) return action_value(word);
  if (number == kDestinationField) return plain_value(destinations, word, "TRC5006");
  if (number == kLevelField) return plain_value(levels, word, "TRC5004");
  return -1;
}

}  // namespace vxa::trace

using namespace vxa;

extern "C" int split_trcfld(char* text, char* fields[]) {
  if (text && fields) (void)trace::split_fields(text, fields);
  return 1;
}

extern "C" int advbrace(char** cursor) { return cursor && *cursor ? trace::skip_group(*cursor) : 0; }

extern "C" char* _get_spec(char* field, int number) { return trace::word_of_field(field, number); }

extern "C" int _spel_chk(const char* word, int number, int) { return trace::value_of_word(word, number); }
