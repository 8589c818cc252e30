// Hexadecimal dumps on standard output.
#include <algorithm>
#include <cstdio>

#include "vxa/vxa_host.h"

namespace vxa::env {

namespace {

constexpr int kPerLine = 16;
constexpr int kWhole = 1024;  // longer data are shown as their head and their tail
constexpr int kHead = 512;

constexpr bool is_printable(unsigned char c) { return c >= ' ' && c <= '~'; }

void dump_line(const unsigned char* data, int count, unsigned offset) {
  std::printf("%04X: ", offset);
  for (int i = 0; i < count; ++i) std::printf("%02X ", unsigned{data[i]});
  for (int i = count; i < kPerLine; ++i) std::fputs("   ", stdout);
  for (int i = 0; i < count; ++i) std::putchar(is_printable(data[i]) ? data[i] : '.');
  for (int i = count; i < kPerLine; ++i) std::putchar(' ');
  std::putchar('\n');
}

void dump(const void* data, int base, int length) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (int left = length; left > 0; left -= kPerLine) {
    const int at = length - left;
    dump_line(bytes + at, std::min(left, kPerLine), static_cast<unsigned>(base) + static_cast<unsigned>(at));
  }
}

}  // namespace

}  // namespace vxa::env

using namespace vxa;

extern "C" void _vesk_dump2(const void* data, int base, int length) {
  if (data) env::dump(data, base, length);
}

extern "C" void _vesk_dump(const void* data, int length) {
  std::putchar('\n');
  if (!data) return;
  if (length <= env::kWhole) {
    env::dump(data, 0, length);
    return;
  }
  env::dump(data, 0, env::kHead);
  std::putchar('\n');
  const int tail = (length - env::kHead) / env::kPerLine * env::kPerLine + env::kPerLine;
  env::dump(static_cast<const char*>(data) + tail, tail, length - tail);
}
