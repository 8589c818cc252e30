// Replies: the first byte picks how the stream behind it is read, as bare messages, or as the replies that tpgetrply
// matches, parks, copies and refuses. Whatever arrives, a message must be writable up to what it claims to hold.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "fuzz/stream.h"
#include "tests/support/structs.h"
#include "vxa/xatmi.h"
#include "xa/etc.h"
#include "xa/vxaio.h"

namespace {

void copy_element(const void* src, void* dst) { std::memcpy(dst, src, 4); }

vesk_sdl_struct described(const char* name, int host_size, int network_size) {
  return host::struct_row(name, host_size, network_size, 0, -1, copy_element);
}

void read_messages() {
  while (vesk_msg_header* message = _read_from_xagw(_gwfd)) {
    if (message->size < 0 || message->datalen < 0) std::abort();
    std::memset(static_cast<void*>(message + 1), 0xa5,
                static_cast<std::size_t>(std::max(message->size, message->datalen)) + 64);
    std::free(message);
  }
}

void collect_replies(const char* type, long flags) {
  _cur_acall_cd = 0;
  _init_acall(4, 0, 0);
  while (_active_tpacall_count < 4) _create_acall_cd(0);
  char* output = tpalloc(type, nullptr, 0);
  long length = 0;
  for (int i = 0; i < 8; ++i) {
    int cd = _cur_acall_cd - 3 + i % 4;
    if (tpgetrply(&cd, &output, &length, flags) == 1 && length < 0) std::abort();
    const auto* header = reinterpret_cast<vesk_msg_header*>(output - fuzz::kHeader);
    std::memset(output, 0xa5, static_cast<std::size_t>(header->size));
  }
  tpfree(output);
  _init_acall(0, 0, 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Structs that grow, shrink and keep their size, and one whose sizes are impossible.
  static const host::Structs structs{
      {described("a", 8, 4), described("b", 4, 8), described("c", 4, 4), described("d", 0, -1)}, {}};
  static const bool silent = std::freopen("/dev/null", "w", stdout);
  if (!silent) std::abort();
  if (size == 0) return 0;
  std::string stream(reinterpret_cast<const char*>(data + 1), std::min(size - 1, fuzz::kMost));
  fuzz::curb_lengths(stream, true, true);
  _gwfd = fuzz::sent(stream, true);
  _bc_timeout = 1;
  const auto flag = [&](int bit, long value) { return data[0] & bit ? value : 0; };
  if (data[0] & 2)
    collect_replies(data[0] & 1 ? "FIELD" : "STRING", flag(4, TPGETANY) | flag(8, TPNOCHANGE) | flag(16, TPNOTIME));
  else
    read_messages();
  close(_gwfd);
  return 0;
}
