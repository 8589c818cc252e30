// A line of text for people: put together in place, cut when it grows too long, kept free of control characters.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace vxa::host {

class Line {
 public:
  [[gnu::format(printf, 2, 3)]] void add(const char* format, ...);
  void add_values(const char* format, va_list values);

  const char* text() const { return text_; }

  // Writes the text in one piece, with a newline if it ends the line. Nothing can be done about a failure.
  void write_to(int fd, bool ends_line) const;

 private:
  static constexpr std::size_t kCapacity = 4096;

  char text_[kCapacity] = "";
  std::size_t length_ = 0;
};

}  // namespace vxa::host
