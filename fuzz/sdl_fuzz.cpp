// Struct description files of any bytes: loaded alone and behind themselves, then every struct in them used.
#include <cstring>

#include "fuzz/memory_file.h"
#include "vxa/vxa_host.h"
#include "vxa/xatmi.h"

namespace {

constexpr int kLargestTable = 1 << 16;  // beyond it a load only shows how memory runs out

// The addresses in the file are those of no routines.
void drop_routines() {
  for (int i = 0; i < _sdl_table_size; ++i) {
    _sdl_table[i].hton = nullptr;
    _sdl_table[i].ntoh = nullptr;
  }
}

void use_structs() {
  for (int i = 0; i < _sdl_table_size && i < 16; ++i) {
    const std::string name(_sdl_table[i].name, strnlen(_sdl_table[i].name, sizeof _sdl_table[i].name));
    const int size = _get_host_stsize(name.c_str());
    if (size > kLargestTable) continue;
    char* buffer = tpalloc("STRUCT", name.c_str(), 0);
    if (!buffer) continue;
    vesk_msg_header* message = reinterpret_cast<vesk_msg_header*>(buffer) - 1;
    message->datalen = message->size;
    int length = 0;
    std::free(_hton_data_sdl(message, &length));
    tpfree(buffer);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::MemoryFile file;
  int counts[2] = {};
  if (size >= 12) std::memcpy(counts, data + 4, sizeof counts);
  if (counts[0] > kLargestTable || counts[1] > kLargestTable) return 0;
  file.hold(data, size);

  for (const std::string& list : {file.path(), file.path() + "," + file.path()}) {
    setenv("SDLFILE64", list.c_str(), 1);
    if (_sdlfile_load() == 1 && (_sdl_table_size < 1 || _sdl_field_table_size < 1)) std::abort();
    drop_routines();
    use_structs();
  }
  return 0;
}
