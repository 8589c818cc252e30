// Field buffer images of any bytes. The first byte says whether the input is the whole image or the data behind a good
// header; what was loaded is then walked, listed and read.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/file.h"
#include "tests/support/field_buffer.h"
#include "vxa/vxa_host.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const vxa::FilePtr listing{std::fopen("/dev/null", "w")};
  if (size < 2) return 0;
  std::string image(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] % 2 == 1) {
    vesk_msg_header header{};
    header.size = static_cast<int>(image.size());
    image.insert(0, reinterpret_cast<const char*>(&header), sizeof header);
  }
  const vxa::FilePtr stream{fmemopen(image.data(), image.size(), "r")};
  fields::Buffer buf;
  const bool loaded = fbread(buf, stream.get()) == 1;
  if (!loaded && (fbisfbuf(buf) != 1 || fbget_used(buf) != 8)) std::abort();

  fbfldcount(buf);
  fbfprint(buf, listing.get());
  for (int offset = 8; offset < 64; offset += 8) {
    char value[1032 + 8];  // the capacity, and room for a terminator
    const int key = buf.key_at(offset);
    for (int nth = fbkeyoccur(buf, key) - 1; nth >= 0 && nth < 8; --nth) fbgetlen(buf, key, nth);
    fbget(buf, key, value, nullptr);
  }
  buf.forge("");
  return 0;
}
