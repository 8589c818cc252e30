// Environment file lines: whatever the text, the result is a known kind and what it leaves fits.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "vxa/vxa_host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool prepared = setenv("LONG", std::string(900, 'v').c_str(), 1) == 0 && setenv("EMPTY", "", 1) == 0;
  if (!prepared) std::abort();

  const std::string text(reinterpret_cast<const char*>(data), size);
  for (std::size_t at = 0; at < size;) {
    const std::size_t end = text.find('\n', at);
    const std::string line = text.substr(at, end == text.npos ? end : end + 1 - at);
    char* out = static_cast<char*>(std::calloc(1024, 1));
    const int result = _process_env_line(line.c_str(), out);
    if (result == 0 || result < -1 || result > 5) std::abort();
    if (result == 4 && !std::strchr(out, '=')) std::abort();
    std::free(out);
    at += line.size();
  }
  return 0;
}
