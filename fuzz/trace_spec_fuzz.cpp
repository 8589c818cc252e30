// The trace specification parser, and its single steps on texts that no parse would hand them. Whatever a parse says,
// it leaves a message holder and terminated texts behind.
#include <cstdlib>
#include <cstring>
#include <string>

#include "trace/spec.h"
#include "vxa/vxa_host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string spec(reinterpret_cast<const char*>(data), size);
  const int accepted = _parse_trace(spec.c_str(), 0);
  if (!_act_msg || strnlen(_act_msg, 4096) == 4096 || strnlen(_obuf, sizeof _obuf) == sizeof _obuf) std::abort();
  if (accepted == 1 && _action == 0) std::abort();

  for (const int number : {2, 3}) {
    std::string field = spec;
    if (const char* word = _get_spec(field.data(), number)) {
      if (word < field.data() || word > field.data() + size) std::abort();
      _spel_chk(word, number, 0);
    }
  }
  return 0;
}
