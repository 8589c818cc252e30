// Text assignments of any kind, on a small buffer; the first byte picks the length policy. What comes out is listed.
#include <cstdio>

#include "base/file.h"
#include "fuzz/memory_file.h"
#include "tests/support/field_buffer.h"
#include "tests/support/field_table.h"
#include "vxa/vxa_host.h"

namespace {

// A field of each type, named by the type.
void use_field_table() {
  host::TableFile table{8};
  for (int type = FB_CHAR; type <= FB_CARRAY; ++type) {
    const int key = fields::key(type, type);
    const auto slot = static_cast<std::size_t>(type - 1);
    table.name(slot, fbget_strfldtype(key), key).key(slot, key, type - 1);
  }
  static const fuzz::MemoryFile file;
  file.hold(table.bytes().data(), table.bytes().size());
  setenv("FDLFILE", file.path().c_str(), 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const vxa::FilePtr listing{(use_field_table(), std::fopen("/dev/null", "w"))};
  if (size < 2) return 0;
  _vesk_flen_flag = data[0] % 4;
  const vxa::FilePtr text{fmemopen(const_cast<std::uint8_t*>(data) + 1, size - 1, "r")};
  const fields::Buffer buf(0, data[0] % 2 == 0 ? 0 : 20000);
  fbextread(buf, text.get());
  if (fbget_unused(buf) < 0 || fbfprint(buf, listing.get()) != 1) std::abort();
  return 0;
}
