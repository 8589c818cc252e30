// Both channel readers, over a pipe and over a socket: the first byte picks which, the rest is what the peer sends
// before it closes. Each message that is read must be there in full.
#include <algorithm>

#include "fuzz/stream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool node = data[0] & 1;
  std::string stream(reinterpret_cast<const char*>(data + 1), std::min(size - 1, fuzz::kMost));
  fuzz::curb_lengths(stream, node, false);
  const int fd = fuzz::sent(stream, data[0] & 2);
  std::size_t at = 0;
  while (vesk_msg_header* message = node ? _read_nodemsg_sync(fd) : _read_procmsg_sync(fd)) {
    at += fuzz::kHeader;
    const auto length = static_cast<std::size_t>(message->datalen);
    if (stream.compare(at, length, reinterpret_cast<char*>(message + 1), length) != 0) std::abort();
    at += length;
    std::free(message);
  }
  if ((node ? _nodeio_errno : _procio_errno) == 0) std::abort();
  close(fd);
  return 0;
}
