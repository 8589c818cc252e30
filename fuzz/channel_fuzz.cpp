// Both channel readers, over a pipe and over a socket: the first byte picks which, the rest is what the peer sends
// before it closes. Each message that is read must be there in full.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "base/bytes.h"
#include "vxa/vxa_host.h"

namespace {

constexpr std::size_t kHeader = 136;
constexpr std::size_t kMost = 60000;  // what a pipe holds without a reader

// A length beyond a few megabytes would only measure the allocator's patience.
void curb_lengths(std::string& stream, bool network_order) {
  for (std::size_t at = 0; at + kHeader <= stream.size();) {
    char* word = stream.data() + at + offsetof(vesk_msg_header, datalen);
    auto length = network_order ? vxa::load_be<std::uint32_t>(word) : vxa::load<std::uint32_t>(word);
    if (length < 0x80000000u) {
      length &= 0x3FFFFF;
      network_order ? vxa::store_be(word, length) : vxa::store(word, length);
    }
    at += kHeader + length;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool node = data[0] & 1;
  const bool socket = data[0] & 2;
  std::string stream(reinterpret_cast<const char*>(data + 1), std::min(size - 1, kMost));
  curb_lengths(stream, node);

  int fds[2];
  if ((socket ? socketpair(AF_UNIX, SOCK_STREAM, 0, fds) : pipe(fds)) != 0) std::abort();
  if (write(fds[1], stream.data(), stream.size()) != static_cast<ssize_t>(stream.size())) std::abort();
  close(fds[1]);
  std::size_t left = stream.size();
  while (vesk_msg_header* message = node ? _read_nodemsg_sync(fds[0]) : _read_procmsg_sync(fds[0])) {
    const std::size_t length = kHeader + static_cast<std::size_t>(message->datalen);
    const char* sent = stream.data() + stream.size() - left + kHeader;
    if (length > left || !std::equal(sent, sent + message->datalen, reinterpret_cast<char*>(message + 1))) std::abort();
    left -= length;
    std::free(message);
  }
  if ((node ? _nodeio_errno : _procio_errno) == 0) std::abort();
  close(fds[0]);
  return 0;
}
