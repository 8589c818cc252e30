// Field buffer images of any bytes. The first byte says whether the input is the whole image or the data behind a good
// header; what was loaded is then walked, listed and read.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/file.h"
#include "vxa/fbuf.h"
#include "vxa/vxa_host.h"

namespace {

constexpr std::size_t kCapacity = 1032;

std::string image_of(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] % 2 == 0) return bytes;
  vesk_msg_header header{};
  header.size = static_cast<int>(bytes.size());
  return std::string(reinterpret_cast<const char*>(&header), sizeof header) + bytes;
}

// Reads the first occurrences of the key of whatever lies at the first slots.
void read_fields(void* buf) {
  char value[kCapacity + 8];
  for (std::size_t at = 8; at < 64; at += 8) {
    int key = 0, length = 0;
    std::memcpy(&key, static_cast<char*>(buf) + at, sizeof key);
    for (int nth = fbkeyoccur(buf, key) - 1; nth >= 0 && nth < 8; --nth) fbgetlen(buf, key, nth);
    fbget(buf, key, value, &length);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const vxa::FilePtr listing{std::fopen("/dev/null", "w")};
  if (size < 2) return 0;
  std::string image = image_of(data, size);
  const vxa::FilePtr stream{fmemopen(image.data(), image.size(), "r")};
  void* buf = fballoc(0, 0);
  const bool loaded = fbread(buf, stream.get()) == 1;
  if (!loaded && (fbisfbuf(buf) != 1 || fbget_used(buf) != 8)) std::abort();
  fbfldcount(buf);
  fbfprint(buf, listing.get());
  read_fields(buf);
  const std::uint32_t magic = 8888;
  std::memcpy(buf, &magic, sizeof magic);
  fbfree(buf);
  return 0;
}
