// Parser of the open string. A key is looked for anywhere in the string, also inside the value of another option.
#include "xa/openstr.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "vxa/vxa_host.h"
#include "xa/console.h"

namespace vxa::xa {

namespace {

constexpr char kHost[] = "host";
constexpr std::size_t kLongestSegment = 1024;
constexpr std::size_t kLongestValue = 255;

// The part of the open string that belongs to one option: from its key up to the next separator, as text.
class Segment {
 public:
  explicit Segment(const char* from) {
    std::size_t length = std::strcspn(from, "+");
    if (length > kLongestSegment) length = kLongestSegment - 1;
    std::memcpy(text_, from, length);
    text_[length] = 0;
  }

  const char* text() const { return text_; }

  // What follows the first '='; null without one.
  const char* value() const {
    const char* equals = std::strchr(text_, '=');
    return equals ? equals + 1 : nullptr;
  }

 private:
  char text_[kLongestSegment + 1];
};

std::int32_t decimal(const char* text) { return static_cast<std::int32_t>(std::strtol(text, nullptr, 10)); }

// address:port
bool read_host(const char* value) {
  const std::size_t length = std::strcspn(value, ":");
  if (length == 0 || length > kLongestValue) {
    console("invalid host[%s]\n", value);
    return false;
  }
  const char* rest = value + length;
  if (rest[0] == 0 || rest[1] == 0) {
    console("invalid port[%s]\n", rest);
    return false;
  }
  std::memcpy(vesk_hostaddr, value, length);
  vesk_hostaddr[length] = 0;
  vesk_hostport = decimal(rest + 1);
  return true;
}

bool read_number(const char* value, std::int32_t& variable) {
  const std::size_t length = std::strlen(value);
  if (length > kLongestValue) return false;
  if (length > 0) variable = decimal(value);
  return true;
}

bool read_option(const char* info, const char* key) {
  const char* found = info ? std::strstr(info, key) : nullptr;
  if (!found) return false;
  const Segment segment{found};
  const char* value = segment.value();
  if (!value) {
    console("invalid value[%s]\n", segment.text());
    return false;
  }
  if (std::strcmp(key, kHost) == 0) return read_host(value);
  if (std::strcmp(key, "dbglvl") == 0) return read_number(value, _dbg_lvl);
  if (std::strcmp(key, "timeout") == 0) return read_number(value, _timeout);
  return true;
}

}  // namespace

bool read_open_string(const char* info) {
  if (!read_option(info, kHost)) return false;
  for (const char* optional : {"dbglvl", "timeout"}) read_option(info, optional);
  return true;
}

}  // namespace vxa::xa

using namespace vxa;

extern "C" int parse_xainfo(const char* info) { return xa::read_open_string(info) ? 1 : -1; }

extern "C" int _get_val(const char* info, const char* key) { return xa::read_option(info, key) ? 1 : -1; }
