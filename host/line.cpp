// Lines of text: formatting, and writing them out.
#include "host/line.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace vxa::host {

namespace {

constexpr bool is_control(char c) { return (c >= 0 && c < ' ') || c == '\x7f'; }

}  // namespace

void Line::add(const char* format, ...) {
  va_list values;
  va_start(values, format);
  add_values(format, values);
  va_end(values);
}

void Line::add_values(const char* format, va_list values) {
  const std::size_t room = kCapacity - length_;
  const int wanted = std::vsnprintf(text_ + length_, room, format, values);  // NOLINT(clang-analyzer-valist.*)
  if (wanted < 0) return;
  char* const from = text_ + length_;
  length_ += std::min(static_cast<std::size_t>(wanted), room - 1);
  std::replace_if(from, text_ + length_, is_control, '.');
}

void Line::write_to(int fd, bool ends_line) const {
  char bytes[kCapacity];
  std::memcpy(bytes, text_, length_);
  bytes[length_] = '\n';
  [[maybe_unused]] const ssize_t written = write(fd, bytes, length_ + (ends_line ? 1 : 0));
}

}  // namespace vxa::host
