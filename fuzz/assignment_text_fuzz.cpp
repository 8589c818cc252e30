// Assignment text of any bytes: what is accepted is written as text that is accepted too and means the same.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "gateway/assignment_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vxa::gateway;
  try {
    const Buffer fields = parse_assignments({reinterpret_cast<const char*>(data), size});
    const std::string text = assignment_text(fields.get());
    // Not the bytes of the buffers: a zero and a negative zero may differ in them, as may padding.
    if (assignment_text(parse_assignments(text).get()) != text) std::abort();
  } catch (const TextError&) {
  }
  return 0;
}
