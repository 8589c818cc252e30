// The scratch area of the conversions.
#include "fb/scratch.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <functional>
#include <utility>

#include "base/heap.h"

char* st = nullptr;
int st_len = 0;

namespace vxa::fb::scratch {

namespace {

constexpr std::int64_t kInitialSize = 65535;
constexpr int kKeptSize = 1048576;
static_assert(kNumberText <= kInitialSize);

template <class Number>
std::string_view print_as(const char* format, Number value) {
  const int length = std::snprintf(st, kNumberText, format, value);
  return {st, static_cast<std::size_t>(length)};
}

}  // namespace

bool reserve(int source_type, std::int64_t source_length) {
  const bool too_small = source_type == kCarray && source_length >= st_len;
  if (st && !too_small) return true;
  const std::int64_t size = std::max(kInitialSize, source_length + 1);
  if (size > INT_MAX) return false;
  HeapPtr<char> area = heap_alloc<char>(size);
  if (!area) return false;
  const HeapPtr<char> outgrown{std::exchange(st, area.release())};
  st_len = static_cast<int>(size);
  return true;
}

void release_oversized() {
  if (st_len <= kKeptSize) return;
  const HeapPtr<char> oversized{std::exchange(st, nullptr)};
  st_len = 0;
}

bool holds(const void* address) {
  const std::less<const char*> before;
  const char* at = static_cast<const char*>(address);
  return st && !before(at, st) && before(at, st + st_len);
}

std::string_view print_char(char value) {
  st[0] = value;
  st[1] = '\0';
  return st;
}

std::string_view print_integer(long value) { return print_as("%ld", value); }

std::string_view print_real(double value) { return print_as("%f", value); }

std::string_view copy(const void* bytes, std::int64_t count) {
  const auto size = static_cast<std::size_t>(count);
  std::memmove(st, bytes, size);
  st[size] = '\0';
  return {st, size};
}

}  // namespace vxa::fb::scratch

extern "C" void _free_large_carray_buf() { vxa::fb::scratch::release_oversized(); }
