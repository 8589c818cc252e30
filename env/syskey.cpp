// System queue keys: 16 bytes that begin with "$SQID" and end with the number of a node in three hexadecimal digits.
#include <cstring>

#include "vxa/vxa_host.h"

namespace vxa::env {

namespace {

constexpr char kStem[] = {'$', 'S', 'Q', 'I', 'D'};
constexpr int kKeyLength = 16;
constexpr int kNodeNumber = 13;  // the offset of its first digit

bool is_system_key(const char* key, int length) {
  return length == kKeyLength && key && std::memcmp(key, kStem, sizeof kStem) == 0;
}

// -1 when the character is no hexadecimal digit.
constexpr int digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

int node_number(const char* key) {
  int number = 0;
  for (int at = kNodeNumber; at < kKeyLength; ++at) {
    const int next = digit(key[at]);
    if (next < 0) return -1;
    number = number * 16 + next;
  }
  return number;
}

}  // namespace

}  // namespace vxa::env

using namespace vxa;

extern "C" int _vesk_sq_issyskey(const char* key, int length) { return env::is_system_key(key, length) ? 1 : 0; }

extern "C" int _vesk_sq_getnodeno_from_syskey(const char* key, int length) {
  return env::is_system_key(key, length) ? env::node_number(key) : -1;
}
