// Field calls on buffers made of any bytes.
#include "tests/support/field_script.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fields::call_on_damaged(data, size);
  return 0;
}
