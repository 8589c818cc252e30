// Field table files of any bytes: loaded alone and twice over, then every name and key in them looked up.
#include <cstring>

#include "fb/fdlfile.h"
#include "fuzz/memory_file.h"
#include "vxa/fbuf.h"

namespace {

constexpr int kLargestTable = 1 << 20;  // beyond it a load only shows how memory runs out

void look_up_all() {
  for (int slot = 0; slot < _fname_count && slot < 64; ++slot) {
    fbget_fldkey(std::string(_fldname[slot].name, strnlen(_fldname[slot].name, 48)).c_str());
    const char* name = fbget_fldname(static_cast<int>(_fldkey[slot].key));
    if (name && fbget_fldkey(name) == 0 && fberror != 0) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::MemoryFile file;
  int slots = 0;
  if (size >= 8) std::memcpy(&slots, data + 4, sizeof slots);
  if (slots > kLargestTable) return 0;
  file.hold(data, size);

  for (const std::string& list : {file.path(), file.path() + "," + file.path()}) {
    setenv("FDLFILE", list.c_str(), 1);
    if (_ffile_load() != 1 && (_fldname || _fldkey || _fname_count || _fname_hash_mask)) std::abort();
    look_up_all();
    fbkeynm_unload();
  }
  return 0;
}
