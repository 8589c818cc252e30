// Keeps standard output for results: what the library says on it goes to standard error while the object lives.
#pragma once

#include <string_view>

namespace vxa::tools {

class Console {
 public:
  Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  ~Console();

  // Writes to the standard output as it was; throws std::system_error when it cannot be written.
  void write(std::string_view bytes);

 private:
  int output_;
};

}  // namespace vxa::tools
