// Sequences of field calls, held against the model of their rules.
#include "tests/support/field_script.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fields::compare_with_model(data, size);
  return 0;
}
