// Replies: the first byte picks how the stream behind it is read, as bare messages, or as the replies that tpgetrply
// matches, parks, copies and refuses. Whatever arrives, a message must be writable up to what it claims to hold.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/bytes.h"
#include "vxa/vxa_host.h"
#include "vxa/xatmi.h"
#include "xa/etc.h"
#include "xa/vxaio.h"

namespace {

constexpr std::size_t kHeader = 136;
constexpr std::size_t kMost = 100000;  // what a socket holds without a reader

// Lengths beyond some kilobytes would only measure the allocator's patience; negative ones stay.
std::int32_t curb(char* word) {
  const auto length = vxa::load_be<std::int32_t>(word);
  if (length < 0) return length;
  vxa::store_be(word, length & 0xFFFF);
  return length & 0xFFFF;
}

void curb_lengths(std::string& stream) {
  for (std::size_t at = 0; at + kHeader <= stream.size();) {
    const std::int32_t size = curb(stream.data() + at + offsetof(vesk_msg_header, size));
    const std::int32_t datalen = curb(stream.data() + at + offsetof(vesk_msg_header, datalen));
    at += kHeader + (size < 0 || datalen < 0 ? 0 : static_cast<std::size_t>(datalen));
  }
}

// Each element is its first bytes, whatever the sizes.
template <std::size_t length>
void copy_element(const void* src, void* dst) {
  std::memcpy(dst, src, length);
}

// Structs that grow, shrink and keep their size, and one whose sizes are impossible.
void describe_structs() {
  static vesk_sdl_struct rows[4] = {};
  const int sizes[4][2] = {{8, 4}, {4, 8}, {4, 4}, {0, -1}};
  for (int i = 0; i < 4; ++i) {
    rows[i].name[0] = static_cast<char>('a' + i);
    rows[i].hton = rows[i].ntoh = copy_element<4>;
    rows[i].host_size = sizes[i][0];
    rows[i].network_size = sizes[i][1];
  }
  _sdl_table = rows;
  _sdl_table_size = 4;
}

std::size_t claimed(const vesk_msg_header* message) {
  if (message->size < 0 || message->datalen < 0) std::abort();
  return static_cast<std::size_t>(std::max(message->size, message->datalen));
}

void read_messages() {
  while (vesk_msg_header* message = _read_from_xagw(_gwfd)) {
    std::memset(static_cast<void*>(message + 1), 0xa5, claimed(message) + 64);
    std::free(message);
  }
}

void collect_replies(long flags) {
  _init_acall(4, 0, 0);
  while (_active_tpacall_count < 4) _create_acall_cd(0);
  const int first = _cur_acall_cd - 3;
  char* output = tpalloc(flags & 1 ? "FIELD" : "STRING", nullptr, 0);
  long length = 0;
  for (int i = 0; i < 8; ++i) {
    int cd = first + i % 4;
    if (tpgetrply(&cd, &output, &length, flags & (TPGETANY | TPNOCHANGE | TPNOTIME)) == 1 && length < 0) std::abort();
    auto* header = reinterpret_cast<vesk_msg_header*>(output - kHeader);
    std::memset(output, 0xa5, static_cast<std::size_t>(header->size));
  }
  tpfree(output);
  _init_acall(0, 0, 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool prepared = std::freopen("/dev/null", "w", stdout) && (describe_structs(), true);
  if (!prepared) std::abort();
  if (size == 0) return 0;
  std::string stream(reinterpret_cast<const char*>(data + 1), std::min(size - 1, kMost));
  curb_lengths(stream);

  int fds[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) std::abort();
  if (write(fds[1], stream.data(), stream.size()) != static_cast<ssize_t>(stream.size())) std::abort();
  close(fds[1]);
  _gwfd = fds[0];
  _bc_timeout = 1;
  _cur_acall_cd = 0;
  if (data[0] & 2)
    collect_replies((data[0] & 1) | (data[0] & 4 ? TPGETANY : 0) | (data[0] & 8 ? TPNOCHANGE : 0) |
                    (data[0] & 16 ? TPNOTIME : 0));
  else
    read_messages();
  close(fds[0]);
  return 0;
}
