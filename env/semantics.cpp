// The settings of VESK_SEMANTICS: parsing, the values last read, and what follows from them.
#include "env/semantics.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include "base/text.h"

std::int32_t _vesk_semantics_flag = 0;
std::int32_t _vesk_flen_flag = 0;
std::int32_t _vesk_crypt_sw = 0;

namespace vxa::semantics {

namespace {

constexpr std::size_t kMaxItem = 256;   // characters of one setting, blanks dropped
constexpr std::size_t kMaxValue = 255;  // characters of its value

struct Setting {
  std::string_view key;
  char value[kMaxValue + 1];
};

enum Row { kLengthPolicy, kCryptSwitch };
constinit Setting settings[] = {{"FDL_LEN", ""}, {"CRYPT_SW", ""}};

// The row whose key the text begins with; the cursor moves past the key. -1 when there is none.
int take_key(const char*& cursor) {
  for (int row = 0; row < static_cast<int>(std::size(settings)); ++row) {
    const std::string_view key = settings[row].key;
    if (std::strncmp(cursor, key.data(), key.size()) != 0) continue;
    cursor += key.size();
    return row;
  }
  return -1;
}

bool store_item(const char* item) {
  const int row = take_key(item);
  if (row < 0 || (*item != '=' && *item != ':')) return false;
  const char* value = item + 1;
  const std::size_t length = std::strlen(value);
  if (length > kMaxValue) return false;
  std::memcpy(settings[row].value, value, length + 1);
  return true;
}

bool store_items(const char* text) {
  char item[kMaxItem + 1];
  std::size_t length = 0;
  for (; *text; ++text) {
    if (is_space(*text)) continue;
    if (*text != ',') {
      if (length == kMaxItem) return false;
      item[length++] = *text;
      continue;
    }
    item[length] = '\0';
    if (!store_item(item)) return false;
    length = 0;
  }
  item[length] = '\0';
  return length == 0 || store_item(item);
}

// Values that mean nothing leave what an earlier read has set.
void evaluate() {
  const std::string_view policy = settings[kLengthPolicy].value;
  if (policy == "OLD") _vesk_flen_flag = static_cast<std::int32_t>(LengthPolicy::Old);
  if (policy == "TRU") _vesk_flen_flag = static_cast<std::int32_t>(LengthPolicy::Truncate);
  if (policy == "ERR") _vesk_flen_flag = static_cast<std::int32_t>(LengthPolicy::Refuse);

  const std::string_view crypt = settings[kCryptSwitch].value;
  if (crypt == "Y" || crypt == "y") _vesk_crypt_sw = 1;
}

}  // namespace

bool read() {
  if (_vesk_semantics_flag) return true;
  const char* text = std::getenv("VESK_SEMANTICS");
  if (!text) return true;
  if (!store_items(text)) return false;
  evaluate();
  _vesk_semantics_flag = 1;
  return true;
}

}  // namespace vxa::semantics

using namespace vxa;

extern "C" int _vesk_read_semantics() { return semantics::read() ? 1 : -1; }

extern "C" int _vesk_init_semantics() {
  _vesk_semantics_flag = 0;
  _vesk_flen_flag = 0;
  _vesk_crypt_sw = 0;
  return 1;
}

extern "C" int _get_sem_value(const char* item) { return item && semantics::store_item(item) ? 1 : -1; }

extern "C" int _get_sem_key(const char** cursor) { return cursor && *cursor ? semantics::take_key(*cursor) : -1; }
